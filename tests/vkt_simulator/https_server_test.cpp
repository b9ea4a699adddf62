// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/https_server.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <future>

#include "tests/vkt_simulator/curl.h"

namespace Tulvo::Simulator {
namespace {

Scenario HealthyEnclosure()
{
    const std::string file = SCENARIO_FOLDER "/healthy-first.json";
    return ParseScenario(ReadScenarioFile(file), file);
}

bool HangsUp(const FileDescriptor& pipe, int milliseconds)
{
    pollfd event = {pipe.Get(), POLLIN, 0};
    return poll(&event, 1, milliseconds) == 1;
}

TEST(HttpsServerChange, TellsWhenTheLastOldAnswerHasBeenSent)
{
    constexpr int kGenerousMilliseconds = 60000;
    const Scenario healthy = HealthyEnclosure();
    Scenario slow = healthy;
    slow.enclosure.supplies[0].present = false;
    slow.https.faults = {{HttpsFaultKind::kLatency, std::chrono::seconds(10), 0, {}}};
    HttpsServer server("127.0.0.1", 0, {&slow});
    const nlohmann::json endpoint = {{"port", server.Port(0)},
                                     {"certificateFile", server.CertificateFile(0)},
                                     {"pin", server.Pin(0)}};
    auto old =
        std::async(std::launch::async, [&] { return Curl(endpoint, IpmiCall(50, 0x91, "")); });
    while (server.Statistics().requests == 0) {
        usleep(1000);
    }
    const FileDescriptor answered = server.Change({&healthy});
    EXPECT_FALSE(HangsUp(answered, 0));
    EXPECT_NE(Curl(endpoint, IpmiCall(50, 0x91, "")).find("000003030000"), std::string::npos);
    EXPECT_FALSE(HangsUp(answered, 0)) << "though only a new answer was sent";
    EXPECT_TRUE(HangsUp(answered, kGenerousMilliseconds));
    EXPECT_NE(old.get().find("000002030000"), std::string::npos);
    EXPECT_TRUE(HangsUp(server.Change({&healthy}), 0)) << "with nothing under way";
}

}  // namespace
}  // namespace Tulvo::Simulator
