// SPDX-License-Identifier: Apache-2.0
/// @file
/// Reads what the exporter writes, and finds fault with what Prometheus would refuse.
#ifndef TESTS_VKT_EXPORTER_METRICS_SERIES_H
#define TESTS_VKT_EXPORTER_METRICS_SERIES_H

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>

namespace Tulvo::Exporter {

/// Value by series, both as they are written. A test fails when a series stands twice, or without
/// its family's HELP and TYPE before it.
inline std::map<std::string, std::string> SeriesOf(const std::string& text)
{
    std::map<std::string, std::string> all;
    std::set<std::string> families;
    std::string family;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string hash;
        std::string keyword;
        std::string name;
        if (line.starts_with("# HELP ")) {
            words >> hash >> keyword >> family;
            EXPECT_TRUE(families.insert(family).second) << family << " is not contiguous";
        } else if (line.starts_with("# TYPE ")) {
            words >> hash >> keyword >> name;
            EXPECT_EQ(family, name);
        } else {
            const std::size_t blank = line.rfind(' ');
            const std::string series = line.substr(0, blank);
            EXPECT_EQ(family, series.substr(0, series.find('{')));
            EXPECT_TRUE(all.emplace(series, line.substr(blank + 1)).second) << series;
        }
    }
    return all;
}

/// Names that have at least one series.
inline std::set<std::string> FamiliesOf(const std::string& text)
{
    std::set<std::string> families;
    for (const auto& [series, value] : SeriesOf(text)) {
        families.insert(series.substr(0, series.find('{')));
    }
    return families;
}

}  // namespace Tulvo::Exporter

#endif
