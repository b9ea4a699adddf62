// SPDX-License-Identifier: Apache-2.0
// What the fuzzers begin with and what they once found, given to the targets by every test run; and
// whether there is a target for everything that there should be one for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "fuzz/target.h"

namespace Tulvo::Fuzz {
namespace {

namespace fs = std::filesystem;

std::string ContentOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class Replay : public ::testing::TestWithParam<Target>
{
};

TEST_P(Replay, TakesItsSeeds)
{
    const std::vector<Bytes> seeds = GetParam().seeds();
    EXPECT_FALSE(seeds.empty());
    for (const Bytes& seed : seeds) {
        EXPECT_LE(seed.size(), GetParam().longestInput);
        GetParam().run(seed);
    }
}

TEST_P(Replay, TakesNothing)
{
    GetParam().run({});
}

TEST_P(Replay, TakesWhatWasFoundBefore)
{
    const fs::path folder = fs::path(REGRESSION_FOLDER) / GetParam().name;
    if (!fs::exists(folder)) {
        return;  // nothing was found
    }
    for (const auto& file : fs::directory_iterator(folder)) {
        SCOPED_TRACE(file.path());
        const std::string content = ContentOf(file);
        GetParam().run(Bytes(content.begin(), content.end()));
    }
}

INSTANTIATE_TEST_SUITE_P(Targets, Replay, ::testing::ValuesIn(Targets()),
                         [](const auto& row) { return row.param.name; });

std::set<std::string> NamesOfTargets()
{
    std::set<std::string> names;
    for (const Target& target : Targets()) {
        EXPECT_TRUE(names.insert(target.name).second) << target.name << " stands twice";
    }
    return names;
}

TEST(FuzzTargets, NoDecoderRoutineLacksOne)
{
    const std::string header = ContentOf(DECODER_HEADER);
    const std::regex routine(R"((?:VKTInventoryErrorCode|void) (Parse\w+)\()");
    const std::set<std::string> targets = NamesOfTargets();
    std::size_t routines = 0;
    for (std::sregex_iterator found(header.begin(), header.end(), routine), end; found != end;
         ++found, ++routines) {
        EXPECT_EQ(targets.count((*found)[1]), 1U) << (*found)[1] << " has no target";
    }
    EXPECT_THAT(routines, ::testing::Ge(15U)) << "the header's routines were not found";
}

TEST(FuzzTargets, EveryFindingBelongsToOne)
{
    for (const auto& folder : fs::directory_iterator(REGRESSION_FOLDER)) {
        if (folder.is_directory()) {
            EXPECT_NE(FindTarget(folder.path().filename().string()), nullptr) << folder;
        }
    }
}

}  // namespace

/// Shows a row in a test's message.
void PrintTo(const Target& target, std::ostream* out)
{
    *out << target.name;
}

}  // namespace Tulvo::Fuzz
