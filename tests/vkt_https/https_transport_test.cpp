// SPDX-License-Identifier: Apache-2.0
// HTTPS as a transport: what it sends, waits for, counts and leaves behind, and how it says why
// not.
#include "module/vkt/vkt_https/https_transport.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/platform/file_descriptor.h"
#include "module/vkt/vkt_https/retry_after.h"
#include "tests/support/recording_gate.h"
#include "tests/support/run_in_child.h"
#include "tests/vkt_https/session_fixture.h"

namespace Tulvo::Tests {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using Clock = CallLimit::Clock;
using End = IpmiExchange::End;

/// Longer than the test's time limit: a wait that is not cut short shows.
constexpr auto kEndless = 1h;
constexpr auto kAmple = 30s;
/// For what ends without an answer: but a busy host has sent by then what it has to send.
constexpr auto kShort = 1s;

CallLimit Within(Clock::duration time)
{
    return {Clock::now() + time};
}

/// Says whether the connection goes on.
using Step = std::function<bool(Peer&, const Request&)>;

Step Send(const std::string& reply)
{
    return [reply](Peer& peer, const Request&) { return peer.Send(reply); };
}

bool CloseConnection(Peer& peer, const Request&)
{
    peer.Close();
    return false;
}

bool ResetConnection(Peer& peer, const Request&)
{
    peer.Reset();
    return false;
}

bool SayNothing(Peer& peer, const Request&)
{
    peer.WaitForClient();
    return false;
}

/// A module with sessions, which deviates where a test says so.
class HttpsTransportTest : public HttpsTest
{
protected:
    HttpsTransportTest()
    {
        // Nothing is asked of it.
        config.unusable = {{"HTTPS_PINNED_KEY", "broken"}, {"HTTPS_CA_FILE", "broken"}};
        ServeAs(Module());
    }
    ~HttpsTransportTest() override
    {
        transport.reset();
        server.reset();
    }

    void ServeAs(const Identity& identity, std::uint16_t port = 0)
    {
        Serve(
            [this](Peer& peer) {
                const auto unmet = connections.find(++connected);
                if (unmet != connections.end()) {
                    return unmet->second(peer);
                }
                for (bool open = peer.Handshake(); open;) {
                    const auto arrived = peer.Read();
                    open = arrived && Answer(peer, *arrived);
                }
            },
            identity, {.port = port});
    }

    bool Answer(Peer& peer, const Request& arrived)
    {
        const int number = ++requested;
        {
            const std::lock_guard lock(mutex);
            arrivals.push_back(Clock::now());
        }
        const auto step = requests.find(number);
        return step == requests.end() ? peer.Send(Honest(arrived)) : step->second(peer, arrived);
    }

    std::string Honest(const Request& arrived)
    {
        if (arrived.line.starts_with("DELETE ")) {
            return Reply("204 No Content", "");
        }
        if (arrived.line.starts_with(std::string(kLogin) + " ")) {
            const std::string number = std::to_string(++sessions);
            return Reply("201 Created", "{}",
                         "X-Auth-Token: token-" + number + "\r\nLocation: " +
                             "/redfish/v1/SessionService/Sessions/" + number + "\r\n");
        }
        const bool known = arrived.Field("X-Auth-Token") == "token-" + std::to_string(sessions) ||
                           arrived.Field("Authorization") == "Basic b3BlcmF0b3I6VDBwLXMzY3JldA==";
        return known ? GoodReply() : Reply("401 Unauthorized", "{}");
    }

    HttpsSettings Settings(bool basic = false) const
    {
        HttpsSettings settings;
        settings.host = "127.0.0.1";
        settings.port = server->Port();
        settings.user = kUser;
        settings.password = kPassword;
        settings.trust = HttpsTrust::kPinnedKey;
        settings.trusted = Module().Pin();
        settings.basicAuthentication = basic;
        return settings;
    }

    void Make(const HttpsSettings& settings) { transport = MakeHttpsTransport(settings); }

    /// Opens a session, which must succeed.
    void Open()
    {
        if (!transport) {
            Make(Settings());
        }
        const IpmiOpening opening = transport->Open(Within(kAmple));
        ASSERT_FALSE(opening.failure) << opening.failure->message;
    }

    IpmiExchange AskWithin(const CallLimit& limit, Resend resend = Resend::kFreely)
    {
        return transport->Ask(request, resend, limit);
    }
    IpmiExchange Ask(Resend resend = Resend::kFreely) { return AskWithin(Within(kAmple), resend); }

    void ExpectAnswered(const IpmiExchange& exchange)
    {
        ASSERT_EQ(End::kAnswered, exchange.end)
            << (exchange.failure ? exchange.failure->message : "");
        EXPECT_EQ(0, exchange.completionCode);
        EXPECT_EQ((std::vector<std::uint8_t>{0x37, 0x58, 0x32, 0x5A}), exchange.data);
    }

    void ExpectTold(const std::optional<Failure>& failure, Cause cause, const std::string& message)
    {
        ASSERT_TRUE(failure);
        EXPECT_EQ(cause, failure->cause);
        EXPECT_THAT(failure->message, HasSubstr(message));
        const std::string told = failure->message + failure->advice;
        EXPECT_EQ(std::string::npos, told.find_first_of("\r\n\t\x1B")) << told;
        for (const char* hidden :
             {kPassword, "b3BlcmF0b3I6VDBwLXMzY3JldA==", "token-", "HTTPS_", "--"}) {
            EXPECT_THAT(told, Not(HasSubstr(hidden)));
        }
    }
    void ExpectEnded(const IpmiExchange& exchange, End end, Cause cause, const std::string& message)
    {
        EXPECT_EQ(end, exchange.end);
        ExpectTold(exchange.failure, cause, message);
    }

    std::vector<std::string> Arrived() const
    {
        std::vector<std::string> lines;
        for (const Request& arrived : server->Requests()) {
            lines.push_back(arrived.line.substr(0, arrived.line.rfind(' ')));
        }
        return lines;
    }

    /// Between the arrivals of two requests, counted from 1.
    Clock::duration Pause(std::size_t first, std::size_t second)
    {
        const std::lock_guard lock(mutex);
        return arrivals.at(second - 1) - arrivals.at(first - 1);
    }

    std::map<int, std::function<void(Peer&)>> connections;  ///< By number, instead of a handshake.
    std::map<int, Step> requests;                           ///< By number, instead of honesty.
    std::atomic<int> connected = 0;
    std::atomic<int> requested = 0;
    std::atomic<int> sessions = 0;
    std::mutex mutex;
    std::vector<Clock::time_point> arrivals;
    std::stop_source stop;
    std::unique_ptr<IpmiTransport> transport;
};

TEST_F(HttpsTransportTest, AsksAllInOneSessionOverOneConnection)
{
    Open();
    for (int i = 0; i < 20; ++i) {
        ExpectAnswered(Ask());
    }
    transport->Close(Within(kAmple));
    transport->Close(Within(kAmple));
    const IpmiCost cost = transport->Cost();
    EXPECT_EQ(20U, cost.requests);
    EXPECT_EQ(1U, cost.logIns);
    EXPECT_EQ(1U, cost.tlsHandshakes);
    EXPECT_EQ(0U, cost.copies);
    EXPECT_EQ(1, server->Connections());
    const auto arrived = Arrived();
    ASSERT_THAT(arrived, SizeIs(22));
    EXPECT_EQ(kLogin, arrived.front());
    EXPECT_EQ(kDelete1, arrived.back());
    EXPECT_EQ(server->Port(), transport->Info().port);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(HttpsTransportTest, SendsThePasswordWithEveryRequestOverBasic)
{
    Make(Settings(true));
    Open();
    ExpectAnswered(Ask());
    ExpectAnswered(Ask());
    transport->Close(Within(kAmple));
    EXPECT_THAT(Arrived(), ElementsAre(kAction, kAction));
    EXPECT_EQ(1U, transport->Cost().logIns);
    EXPECT_EQ(1U, transport->Cost().tlsHandshakes);
}

TEST_F(HttpsTransportTest, ClosesTheSessionWhenItIsDestroyed)
{
    Open();
    transport.reset();
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kDelete1));
}

TEST_F(HttpsTransportTest, ClosesAnEarlierSessionBeforeItOpensOne)
{
    Open();
    Open();
    ExpectAnswered(Ask());
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kDelete1, kLogin, kAction));
    EXPECT_EQ(2U, transport->Cost().logIns);
}

TEST_F(HttpsTransportTest, OpensASessionThoughTheLogOutOfTheEarlierOneIsNotAnswered)
{
    Open();
    requests[2] = SayNothing;
    CallLimit limit = Within(kAmple);
    limit.longestSilence = kShort;
    const IpmiOpening opening = transport->Open(limit);
    ASSERT_FALSE(opening.failure) << opening.failure->message;
    ExpectAnswered(Ask());
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kDelete1, kLogin, kAction));
    EXPECT_THAT(log.Lines(2), SizeIs(1));
}

TEST_F(HttpsTransportTest, LeavesTheSessionToTheParentOfAChild)
{
    Open();
    EXPECT_TRUE(RunsWellInAChild([this] {
        const bool isLost = Ask().end == End::kLost;
        transport.reset();
        return isLost;
    }));
    ExpectAnswered(Ask());
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction));
}

TEST_F(HttpsTransportTest, RefusesSettingsThatCannotBe)
{
    const std::vector<std::pair<std::function<void(HttpsSettings&)>, std::string>> cases{
        {[](HttpsSettings& s) { s.host = "enc/017"; }, "neither a host name nor an IP address"},
        {[](HttpsSettings& s) { s.host = ""; }, "no address was given"},
        {[](HttpsSettings& s) { s.trusted = ""; }, "no key is pinned"},
        {[](HttpsSettings& s) { s.trusted = "sha256//short"; }, "not of the form sha256//BASE64"},
        {[](HttpsSettings& s) { s.password = "T0p-s3cret\n"; }, "holds a control character"},
        {[](HttpsSettings& s) {
             s.user = "a:b";
             s.basicAuthentication = true;
         },
         "holds a colon"},
        {[](HttpsSettings& s) {
             s.trust = HttpsTrust::kAuthorityFile;
             s.trusted = "/nowhere/authority.pem";
         },
         "file of trusted authorities cannot be used"}};
    for (const auto& [change, message] : cases) {
        auto settings = Settings();
        change(settings);
        Make(settings);
        const IpmiOpening opening = transport->Open(Within(kAmple));
        ExpectTold(opening.failure, Cause::kLocal, message);
        EXPECT_FALSE(opening.noneFree);
    }
    EXPECT_EQ(0, server->Handshakes());
}

TEST_F(HttpsTransportTest, SaysThatNobodyListens)
{
    auto settings = Settings();
    server.reset();
    Make(settings);
    ExpectTold(
        transport->Open(Within(kAmple)).failure, Cause::kUnreachable,
        "https://127.0.0.1:" + std::to_string(settings.port) + ": nothing listens on that port");
    EXPECT_EQ(0U, transport->Cost().logIns);
    EXPECT_EQ(0U, transport->Cost().tlsHandshakes);
    ServeAs(Module());  // For the destructor.
}

TEST_F(HttpsTransportTest, TrustsWhomTheSettingsTrust)
{
    const std::vector<std::pair<HttpsTrust, std::string>> cases{
        {HttpsTrust::kPinnedKey, Module().Pin()},
        {HttpsTrust::kAuthorityFile, authorityFile.Path()},
        {HttpsTrust::kAnybody, ""}};
    for (const auto& [trust, trusted] : cases) {
        auto settings = Settings();
        settings.trust = trust;
        settings.trusted = trusted;
        Make(settings);
        Open();
        ExpectAnswered(Ask());
    }
    auto settings = Settings();
    settings.trust = HttpsTrust::kAuthorities;
    Make(settings);
    const IpmiOpening opening = transport->Open(Within(kAmple));
    ExpectTold(opening.failure, Cause::kNotTrusted, "authority that is not trusted here");
    EXPECT_THAT(opening.failure->advice, HasSubstr(Module().Pin()));
}

TEST_F(HttpsTransportTest, KeepsThePinsOfTwoModulesApart)
{
    const Identity other = MakeIdentity({});
    const auto serveOther = [this](Peer& peer) {
        for (bool open = peer.Handshake(); open;) {
            const auto arrived = peer.Read();
            open = arrived && peer.Send(Honest(*arrived));
        }
    };
    TlsServer otherServer(other, serveOther);
    auto here = Settings();
    auto there = Settings();
    there.port = otherServer.Port();
    there.trusted = other.Pin();
    const auto first = MakeHttpsTransport(here);
    const auto second = MakeHttpsTransport(there);
    EXPECT_FALSE(first->Open(Within(kAmple)).failure);
    EXPECT_FALSE(second->Open(Within(kAmple)).failure);
    std::swap(here.trusted, there.trusted);
    const int headsBefore = server->Heads() + otherServer.Heads();
    for (const auto& settings : {here, there}) {
        const auto swapped = MakeHttpsTransport(settings);
        ExpectTold(swapped->Open(Within(kAmple)).failure, Cause::kNotTrusted,
                   "the server's key is not the pinned one");
        EXPECT_EQ(0U, swapped->Cost().logIns);
    }
    EXPECT_EQ(headsBefore, server->Heads() + otherServer.Heads())
        << "nothing may be sent to an untrusted server";
    first->Close(Within(kAmple));
    second->Close(Within(kAmple));
}

TEST_F(HttpsTransportTest, SendsARefusedPasswordOnce)
{
    for (const bool basic : {false, true}) {
        auto settings = Settings(basic);
        settings.password = "wr0ng";
        Make(settings);
        requests[requested + 1] =
            Send(Reply("401 Unauthorized", R"({"error": {"message": "not wr0ng"}})"));
        std::optional<Failure> failure = transport->Open(Within(kAmple)).failure;
        if (basic) {
            ASSERT_FALSE(failure);
            const IpmiExchange exchange = Ask();
            EXPECT_EQ(End::kFailed, exchange.end);
            failure = exchange.failure;
        }
        ExpectTold(failure, Cause::kRefused, "the server answered 401: the log-in is refused");
        EXPECT_THAT(failure->message, Not(HasSubstr("wr0ng")));
        EXPECT_EQ(1U, transport->Cost().logIns);
        EXPECT_EQ(1U, transport->Cost().logInsRefused);
    }
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction));
}

TEST_F(HttpsTransportTest, LogsInOnceMoreWhenASessionThatWorkedHasExpired)
{
    const std::string refusal = Reply("401 Unauthorized", R"({"error": {"message": "token-3"}})");
    Open();
    ExpectAnswered(Ask());
    requests[3] = Send(refusal);
    ExpectAnswered(Ask());
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction, kAction, kDelete1, kLogin, kAction));
    EXPECT_EQ(2U, transport->Cost().logIns);
    EXPECT_EQ(2U, transport->Cost().requests);

    requests[7] = Send(refusal);
    requests[10] = Send(refusal);
    ExpectEnded(Ask(), End::kFailed, Cause::kRefused, "401");
    EXPECT_EQ(3U, transport->Cost().logIns);
    EXPECT_EQ(10, requested);
}

TEST_F(HttpsTransportTest, DoesNotLogInAgainForASessionThatNeverWorked)
{
    Open();
    requests[2] = Send(Reply("401 Unauthorized", "{}"));
    ExpectEnded(Ask(), End::kFailed, Cause::kRefused, "401");
    EXPECT_EQ(1U, transport->Cost().logIns);
}

TEST_F(HttpsTransportTest, SendsNothingOverASecondSessionThatMustNotBe)
{
    Open();
    ExpectAnswered(Ask());
    requests[3] = Send(Reply("401 Unauthorized", "{}"));
    ExpectEnded(Ask(Resend::kAsOneRequest), End::kLost, Cause::kRefused, "401");
    ExpectEnded(Ask(), End::kLost, Cause::kLocal, "no session is open");
    Open();
    ExpectAnswered(Ask());
}

struct StatusCase
{
    const char* status;
    End end;
    Cause cause;
};

TEST_F(HttpsTransportTest, JudgesEveryStatus)
{
    const std::vector<StatusCase> cases{
        {"302 Found", End::kFailed, Cause::kNoSuchModule},
        {"400 Bad Request", End::kUseless, Cause::kMalformedAnswer},
        {"403 Forbidden", End::kUseless, Cause::kRefused},
        {"404 Not Found", End::kFailed, Cause::kNoSuchModule},
        {"405 Method Not Allowed", End::kFailed, Cause::kNoSuchModule},
        {"408 Request Timeout", End::kSilent, Cause::kTimedOut},
        {"418 Teapot", End::kUseless, Cause::kMalformedAnswer},
        {"500 Internal Server Error", End::kUseless, Cause::kMalformedAnswer},
        {"501 Not Implemented", End::kFailed, Cause::kNoSuchModule},
        {"504 Gateway Timeout", End::kSilent, Cause::kTimedOut}};
    Open();
    for (const auto& [status, end, cause] : cases) {
        requests[requested + 1] = Send(Reply(status, R"({"error": {"message": "T0p-s3cret\n"}})"));
        ExpectEnded(Ask(), end, cause, "the server answered " + std::string(status, 3) + ": ");
        ExpectAnswered(Ask());
    }
    EXPECT_EQ(0U, transport->Cost().copies);
    Make(Settings());
    requests[requested + 1] = Send(Reply("404 Not Found", "{}"));
    ExpectTold(transport->Open(Within(kAmple)).failure, Cause::kNoSuchModule,
               "the server answered 404: it does not offer IPMI over HTTPS");
}

TEST_F(HttpsTransportTest, SaysThatAnAnswerIsNone)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {Reply("200 OK", "<html></html>"), "no IPMI answer"},
        {Reply("200 OK", ""), "empty body"},
        {"SSH-2.0-server\r\n\r\n", "not HTTP"}};
    Open();
    for (const auto& [reply, message] : cases) {
        requests[requested + 1] = Send(reply);
        ExpectEnded(Ask(), End::kUseless, Cause::kMalformedAnswer, message);
        ExpectAnswered(Ask());
    }
}

TEST_F(HttpsTransportTest, WaitsForABusyServer)
{
    Open();
    requests[2] = Send(Reply("503 Service Unavailable", "{}"));
    requests[3] = Send(Reply("429 Too Many Requests", "{}", "Retry-After: 1\r\n"));
    ExpectAnswered(Ask(Resend::kAsOneRequest));
    EXPECT_GE(Pause(2, 3), 500ms);
    EXPECT_GE(Pause(3, 4), 1s);
    EXPECT_EQ(2U, transport->Cost().copies);
    EXPECT_EQ(1U, transport->Cost().requests);
    EXPECT_EQ(1, server->Connections());
}

TEST_F(HttpsTransportTest, DoesNotWaitForABusyServerBeyondTheLimit)
{
    Open();
    requests[2] = Send(Reply("503 Service Unavailable", "{}", "Retry-After: 3600\r\n"));
    requests[3] = Send(Reply("429 Too Many Requests", "{}", "Retry-After: 3600\r\n"));
    const CallLimit limit = Within(1h);
    ExpectEnded(AskWithin(limit), End::kFailed, Cause::kBusy, "503: it is busy");
    ExpectEnded(AskWithin(limit), End::kFailed, Cause::kBusy, "429: it has too many requests");
    EXPECT_EQ(0U, transport->Cost().copies);
}

TEST_F(HttpsTransportTest, WaitsForASessionAsTheServerSaysElseLeavesThatToItsCaller)
{
    Make(Settings());
    requests[1] = Send(Reply("503 Service Unavailable", "{}", "Retry-After: 1\r\n"));
    Open();
    EXPECT_GE(Pause(1, 2), 1s);
    Make(Settings());
    for (const auto& [field, noneFree] :
         {std::pair("", true), std::pair("Retry-After: 3600\r\n", false)}) {
        requests[requested + 1] = Send(Reply("503 Service Unavailable", "{}", field));
        const IpmiOpening opening = transport->Open(Within(kAmple));
        ExpectTold(opening.failure, Cause::kBusy, "503");
        EXPECT_EQ(noneFree, opening.noneFree);
    }
}

TEST_F(HttpsTransportTest, OpensAConnectionAnewThatClosedBeforeAnAnswer)
{
    for (const Step& end : {Step(CloseConnection), Step(ResetConnection)}) {
        Open();
        const int before = requested;
        const int connectionsBefore = server->Connections();
        for (int i = 1; i <= 3; ++i) {
            requests[before + i] = end;
        }
        ExpectAnswered(Ask());
        EXPECT_EQ(before + 4, requested);
        EXPECT_EQ(connectionsBefore + 3, server->Connections());
        for (int i = 5; i <= 8; ++i) {
            requests[before + i] = end;
        }
        ExpectEnded(Ask(), End::kSilent, Cause::kUnreachable,
                    "the server closed the connection without an answer");
        EXPECT_EQ(before + 8, requested);
        ExpectAnswered(Ask());
    }
}

TEST_F(HttpsTransportTest, OpensAConnectionAnewThatClosedBeforeTheHandshake)
{
    for (const int count : {3, 4}) {
        Make(Settings());
        const int before = connected;
        for (int i = 1; i <= count; ++i) {
            connections[before + i] = [](Peer& peer) { peer.Break(); };
        }
        const auto failure = transport->Open(Within(kAmple)).failure;
        EXPECT_EQ(count == 4, failure.has_value());
        EXPECT_EQ(before + 4, connected);
        EXPECT_EQ(4U, transport->Cost().tlsHandshakes);
    }
}

TEST_F(HttpsTransportTest, LosesNoSessionToConnectionsThatCloseBeforeTheHandshake)
{
    for (const bool basic : {false, true}) {
        SCOPED_TRACE(basic);
        Make(Settings(basic));
        Open();
        ExpectAnswered(Ask());
        requests[requested + 1] = CloseConnection;
        for (int count = 1; count <= 3; ++count) {
            connections[connected + count] = [](Peer& peer) { peer.Break(); };
        }
        ExpectEnded(Ask(), End::kSilent, Cause::kUnreachable, "within the TLS handshake");
        ExpectAnswered(Ask());
    }
}

TEST_F(HttpsTransportTest, FindsAModuleAgainThatStartsAnew)
{
    for (const bool basic : {false, true}) {
        SCOPED_TRACE(basic);
        Make(Settings(basic));
        Open();
        ExpectAnswered(Ask());
        const std::uint16_t port = server->Port();
        server.reset();
        ExpectEnded(Ask(), End::kLost, Cause::kUnreachable, "nothing listens");
        const IpmiOpening opening = transport->Open(Within(kAmple));
        ExpectTold(opening.failure, Cause::kUnreachable, "nothing listens");
        ServeAs(Module(), port);
        Open();
        ExpectAnswered(Ask());
    }
}

TEST_F(HttpsTransportTest, SendsNothingTwiceThatMustNotBe)
{
    for (const Step& end : {Step(CloseConnection), Step(ResetConnection)}) {
        Open();
        requests[requested + 1] = end;
        const int before = requested;
        ExpectEnded(Ask(Resend::kAsOneRequest), End::kSilent, Cause::kUnreachable,
                    "without an answer");
        EXPECT_EQ(before + 1, requested);
    }
    // A connection that closed while nothing was asked has taken nothing along.
    Open();
    requests[requested + 1] = [](Peer& peer, const Request&) {
        peer.Send(GoodReply());
        peer.Close();
        return false;
    };
    ExpectAnswered(Ask());
    server->AwaitEnds(connected);
    ExpectAnswered(Ask(Resend::kAsOneRequest));
}

TEST_F(HttpsTransportTest, LosesAnAnswerThatBreaksOffButNotTheSession)
{
    Open();
    requests[2] = [](Peer& peer, const Request&) {
        peer.Send(GoodReply().substr(0, GoodReply().size() - 5));
        peer.Close();
        return false;
    };
    ExpectEnded(Ask(), End::kSilent, Cause::kMalformedAnswer, "broke off within the reply");
    ExpectAnswered(Ask());
}

TEST_F(HttpsTransportTest, EndsWithItsLimitAndStillGivesTheSessionBack)
{
    Open();
    requests[2] = SayNothing;
    ExpectEnded(AskWithin(Within(kShort)), End::kSilent, Cause::kTimedOut,
                "the server took too long");
    ExpectEnded(AskWithin(Within(-1s)), End::kSilent, Cause::kTimedOut, "the server took too long");
    transport->Close(Within(kAmple));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction, kDelete1));
}

TEST_F(HttpsTransportTest, LeavesTimeForOthersWhenOneRequestIsNotAnswered)
{
    Open();
    ExpectAnswered(Ask());
    requests[3] = SayNothing;
    ExpectEnded(AskWithin(Within(kEndless)), End::kSilent, Cause::kTimedOut,
                "the server took too long");
    ExpectAnswered(Ask());
}

TEST_F(HttpsTransportTest, LeavesARequestUnansweredNoLongerThanItsCallerWants)
{
    Open();
    requests[2] = SayNothing;
    CallLimit limit = Within(kEndless);
    limit.longestSilence = kShort;
    const auto begin = Clock::now();
    ExpectEnded(AskWithin(limit), End::kSilent, Cause::kTimedOut, "the server took too long");
    EXPECT_LT(Clock::now() - begin, 10s);  // which it would wait else
    // A pause that the server asks for is no silence.
    requests[3] = Send(Reply("503 Service Unavailable", "{}", "Retry-After: 5\r\n"));
    limit.longestSilence = 4900ms;
    ExpectAnswered(AskWithin(limit));
    EXPECT_GE(Pause(3, 4), 5s);
}

TEST_F(HttpsTransportTest, ClosesWithinItsLimit)
{
    Open();
    requests[2] = SayNothing;
    transport->Close(Within(kShort));
    transport->Close(Within(kAmple));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kDelete1));
    EXPECT_THAT(log.Lines(2), SizeIs(1));
}

TEST_F(HttpsTransportTest, HearsAStopBeforeAnything)
{
    Make(Settings());
    stop.request_stop();
    const CallLimit limit{Clock::now() + kEndless, stop.get_token()};
    ExpectTold(transport->Open(limit).failure, Cause::kCancelled, "");
    EXPECT_EQ(0U, transport->Cost().logIns);
    EXPECT_THAT(Arrived(), IsEmpty());
}

TEST_F(HttpsTransportTest, HearsAStopWhileItConnects)
{
    // A listener that is not served, with its queue filled.
    const FileDescriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof name;
    auto* const address = reinterpret_cast<sockaddr*>(&name);
    ASSERT_EQ(0, bind(listener.Get(), address, size));
    ASSERT_EQ(0, listen(listener.Get(), 0));
    ASSERT_EQ(0, getsockname(listener.Get(), address, &size));
    const FileDescriptor guest(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(0, connect(guest.Get(), address, size));

    auto settings = Settings();
    settings.port = ntohs(name.sin_port);
    Make(settings);
    const std::jthread stopper([this] {
        std::this_thread::sleep_for(50ms);
        stop.request_stop();
    });
    const CallLimit limit{Clock::now() + kEndless, stop.get_token()};
    ExpectTold(transport->Open(limit).failure, Cause::kCancelled, "");
}

TEST_F(HttpsTransportTest, HearsAStopInTheHandshake)
{
    Make(Settings());
    connections[1] = [this](Peer& peer) {
        stop.request_stop();
        peer.WaitForClient();
    };
    const CallLimit limit{Clock::now() + kEndless, stop.get_token()};
    ExpectTold(transport->Open(limit).failure, Cause::kCancelled, "");
    EXPECT_EQ(0U, transport->Cost().logIns);
    transport->Close(Within(kAmple));
    EXPECT_THAT(Arrived(), IsEmpty());
}

TEST_F(HttpsTransportTest, HearsAStopBeforeTheAnswerToARequest)
{
    Open();
    requests[2] = [this](Peer& peer, const Request& arrived) {
        stop.request_stop();
        return SayNothing(peer, arrived);
    };
    const CallLimit limit{Clock::now() + kEndless, stop.get_token()};
    ExpectEnded(AskWithin(limit), End::kSilent, Cause::kCancelled, "");
    transport->Close(Within(kAmple));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction, kDelete1));
}

TEST_F(HttpsTransportTest, HearsAStopWhileItWaitsForABusyServer)
{
    Open();
    requests[2] = [this](Peer& peer, const Request&) {
        const bool sent =
            peer.Send(Reply("503 Service Unavailable", "{}", "Retry-After: 3000\r\n"));
        stop.request_stop();
        return sent;
    };
    const CallLimit limit{Clock::now() + kEndless, stop.get_token()};
    EXPECT_EQ(Cause::kCancelled, AskWithin(limit).failure->cause);
}

// A module that was asked for a session has one, whether or not anybody waits for its answer.
TEST_F(HttpsTransportTest, DeletesASessionWhoseLogInWasCutShort)
{
    for (const bool byStop : {true, false}) {
        Make(Settings());
        std::promise<void> cut;
        requests[requested + 1] = [&, this](Peer& peer, const Request& arrived) {
            if (byStop) {
                stop.request_stop();
            }
            cut.get_future().wait();
            return peer.Send(Honest(arrived));
        };
        const CallLimit limit{Clock::now() + (byStop ? Clock::duration(kEndless) : 3s),
                              byStop ? stop.get_token() : std::stop_token()};
        ExpectTold(transport->Open(limit).failure, byStop ? Cause::kCancelled : Cause::kTimedOut,
                   "");
        EXPECT_EQ(1U, transport->Cost().logIns);
        cut.set_value();
        transport->Close(Within(kAmple));
    }
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kDelete1, kLogin, kDelete2));
}

TEST_F(HttpsTransportTest, WantsTheFirstAnswerInItsTime)
{
    const auto waitForClient = [](Peer& peer) { peer.WaitForClient(); };
    struct Case
    {
        const char* name;
        std::optional<Clock::duration> firstAnswer;
        Clock::duration longest;
        bool handshakes;
        std::optional<Cause> expected;
    };
    for (const bool basic : {false, true}) {
        for (const Case& one : {Case{"in time", kAmple, kEndless, true, std::nullopt},
                                Case{"never", kShort, kEndless, false, Cause::kUnreachable},
                                Case{"never, and any time", {}, kShort, false, Cause::kTimedOut}}) {
            SCOPED_TRACE(std::string(one.name) + (basic ? " over Basic" : ""));
            Make(Settings(basic));
            if (!one.handshakes) {
                connections[connected + 1] = waitForClient;
            }
            CallLimit limit = Within(one.longest);
            if (one.firstAnswer) {
                limit.firstAnswer = Clock::now() + *one.firstAnswer;
            }
            auto failure = transport->Open(limit).failure;
            if (basic) {
                ASSERT_FALSE(failure);
                failure = AskWithin(limit).failure;
            }
            EXPECT_EQ(one.expected, failure ? std::optional(failure->cause) : std::nullopt);
        }
    }
}

TEST_F(HttpsTransportTest, AsksTheGateBeforeUserAndPasswordLeave)
{
    using GateEnd = LogInGate::End;
    struct Case
    {
        const char* name;
        Step reply;
        std::vector<GateEnd> ends;
    };
    for (const bool basic : {false, true}) {
        for (const Case& one :
             {Case{"accepted", {}, {GateEnd::kAccepted}},
              Case{"refused", Send(Reply("401 Unauthorized", "{}")), {GateEnd::kRefused}},
              Case{"silent", SayNothing, {GateEnd::kUnknown}}}) {
            SCOPED_TRACE(std::string(one.name) + (basic ? " over Basic" : ""));
            RecordingGate gate;
            Make(Settings(basic));
            if (one.reply) {
                requests[requested + 1] = one.reply;
            }
            const bool isSilent = one.ends.front() == GateEnd::kUnknown;
            CallLimit limit = Within(isSilent ? 3s : kAmple);
            limit.gate = &gate;
            const bool isOpen = !transport->Open(limit).failure;
            EXPECT_EQ(basic ? 0U : 1U, gate.Entered());
            const bool isAccepted = one.ends.front() == GateEnd::kAccepted;
            for (int asked = 0; isOpen && asked < (isAccepted ? 2 : 1); ++asked) {
                AskWithin(limit);
            }
            EXPECT_EQ(1U, gate.Entered());
            EXPECT_EQ(one.ends, gate.Ends());
            EXPECT_EQ(one.ends.front() == GateEnd::kRefused ? 1U : 0U,
                      transport->Cost().logInsRefused);
        }
    }
}

TEST_F(HttpsTransportTest, SendsNothingWhereTheGateGivesNoLeave)
{
    for (const bool basic : {false, true}) {
        RecordingGate gate;
        gate.refusal = Failure{Cause::kRefused, "not asked", "check the password", {}};
        Make(Settings(basic));
        CallLimit limit = Within(kAmple);
        limit.gate = &gate;
        auto failure = transport->Open(limit).failure;
        if (basic) {
            ASSERT_FALSE(failure);
            const IpmiExchange exchange = AskWithin(limit);
            EXPECT_EQ(End::kFailed, exchange.end);
            failure = exchange.failure;
        }
        EXPECT_EQ(gate.refusal, failure);
        EXPECT_EQ(1U, gate.Entered());
        EXPECT_EQ(1U, transport->Cost().tlsHandshakes);
        EXPECT_EQ(0U, transport->Cost().logIns);
        EXPECT_EQ(0U, transport->Cost().logInsRefused);
        EXPECT_THAT(gate.Ends(), IsEmpty());
    }
    EXPECT_THAT(Arrived(), IsEmpty());
}

TEST_F(HttpsTransportTest, GivesUpALogInThatIsNeverAnswered)
{
    Make(Settings());
    requests[1] = [this](Peer& peer, const Request& arrived) {
        stop.request_stop();
        return SayNothing(peer, arrived);
    };
    const CallLimit limit{Clock::now() + kEndless, stop.get_token()};
    ExpectTold(transport->Open(limit).failure, Cause::kCancelled, "");
    transport->Close(Within(50ms));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin));
    Open();
    ExpectAnswered(Ask());
}

TEST_F(HttpsTransportTest, TellsNothingOfASessionWithoutAToken)
{
    Make(Settings());
    requests[1] = Send(Reply("201 Created", "{}"));
    ExpectTold(transport->Open(Within(kAmple)).failure, Cause::kMalformedAnswer,
               "without a usable X-Auth-Token");
    EXPECT_EQ(1U, transport->Cost().logIns);
}

TEST_F(HttpsTransportTest, HasNoPrivilegeToRaise)
{
    Open();
    ExpectTold(transport->RaisePrivilege(Within(kAmple)), Cause::kRefused, "privilege");
}

TEST(RetryAfter, IsSecondsOrADate)
{
    constexpr std::time_t kNow = 784'111'777;  // Sun, 06 Nov 1994 08:49:37 GMT
    const std::vector<std::pair<const char*, milliseconds>> cases{
        {"", 500ms},
        {"0", 100ms},
        {"1", 1s},
        {"120", 120s},
        {"99999999999999999999", 24h},
        {"-1", 500ms},
        {"soon", 500ms},
        {"Sun, 06 Nov 1994 08:49:47 GMT", 10s},
        {"Sun, 06 Nov 1994 08:49:27 GMT", 100ms},
        {"Fri, 31 Dec 9999 23:59:59 GMT", 24h}};
    for (const auto& [text, pause] : cases) {
        EXPECT_EQ(pause, Https::PauseFor(text, kNow)) << text;
    }
}

}  // namespace
}  // namespace Tulvo::Tests
