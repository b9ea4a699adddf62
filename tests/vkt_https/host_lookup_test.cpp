// SPDX-License-Identifier: Apache-2.0
// What the transport does with a name service that does not answer, and that libcurl never asks it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>

#include "module/vkt/vkt_https/https_transport.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/support/hanging_name_service.h"
#include "tests/vkt_https/tls_server.h"

namespace Tulvo::Tests {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

constexpr int kMostLookUps = 16;

const Identity& Module()
{
    static const Identity module = MakeIdentity({.names = "DNS:module.example"});
    return module;
}

class HttpsHostLookUp : public ::testing::Test
{
protected:
    ~HttpsHostLookUp() override { nameService.ReleaseAll(); }

    static std::unique_ptr<IpmiTransport> Transport(std::uint16_t port)
    {
        return MakeHttpsTransport({.host = "module.example",
                                   .port = port,
                                   .user = "admin",
                                   .password = "secret",
                                   .trust = HttpsTrust::kPinnedKey,
                                   .trusted = Module().Pin(),
                                   .basicAuthentication = true});
    }

    static std::optional<Failure> OpenWithin(std::chrono::milliseconds time)
    {
        return Transport(9)->Open({CallLimit::Clock::now() + time}).failure;
    }

    Fakes::FakeLog log;
    Fakes::FakeConfig config;
};

TEST_F(HttpsHostLookUp, AtMostSixteenAreLeftBehind)
{
    const int before = nameService.Asked();
    while (nameService.Asked() - before < kMostLookUps) {
        EXPECT_TRUE(OpenWithin(5ms));  // on a busy host its time may be over before it has begun
    }
    for (int i = 0; i < 24; ++i) {
        EXPECT_TRUE(OpenWithin(5ms));
    }
    EXPECT_EQ(nameService.Asked() - before, kMostLookUps);
    const auto failure = OpenWithin(500ms);
    ASSERT_TRUE(failure);
    EXPECT_EQ(Cause::kUnreachable, failure->cause);
    EXPECT_THAT(failure->message, HasSubstr("16 look-ups of this process"));
    EXPECT_THAT(failure->advice, HasSubstr("name service"));
}

TEST_F(HttpsHostLookUp, IsOneForAllConnectionsOfASession)
{
    const TlsServer server(Module(), [](Peer& peer) {
        // A connection each, so that each would have the name looked up.
        if (peer.Handshake() && peer.Read()) {
            const std::string body =
                R"({"NetFn": 51, "Command": 176, "CompletionCode": 0, "ResponseData": "37"})";
            peer.Send("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                      std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
            peer.Close();
        }
    });
    const int before = nameService.Asked();
    nameService.Release(1);
    const auto transport = Transport(server.Port());
    const CallLimit ample{CallLimit::Clock::now() + 1min};
    const IpmiOpening opening = transport->Open(ample);
    ASSERT_FALSE(opening.failure) << opening.failure->message;
    for (int i = 1; i <= 3; ++i) {
        const IpmiExchange exchange =
            transport->Ask({0xB0, {0x05, 0x00}, 0x32}, Resend::kFreely, ample);
        EXPECT_EQ(IpmiExchange::End::kAnswered, exchange.end);
        EXPECT_EQ(i, server.Connections());
    }
    EXPECT_EQ(before + 1, nameService.Asked());
}

TEST_F(HttpsHostLookUp, EndsAtOnceWhenStopIsRequested)
{
    std::stop_source stop;
    const std::jthread stopper([&stop, before = nameService.Asked()] {
        while (nameService.Asked() == before) {
            std::this_thread::sleep_for(1ms);
        }
        stop.request_stop();
    });
    const auto failure =
        Transport(9)->Open({CallLimit::Clock::now() + 1h, stop.get_token()}).failure;
    ASSERT_TRUE(failure);
    EXPECT_EQ(Cause::kCancelled, failure->cause);
}

}  // namespace
}  // namespace Tulvo::Tests
