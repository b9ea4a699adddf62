// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/probe/probe_request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Tulvo;
using namespace Tulvo::Exporter;
using namespace std::chrono_literals;
using testing::HasSubstr;

using Query = std::vector<std::pair<std::string, std::string>>;

std::variant<ProbeRequest, BadRequest> Parsed(const Query& query, const std::string& timeout = "",
                                              std::chrono::milliseconds offset = 500ms)
{
    HttpRequest request{.method = "GET", .path = "/probe", .query = query, .headers = {}};
    if (!timeout.empty()) {
        request.headers["x-prometheus-scrape-timeout-seconds"] = timeout;
    }
    return ParseProbe(request, offset);
}

struct BadRow
{
    Query query;
    std::string timeout;
    std::string said;
};

TEST(ProbeRequests, ThatAreBadSayWhatToDo)
{
    for (const BadRow& row : {
             BadRow{{}, "", "no target is named; ask for /probe?target=HOST"},
             BadRow{{{"target", ""}}, "", "no target is named"},
             BadRow{{{"Target", "a"}}, "", "no target is named"},
             BadRow{{{"target", "a"}, {"target", "a"}}, "", "several targets are named"},
             BadRow{{{"target", "a"}, {"collect[]", "psu\r\n"}}, "", R"("psu\x0d\x0a"; there are)"},
             BadRow{{{"target", "a"}, {"collect[]", ""}}, "", "no section \"\""},
             BadRow{{{"target", "a"}, {"collect", "psu"}}, "", "use collect[]=SECTION"},
             BadRow{{{"target", "a"}}, "soon", "\"soon\" is no number of seconds above 0"},
             BadRow{{{"target", "a"}}, "10s", "is no number"},
             BadRow{{{"target", "a"}}, " 10", "is no number"},
             BadRow{{{"target", "a"}}, "1,5", "is no number"},
             BadRow{{{"target", "a"}}, "10, 10", "is no number"},
             BadRow{{{"target", "a"}}, "-1", "is no number"},
             BadRow{{{"target", "a"}}, "0", "is no number"},
             BadRow{{{"target", "a"}}, "inf", "is no number"},
             BadRow{{{"target", "a"}}, "nan", "is no number"},
             BadRow{{{"target", "a"}}, "1e999", "is no number"},
             BadRow{{{"target", "a"}}, std::string(1000, '9') + "x", "..."},
         }) {
        const auto parsed = Parsed(row.query, row.timeout);
        ASSERT_TRUE(std::holds_alternative<BadRequest>(parsed)) << row.said;
        const std::string& text = std::get<BadRequest>(parsed).text;
        EXPECT_THAT(text, HasSubstr(row.said));
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
    }
}

struct TimeRow
{
    std::string timeout;
    std::chrono::milliseconds offset;
    std::chrono::milliseconds time;
};

TEST(ProbeRequests, HaveTheTimeOfPrometheusLessTheOffset)
{
    for (const TimeRow& row : {
             TimeRow{"", 500ms, 9500ms},  // as Prometheus waits unless told otherwise
             TimeRow{"30", 500ms, 29500ms},
             TimeRow{"2.5", 500ms, 2s},
             TimeRow{"1e1", 0ms, 10s},
             TimeRow{"0.6", 500ms, 300ms},  // half of it at least
             TimeRow{"0.0001", 500ms, 0ms},
             TimeRow{"1e300", 0ms, 24h},
         }) {
        SCOPED_TRACE(row.timeout);
        const auto parsed = Parsed({{"target", "a"}}, row.timeout, row.offset);
        ASSERT_TRUE(std::holds_alternative<ProbeRequest>(parsed));
        EXPECT_EQ(std::get<ProbeRequest>(parsed).time, row.time);
    }
}

TEST(ProbeRequests, AskForEverythingOrForSections)
{
    using namespace Enclosures;
    const std::vector<std::pair<Query, Sections>> rows = {
        {{}, kEverything},
        {{{"collect[]", "status"}}, kModuleOnly},
        {{{"collect[]", "health"}}, kHealth},
        {{{"collect[]", "psu"}, {"collect[]", "power"}}, kSupplies | kPower},
        {{{"collect[]", "identity"}, {"collect[]", "nodes"}, {"collect[]", "nodes"}},
         kIdentity | kNodes},
        {{{"Collect[]", "psu"}, {"module", "x"}}, kEverything},  // nobody's parameters
    };
    for (const auto& [query, sections] : rows) {
        Query all = query;
        all.emplace_back("target", "enc1");
        const auto parsed = Parsed(all);
        ASSERT_TRUE(std::holds_alternative<ProbeRequest>(parsed));
        EXPECT_EQ(std::get<ProbeRequest>(parsed).sections, sections);
        EXPECT_EQ(std::get<ProbeRequest>(parsed).target, "enc1");
    }
}

TEST(ProbeRequests, WantALogWhenTheySaySo)
{
    const std::vector<std::pair<Query, bool>> rows = {{{}, false},
                                                      {{{"debug", "true"}}, true},
                                                      {{{"debug", ""}}, false},
                                                      {{{"debug", "1"}}, false}};
    for (const auto& [query, debug] : rows) {
        Query all = query;
        all.emplace_back("target", "enc1");
        EXPECT_EQ(std::get<ProbeRequest>(Parsed(all)).debug, debug);
    }
}

}  // namespace
