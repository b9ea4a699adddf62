// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_LOG_TEXT_OF_H
#define TESTS_LOG_TEXT_OF_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace Tulvo {

inline std::string ContentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// What follows the time in `line`; "no time" when it does not start with one.
inline std::string AfterTime(const std::string& line)
{
    static const std::regex time(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d )");
    std::smatch found;
    return std::regex_search(line, found, time) ? found.suffix().str() : "no time: " + line;
}

}  // namespace Tulvo

#endif
