// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace Tulvo::Enclosures {
namespace {

/// The metrics that are promised, without "vkt_", but for those that say how a read went.
const std::vector<std::string> kGaugesAndStates{
    "power_minimum",      "power_average",        "power_maximum",         "power_cap_lowest",
    "power_cap_highest",  "power_cap_protective", "power_cap_user",        "power_cap_thermal",
    "psu_present",        "psu_power_good",       "psu_power_off_warning", "psu_throttling",
    "psu_fan_state",      "psu_fan_speed",        "node_power_state",      "node_power_minimum",
    "node_power_average", "node_power_maximum",
};

TEST(Catalogue, HasEveryPromisedMetricAndNoOther)
{
    std::set<std::string> metrics;
    for (const Field& field : Fields()) {
        if (field.metric == MetricForm::kGauge || field.metric == MetricForm::kStates) {
            metrics.emplace(field.MetricName());
        }
    }
    EXPECT_EQ(std::set<std::string>(kGaugesAndStates.begin(), kGaugesAndStates.end()), metrics);
}

TEST(Catalogue, HasEveryPromisedLabelOfTheInfoMetrics)
{
    std::set<std::string> labels;
    for (const Field& field : Fields()) {
        if (field.metric == MetricForm::kInfo) {
            labels.emplace(field.key);
        }
    }
    const std::set<std::string> promised{"generation",       "machine_type", "serial_number",
                                         "firmware_version", "name",         "psu_version",
                                         "psu_manufacturer", "node_width",   "node_height"};
    EXPECT_EQ(promised, labels);
}

TEST(Catalogue, NamesNothingTwice)
{
    std::set<std::string> keys;
    std::set<std::pair<ObjectKind, std::string>> paths;
    for (const Field& field : Fields()) {
        if ((field.places & kInData) == 0) {
            EXPECT_TRUE(field.key.empty() && field.path.empty()) << field.label;
            continue;
        }
        EXPECT_TRUE(keys.emplace(field.key).second) << field.key;
        EXPECT_TRUE(paths.emplace(field.object, field.path).second) << field.path;
    }
}

TEST(Catalogue, SaysWhatEachFieldIs)
{
    for (const Field& field : Fields()) {
        EXPECT_TRUE(field.help.ends_with('.')) << field.label;
        EXPECT_FALSE(field.label.empty()) << field.help;
        EXPECT_FALSE(field.Name().empty()) << field.label;
        EXPECT_EQ(field.words.empty(), field.kind != Kind::kState && field.kind != Kind::kFlag)
            << field.label;
    }
}

TEST(Catalogue, TellsTheFansOfASupplyApart)
{
    for (const Field& field : Fields()) {
        const bool ofA = field.path.starts_with("fans.a.");
        const bool ofB = field.path.starts_with("fans.b.");
        EXPECT_EQ(ofA ? 'a' : ofB ? 'b' : '\0', field.Fan()) << field.path;
    }
}

TEST(Catalogue, HasABlockForEverySectionOfATable)
{
    for (const Field& field : Fields()) {
        if ((field.places & kInTable) == 0) {
            continue;
        }
        int blocks = 0;
        for (const Block& block : Blocks()) {
            const bool holds =
                field.section == 0 ? block.sections == 0 : (block.sections & field.section) != 0;
            blocks += holds && block.object == field.object ? 1 : 0;
        }
        EXPECT_EQ(1, blocks) << field.label;
    }
}

/// A default-made record has been asked nothing.
TEST(Catalogue, GetsEveryFieldOfAnEmptyRecord)
{
    Enclosure enclosure;
    enclosure.powerSupplies.resize(1);
    enclosure.nodes.resize(1);
    for (const Object& object : ObjectsOf(enclosure)) {
        for (const Field& field : Fields()) {
            if (field.object == object.Kind()) {
                EXPECT_FALSE(std::holds_alternative<const Failure*>(field.get(object)));
            }
        }
    }
    EXPECT_TRUE(NotRead(enclosure).empty());
}

}  // namespace
}  // namespace Tulvo::Enclosures
