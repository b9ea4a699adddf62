// SPDX-License-Identifier: Apache-2.0
#include "fleet/host_folding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "fleet/host_pattern.h"

namespace {

using namespace Tulvo::Fleet;

struct Folding
{
    std::vector<std::string> hosts;
    std::string pattern;
};

class HostFolding : public testing::TestWithParam<Folding>
{
};

TEST_P(HostFolding, GivesOnePattern)
{
    EXPECT_EQ(FoldHosts(GetParam().hosts), GetParam().pattern);
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostFolding,
    testing::Values(Folding{{}, ""}, Folding{{"enc1"}, "enc1"}, Folding{{"b", "a", "b"}, "a,b"},
                    Folding{{"enc2", "enc3", "enc1", "enc7"}, "enc[1-3,7]"},
                    Folding{{"enc009", "enc010", "enc9"}, "enc[9,009-010]"},
                    Folding{{"enc99", "enc100"}, "enc[99-100]"},
                    Folding{{"enc099", "enc100", "enc1000"}, "enc[099-100,1000]"},
                    Folding{{"enc0", "enc2", "enc4"}, "enc[0,2,4]"},
                    Folding{{"gw", "enc1", "enc2", "10.0.0.1", "10.0.0.2"},
                            "10.0.0.[1-2],enc[1-2],gw"},
                    Folding{{"r1e1", "r1e2", "r2e1", "r2e2"}, "r[1-2]e[1-2]"},
                    Folding{{"r1e1", "r1e2", "r2e1"}, "r1e[1-2],r2e1"},
                    Folding{{"enc1:8443", "enc2:8443"}, "enc[1-2]:8443"},
                    Folding{{"[::1]:623", "[::1]:624", "[::2]:623"}, "[::1]:[623-624],[::2]:623"},
                    Folding{{"2001:db8::1", "2001:db8::2"}, "2001:db8::[1-2]"},
                    Folding{{"n1234567890123456789", "n1234567890123456790"},
                            "n1234567890123456789,n1234567890123456790"}));

/// What is left of a thousand hosts, one place or three varying, when some are taken out.
TEST(HostFoldings, NameTheSameHosts)
{
    std::mt19937 random(11);
    for (const char* const pattern : {"enc[0001-1000]", "r[1-10]-e[01-10]-s[8-17].example.com"}) {
        for (unsigned left : {1U, 2U, 5U, 10U}) {
            std::vector<std::string> hosts = std::get<Hosts>(ExpandHosts({pattern}));
            std::erase_if(hosts, [&](const std::string&) { return random() % 10 >= left; });
            const auto again = ExpandHosts({FoldHosts(hosts)});
            if (hosts.empty()) {
                continue;
            }
            ASSERT_TRUE(std::holds_alternative<Hosts>(again)) << std::get<Mistake>(again).message;
            EXPECT_THAT(std::get<Hosts>(again), testing::UnorderedElementsAreArray(hosts));
        }
    }
}

/// Hosts whose numbers vary without order in two places: a search for the shortest pattern would
/// take hours.
TEST(HostFoldings, EndSoonWhateverTheHosts)
{
    std::mt19937 random(11);
    std::vector<std::string> hosts;
    for (std::size_t i = 0; i < kMostHosts; ++i) {
        hosts.push_back("r" + std::to_string(random() % 20000) + "e" +
                        std::to_string(random() % 20000));
    }
    EXPECT_GT(FoldHosts(hosts).size(), kMostHosts);
}

}  // namespace
