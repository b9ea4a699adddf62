// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/statements.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <vector>

namespace Tulvo::Tests {

namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

/// The lines of a file, whose name a compiler cache may have made relative to the build.
std::vector<std::string> Read(const std::string& file)
{
    std::ifstream source(VKT_SOURCE_FOLDER "/" +
                         file.substr(std::min(file.find("src/"), file.size())));
    std::vector<std::string> lines;
    for (std::string line; std::getline(source, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string LineOf(const Fakes::FakeLog::Record& record)
{
    static std::map<std::string, std::vector<std::string>> files;
    if (!files.contains(record.file)) {
        files[record.file] = Read(record.file);
    }
    const auto& lines = files[record.file];
    const auto index = static_cast<std::size_t>(record.lineNumber) - 1;
    return index < lines.size() ? lines[index] : "";
}

}  // namespace

void ExpectStatementsIn(const std::string& file, const std::string& otherFile,
                        const Fakes::FakeLog& log)
{
    for (const auto& record : log.Records()) {
        EXPECT_THAT(record.file, AnyOf(HasSubstr(file), HasSubstr(otherFile))) << record.line.text;
        EXPECT_THAT(LineOf(record), HasSubstr("VKT_LOG("))
            << record.file << ":" << record.lineNumber << ": " << record.line.text;
    }
}

}  // namespace Tulvo::Tests
