// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/vkt_https.h"

#include <atomic>
#include <thread>

#include "tests/vkt_https/https_fixture.h"

namespace Tulvo::Tests {
namespace {

TEST_F(HttpsTest, CarriesARequestAndItsAnswer)
{
    Serve(Always(GoodReply()));
    ExpectAnswer();

    const std::vector<Request> requests = server->Requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].line,
              "POST /redfish/v1/Managers/1/Actions/Oem/VKTManager.SendIpmiCommand HTTP/1.1");
    EXPECT_EQ(requests[0].body, R"({"NetFn":50,"Lun":0,"Command":176,"RequestData":"0500"})");
    EXPECT_EQ(requests[0].Field("Content-Type"), "application/json");
    EXPECT_EQ(requests[0].Field("OData-Version"), "4.0");
    EXPECT_EQ(requests[0].Field("Expect"), std::nullopt);
    EXPECT_THAT(requests[0].Field("User-Agent").value_or(""),
                ::testing::MatchesRegex("vktinventory/[0-9]+\\.[0-9]+\\.[0-9]+"));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(HttpsTest, AnAnswerMayHaveAnyCompletionCodeAndNoData)
{
    Serve(Always(
        Reply("200 OK", R"({"NetFn":51,"Command":176,"CompletionCode":193,"ResponseData":""})")));
    EXPECT_EQ(Ask(), VKT_HTTPS_SUCCESS);
    EXPECT_TRUE(response.empty());
    EXPECT_EQ(completionCode, 0xC1);
}

TEST_F(HttpsTest, OneHandshakeServesAllRequests)
{
    Serve(Always(GoodReply()));
    for (int i = 0; i < 50; ++i) {
        ExpectAnswer();
    }
    EXPECT_EQ(server->Requests().size(), 50U);
    EXPECT_EQ(server->Handshakes(), 1);
    EXPECT_EQ(server->Connections(), 1);
}

TEST_F(HttpsTest, ObjectsServeThreadsSideBySide)
{
    Serve(Always(GoodReply()));
    std::atomic<int> answers = 0;
    const auto askFiveTimes = [this, &answers] {
        VKTHttps own(Record());
        for (int i = 0; i < 5; ++i) {
            std::vector<std::uint8_t> data;
            std::uint8_t code = 0xFF;
            answers += own.SendIpmiCmdOverHttps(request, data, code) == VKT_HTTPS_SUCCESS ? 1 : 0;
        }
    };
    std::vector<std::jthread> threads;
    threads.reserve(16);
    for (int i = 0; i < 16; ++i) {
        threads.emplace_back(askFiveTimes);
    }
    threads.clear();
    EXPECT_EQ(answers, 80);
    EXPECT_EQ(server->Requests().size(), 80U);
    EXPECT_EQ(server->Handshakes(), 16);
}

}  // namespace
}  // namespace Tulvo::Tests
