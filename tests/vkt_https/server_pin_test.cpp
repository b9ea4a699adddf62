// SPDX-License-Identifier: Apache-2.0
// What a server's key is found out by: a handshake and not a byte more.
#include "module/vkt/vkt_https/server_pin.h"

#include <atomic>
#include <chrono>
#include <stop_token>

#include "tests/vkt_https/https_fixture.h"

namespace Tulvo::Tests {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Clock = CallLimit::Clock;

constexpr auto kPinEndless = 1h;  ///< Longer than the test's time limit.

class ServerPin : public HttpsTest
{
protected:
    ServerPin()
    {
        // Nothing is asked of it.
        config.unusable = {{"HTTPS_PINNED_KEY", "broken"}, {"HTTPS_CA_FILE", "broken"}};
    }

    /// A server that reads on after the handshake.
    void ServeAs(const Identity& identity, const ServerKind& kind = {})
    {
        Serve(
            [this](Peer& peer) {
                if (peer.Handshake()) {
                    requested = requested || peer.Read().has_value();
                }
            },
            identity, kind);
    }

    std::variant<std::string, Failure> Ask(const std::string& host, const CallLimit& limit) const
    {
        return ReadServerPin(host, server->Port(), limit);
    }

    void ExpectPin(const std::string& pin, const std::string& host = "127.0.0.1")
    {
        const auto shown = Ask(host, {Clock::now() + kPinEndless});
        ASSERT_TRUE(std::holds_alternative<std::string>(shown)) << std::get<Failure>(shown).message;
        EXPECT_EQ(pin, std::get<std::string>(shown));
        server.reset();
        EXPECT_FALSE(requested);
        EXPECT_THAT(log.Lines(), IsEmpty());
    }

    void ExpectNone(const CallLimit& limit, Cause cause, const std::string& message)
    {
        const auto shown = Ask("127.0.0.1", limit);
        ASSERT_TRUE(std::holds_alternative<Failure>(shown)) << std::get<std::string>(shown);
        EXPECT_EQ(cause, std::get<Failure>(shown).cause);
        EXPECT_THAT(std::get<Failure>(shown).message, HasSubstr(message));
    }
    void ExpectNone(Cause cause, const std::string& message)
    {
        ExpectNone({Clock::now() + kPinEndless}, cause, message);
    }

    std::atomic<bool> requested = false;
    std::stop_source stop;
};

TEST_F(ServerPin, IsThatOfWhateverCertificate)
{
    const Identity trusted = Module();
    const Identity selfSigned = MakeIdentity({});
    const Identity expired = MakeIdentity({.endsInSeconds = -60});
    const Identity another = MakeIdentity({.names = "DNS:elsewhere.example"});
    const Identity unnamed = MakeIdentity({.isAuthority = true});
    for (const Identity& identity : {trusted, selfSigned, expired, another, unnamed}) {
        ServeAs(identity);
        ExpectPin(identity.Pin());
    }
}

TEST_F(ServerPin, IsToldOverEitherVersionOfTls)
{
    for (const int newest : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        ServeAs(Module(), {.newestTls = newest});
        ExpectPin(Module().Pin());
    }
}

TEST_F(ServerPin, IsAskedForByNameAndByBothKindsOfAddress)
{
    ServeAs(Module());
    ExpectPin(Module().Pin(), "localhost");
    for (const char* const host : {"::1", "[::1]"}) {
        if (CanListenOn("::1")) {
            ServeAs(Module(), {.listenOn = "::1"});
            ExpectPin(Module().Pin(), host);
        }
    }
}

/// The host's OpenSSL allows anonymous suites in these tests.
TEST_F(ServerPin, OffersNoSuiteInWhichAKeyIsNotShown)
{
    ServeAs(Module());
    ExpectPin(Module().Pin());
    ServeAs(Module(), {.newestTls = TLS1_2_VERSION, .suites = "aNULL:@SECLEVEL=0"});
    ExpectNone(Cause::kNoSuchModule, "does not agree on TLS 1.2 or newer");
}

TEST_F(ServerPin, IsNotToldByAServerWithoutTls)
{
    Serve([](Peer& peer) {
        peer.WaitForBytes();  // else it may end before the client knows that it was connected
        peer.Reset();
    });
    ExpectNone(Cause::kUnreachable, "within the TLS handshake");
}

TEST_F(ServerPin, IsNotToldWhereNobodyListens)
{
    ServeAs(Module());
    const std::uint16_t port = server->Port();
    server.reset();
    const auto shown = ReadServerPin("127.0.0.1", port, {Clock::now() + kPinEndless});
    EXPECT_EQ(Cause::kUnreachable, std::get<Failure>(shown).cause);
    EXPECT_EQ("https://127.0.0.1:" + std::to_string(port) + ": nothing listens on that port",
              std::get<Failure>(shown).message);
}

TEST_F(ServerPin, IsAskedOfPort443UnlessSaidOtherwise)
{
    const auto shown = ReadServerPin("no host", 0, {Clock::now() + kPinEndless});
    EXPECT_EQ(Cause::kLocal, std::get<Failure>(shown).cause);
    const auto silent = ReadServerPin("127.0.0.1", 0, {Clock::now()});
    EXPECT_THAT(std::get<Failure>(silent).message, HasSubstr("https://127.0.0.1:443: "));
}

TEST_F(ServerPin, IsWaitedForAsLongAsTheLimitSays)
{
    Serve([](Peer& peer) { peer.WaitForClient(); });
    ExpectNone({Clock::now() + 50ms}, Cause::kTimedOut, "took too long");
    CallLimit forFirstAnswer{Clock::now() + kPinEndless};
    forFirstAnswer.firstAnswer = Clock::now() + 50ms;
    ExpectNone(forFirstAnswer, Cause::kUnreachable, "took too long");
}

TEST_F(ServerPin, IsGivenUpAtAStop)
{
    Serve([this](Peer& peer) {
        stop.request_stop();
        peer.WaitForClient();
    });
    ExpectNone({Clock::now() + kPinEndless, stop.get_token()}, Cause::kCancelled, "");
    // Once more, where it is requested before anything is done.
    ExpectNone({Clock::now() + kPinEndless, stop.get_token()}, Cause::kCancelled, "");
}

}  // namespace
}  // namespace Tulvo::Tests
