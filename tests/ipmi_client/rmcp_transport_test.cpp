// SPDX-License-Identifier: Apache-2.0
// The rules of one session over RMCP+, each against a module that gives the occasion for it. Copies
// are sent soon here, and what is expected of them are counts and least times, which a slow machine
// does not change.
#include "module/ipmi/ipmi_client/rmcp_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "module/ipmi/ipmi_client/rmcp_timing.h"
#include "module/ipmi/ipmi_client/stop_signal.h"
#include "tests/ipmi_client/fake_rmcp_module.h"
#include "tests/ipmi_client/fault_injecting_relay.h"
#include "tests/support/few_descriptors.h"
#include "tests/support/recording_gate.h"
#include "tests/support/run_in_child.h"
#include "tests/support/run_in_threads.h"

namespace Tulvo {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using End = IpmiExchange::End;
using Clock = CallLimit::Clock;
using Rmcp::RmcpTiming;

const IPMICOMMAND kRequest{0xA8, {1, 2, 3}, 0x32};
const Bytes kAnswer{0x00, 0x42};

/// No copy and no end within a test.
constexpr RmcpTiming kPatient{10min, 10min, 10min, 10min, 10min};
/// A copy soon; but not so soon that a busy host's answers are late by as much as four copies take.
constexpr RmcpTiming kQuick{100ms, 100ms, 100ms, 400ms, 100ms};

CallLimit Ample()
{
    return {Clock::now() + 1min, {}};
}

FakeRmcpModuleOptions Module(std::function<Bytes()> answer = [] { return kAnswer; })
{
    FakeRmcpModuleOptions options;
    options.answer = [answer = std::move(answer)](std::uint8_t, std::uint8_t, const Bytes&) {
        return answer();
    };
    return options;
}

RmcpSettings SettingsFor(const FakeRmcpModuleOptions& options, std::uint16_t port)
{
    RmcpSettings settings;
    settings.host = "127.0.0.1";
    settings.port = port;
    settings.user = options.userName;
    settings.password = options.password;
    settings.cipherSuite = static_cast<std::uint8_t>(options.cipherSuite);
    settings.kg = options.kg;
    return settings;
}

/// A module, what is between, and a transport.
struct Peer
{
    explicit Peer(const FakeRmcpModuleOptions& options, const RmcpTiming& timing = kPatient,
                  FaultInjectingRelay::Filter toServer = FaultInjectingRelay::PassOn,
                  FaultInjectingRelay::Filter toClient = FaultInjectingRelay::PassOn)
        : module(options),
          relay(module.Port(), std::move(toServer), std::move(toClient)),
          settings(SettingsFor(options, relay.Port())),
          timing_(timing)
    {
    }

    IpmiTransport& Transport()
    {
        if (transport == nullptr) {
            transport = Rmcp::MakeRmcpTransport(settings, timing_);
        }
        return *transport;
    }
    IpmiOpening Open() { return Transport().Open(Ample()); }
    IpmiExchange Ask() { return Transport().Ask(kRequest, Resend::kFreely, Ample()); }
    void Close() { Transport().Close(Ample()); }

    FakeRmcpModule module;
    FaultInjectingRelay relay;
    RmcpSettings settings;
    std::unique_ptr<IpmiTransport> transport;

private:
    RmcpTiming timing_;
};

/// Drops the first `count` packets of a type.
FaultInjectingRelay::Filter Dropping(PayloadType type, int count)
{
    return [=](const Datagram& d) mutable -> std::vector<Datagram> {
        if (Carries(d, type) && count-- > 0) {
            return {};
        }
        return {d};
    };
}

/// Counts the packets of a type, and passes them on.
/// Copies, which a busy host causes, are not counted.
FaultInjectingRelay::Filter Counting(PayloadType type, std::atomic<unsigned>& count)
{
    return [type, &count, seen = std::set<Datagram>()](const Datagram& d) mutable {
        count += Carries(d, type) && seen.insert(d).second ? 1U : 0U;
        return std::vector<Datagram>{d};
    };
}

testing::AssertionResult Opens(Peer& peer)
{
    const IpmiOpening opening = peer.Open();
    return opening.failure ? testing::AssertionFailure() << opening.failure->message
                           : testing::AssertionSuccess();
}

/// Whether the module has no session left, once it has had the time to read what was sent.
bool NothingIsLeft(FakeRmcpModule& module)
{
    for (int i = 0; i < 1000 && module.OpenSessions() > 0; ++i) {
        std::this_thread::sleep_for(5ms);
    }
    return module.OpenSessions() == 0;
}

/// The number of each request that the module was asked, once it has had the time to read so many.
std::vector<std::uint8_t> NumbersOnceThereAre(std::size_t count, FakeRmcpModule& module)
{
    for (int i = 0; i < 1000 && module.RequestNumbers().size() < count; ++i) {
        std::this_thread::sleep_for(5ms);
    }
    return module.RequestNumbers();
}

// --- What it is for

TEST(RmcpSession, CarriesManyRequestsOverOneLogIn)
{
    for (const int suite : {3, 17}) {
        SCOPED_TRACE(suite);
        FakeRmcpModuleOptions options = Module();
        options.cipherSuite = suite;
        Peer peer(options);
        ASSERT_TRUE(Opens(peer));
        constexpr unsigned kRequests = 100;  // more than there are request numbers
        for (unsigned i = 0; i < kRequests; ++i) {
            const IpmiExchange exchange = peer.Ask();
            ASSERT_EQ(exchange.end, End::kAnswered);
            ASSERT_EQ(exchange.completionCode, 0);
            ASSERT_EQ(exchange.data, Bytes{0x42});
        }
        peer.Close();
        const IpmiCost cost = peer.Transport().Cost();
        constexpr unsigned kLogInAndOut = 3 + 1;
        EXPECT_EQ(cost.requests, kRequests);
        EXPECT_EQ(cost.datagramsSent, kRequests + kLogInAndOut);
        EXPECT_EQ(cost.datagramsReceived, kRequests + kLogInAndOut);
        EXPECT_EQ(cost.copies, 0U);
        EXPECT_EQ(cost.logIns, 1U);
        EXPECT_EQ(peer.module.Proofs(), 1U);
        EXPECT_TRUE(NothingIsLeft(peer.module));
        EXPECT_EQ(peer.Transport().Info().cipherSuite, suite);
        EXPECT_EQ(peer.Transport().Info().privilege, 4);
        EXPECT_EQ(peer.Transport().Info().port, peer.relay.Port());
    }
}

TEST(RmcpSession, IsGivenBackByTheDestructor)
{
    Peer peer(Module());
    ASSERT_TRUE(Opens(peer));
    peer.transport.reset();
    EXPECT_TRUE(NothingIsLeft(peer.module));
}

TEST(RmcpSession, OpenedAnewClosesTheOneBefore)
{
    Peer peer(Module());
    ASSERT_TRUE(Opens(peer));
    ASSERT_TRUE(Opens(peer));
    EXPECT_EQ(peer.module.OpenSessions(), 1U);
    EXPECT_EQ(peer.Transport().Cost().logIns, 2U);
}

TEST(RmcpSession, WithoutOneARequestIsLost)
{
    Peer peer(Module());
    const IpmiExchange exchange = peer.Ask();
    EXPECT_EQ(exchange.end, End::kLost);
    EXPECT_TRUE(exchange.failure);
    EXPECT_EQ(peer.Transport().Cost().datagramsSent, 0U);
}

// --- Copies

TEST(Intervals, FollowTheSlowestAnswer)
{
    struct Case
    {
        std::chrono::milliseconds slowest;
        std::chrono::milliseconds interval;
    };
    constexpr RmcpTiming kReal;
    for (const Case& c : {Case{0ms, 1s}, Case{1ms, 250ms}, Case{62ms, 250ms}, Case{63ms, 252ms},
                          Case{500ms, 2s}, Case{1250ms, 5s}, Case{1251ms, 5s}, Case{1h, 5s}}) {
        EXPECT_EQ(kReal.CopyInterval(c.slowest), c.interval) << c.slowest.count();
    }
    EXPECT_EQ(kReal.loginStep, 3s);
}

TEST(Intervals, OfALaterStepOfTheLogInEndWithOneCopyAtAQuickModuleAndWithTwoAtASlowOne)
{
    struct Case
    {
        std::chrono::milliseconds slowest;
        std::chrono::milliseconds limit;
    };
    constexpr RmcpTiming kReal;
    for (const Case& c :
         {Case{0ms, 6s}, Case{1500ms, 6s}, Case{2s, 8s}, Case{3s, 12s}, Case{1h, 12s}}) {
        EXPECT_EQ(Rmcp::LaterStepLimit(kReal.LaterStepLimit(), c.slowest), c.limit)
            << c.slowest.count();
    }
}

TEST(Copies, AreThreeAtIntervalsThatDouble)
{
    Peer peer(Module([] { return Bytes{}; }), kQuick);
    ASSERT_TRUE(Opens(peer));
    const auto ofTheLogin = peer.Transport().Cost().copies;  // on a busy host there are some
    const auto begin = Clock::now();
    const IpmiExchange exchange = peer.Ask();
    EXPECT_EQ(exchange.end, End::kSilent);
    EXPECT_EQ(exchange.failure->cause, Cause::kTimedOut);
    EXPECT_THAT(exchange.failure->message, HasSubstr("no answer"));
    EXPECT_EQ(exchange.failure->advice, "try again later");  // its address is right
    EXPECT_GE(Clock::now() - begin, (1 + 2 + 4 + 8) * kQuick.shortest);
    EXPECT_EQ(NumbersOnceThereAre(4, peer.module), std::vector<std::uint8_t>(4, 1));
    EXPECT_EQ(peer.Transport().Cost().copies - ofTheLogin, 3U);
    EXPECT_EQ(peer.Transport().Cost().requests, 1U);
}

TEST(Copies, ComeLaterAtASlowModule)
{
    constexpr auto kSlow = 30ms;
    bool answers = true;
    Peer peer(Module([&]() -> Bytes {
                  if (answers) {
                      std::this_thread::sleep_for(kSlow);
                      return kAnswer;
                  }
                  return {};
              }),
              {.beforeAnyAnswer = 10min, .shortest = 1ms, .longest = 10min, .loginStep = 10min});
    ASSERT_TRUE(Opens(peer));
    ASSERT_EQ(peer.Ask().end, End::kAnswered);
    answers = false;
    const auto begin = Clock::now();
    EXPECT_EQ(peer.Ask().end, End::kSilent);
    EXPECT_GE(Clock::now() - begin, (1 + 2 + 4 + 8) * 4 * kSlow);
}

TEST(Copies, DoNotFollowAnswersWithoutAValue)
{
    constexpr std::uint8_t kSetPrivilege = 0x3B;
    constexpr RmcpTiming kOnceAnswered{10min, 1ms, 1ms, 10min, 10min};
    for (const bool raise : {false, true}) {
        bool refuses = true;
        FakeRmcpModuleOptions options;
        options.answer = [&](std::uint8_t, std::uint8_t command, const Bytes& data) {
            if (command == kSetPrivilege) {
                return Bytes{0x00, data.at(0)};
            }
            return std::exchange(refuses, false) ? Bytes{0xD4} : Bytes{};
        };
        Peer peer(options, kOnceAnswered);
        ASSERT_TRUE(Opens(peer));
        ASSERT_EQ(peer.Ask().completionCode, 0xD4);
        if (raise) {
            ASSERT_FALSE(peer.Transport().RaisePrivilege(Ample()));
        }
        const IpmiExchange exchange =
            peer.Transport().Ask(kRequest, Resend::kFreely, {Clock::now() + 50ms, {}});
        EXPECT_EQ(exchange.end, End::kSilent);
        EXPECT_EQ(peer.Transport().Cost().copies, 0U);
    }
}

TEST(Copies, HaveTheRequestsNumberSoThatALateAnswerCounts)
{
    int asked = 0;
    Peer peer(Module([&] { return ++asked < 3 ? Bytes{} : kAnswer; }), kQuick);
    ASSERT_TRUE(Opens(peer));
    EXPECT_EQ(peer.Ask().end, End::kAnswered);
    const std::vector<std::uint8_t> numbers = peer.module.RequestNumbers();
    ASSERT_GE(numbers.size(), 3U);
    EXPECT_EQ(std::count(numbers.begin(), numbers.end(), numbers[0]), std::ssize(numbers));
}

TEST(Copies, LeaveTheirNumberUnusedForTheSession)
{
    int asked = 0;
    Peer peer(Module([&] { return ++asked == 1 ? Bytes{} : kAnswer; }), kQuick);
    ASSERT_TRUE(Opens(peer));
    ASSERT_EQ(peer.Ask().end, End::kAnswered);
    const std::uint8_t copied = peer.module.RequestNumbers().front();
    const std::size_t before = peer.module.RequestNumbers().size();
    for (int i = 0; i < 80; ++i) {
        ASSERT_EQ(peer.Ask().end, End::kAnswered);
    }
    const std::vector<std::uint8_t> numbers = peer.module.RequestNumbers();
    EXPECT_EQ(
        std::count(numbers.begin() + static_cast<std::ptrdiff_t>(before), numbers.end(), copied),
        0);
}

TEST(Copies, UpToTheLastNumberMakeTheSessionLost)
{
    Peer peer(Module([] { return Bytes{}; }), {1ms, 1ms, 1ms, 1min, 1ms});
    ASSERT_TRUE(Opens(peer));
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(peer.Ask().end, End::kSilent);
    }
    EXPECT_EQ(peer.Ask().end, End::kLost);
    ASSERT_TRUE(Opens(peer));
    EXPECT_EQ(peer.Ask().end, End::kSilent);
}

constexpr std::uint8_t kDuplicate = 0xCF;

TEST(Duplicate, ForACopyIsNoAnswer)
{
    // The answer to the request is lost, and the module calls each copy but the last a duplicate.
    int asked = 0;
    Peer peer(Module([&] {
                  ++asked;
                  return asked == 1 ? Bytes{} : asked < 4 ? Bytes{kDuplicate} : kAnswer;
              }),
              kQuick);
    ASSERT_TRUE(Opens(peer));
    const IpmiExchange exchange = peer.Ask();
    EXPECT_EQ(exchange.end, End::kAnswered);
    EXPECT_EQ(exchange.completionCode, 0);
}

TEST(Duplicate, ForEveryCopyIsSilence)
{
    int asked = 0;
    Peer peer(Module([&] { return ++asked == 1 ? Bytes{} : Bytes{kDuplicate}; }), kQuick);
    ASSERT_TRUE(Opens(peer));
    EXPECT_EQ(peer.Ask().end, End::kSilent);
    EXPECT_EQ(NumbersOnceThereAre(4, peer.module).size(), 4U);
}

TEST(Duplicate, ForARequestThatWasSentOnceIsItsAnswer)
{
    Peer peer(Module([] { return Bytes{kDuplicate}; }));
    ASSERT_TRUE(Opens(peer));
    const IpmiExchange exchange = peer.Ask();
    EXPECT_EQ(exchange.end, End::kAnswered);
    EXPECT_EQ(exchange.completionCode, kDuplicate);
}

TEST(Answers, DoubledOrDamagedOrOfAnotherRequestAreDropped)
{
    std::vector<Datagram> earlier;
    Peer peer(Module(), kPatient, FaultInjectingRelay::PassOn,
              [&](const Datagram& d) -> std::vector<Datagram> {
                  std::vector<Datagram> all = earlier;
                  if (Carries(d, kSealedIpmi)) {
                      Datagram damaged = d;
                      damaged.back() ^= 1U;
                      all.push_back(damaged);
                      earlier = {d, Datagram(40, 0xFF), Datagram{}};
                  }
                  all.push_back(d);
                  all.push_back(d);
                  return all;
              });
    ASSERT_TRUE(Opens(peer));
    for (int i = 0; i < 5; ++i) {
        const IpmiExchange exchange = peer.Ask();
        ASSERT_EQ(exchange.end, End::kAnswered);
        ASSERT_EQ(exchange.data, Bytes{0x42});
    }
    EXPECT_EQ(peer.Transport().Cost().copies, 0U);
    EXPECT_GT(peer.Transport().Cost().datagramsReceived, peer.Transport().Cost().datagramsSent);
}

// Every copy costs a slow module its whole time again. While it works through those of the request
// before, a copy of the next one would make that late as well, and so on to the end of the session.
TEST(Answers, ToEarlierCopiesPutOffTheNextCopy)
{
    constexpr auto kSlow = 600ms;
    constexpr unsigned kRequests = 8;
    Peer peer(Module([=] {
                  std::this_thread::sleep_for(kSlow);
                  return kAnswer;
              }),
              {.beforeAnyAnswer = kSlow / 2, .shortest = 1ms, .longest = 5 * kSlow / 3});
    ASSERT_TRUE(Opens(peer));
    for (unsigned i = 0; i < kRequests; ++i) {
        ASSERT_EQ(peer.Ask().end, End::kAnswered);
    }
    EXPECT_GE(peer.Transport().Cost().copies, 1U);
    EXPECT_LT(peer.Transport().Cost().copies, kRequests / 2);
}

// --- The log-in

TEST(LogInSteps, ThatGetLostAreCopied)
{
    for (const PayloadType step : {kOpenSessionRequest, kRakp1, kRakp3}) {
        SCOPED_TRACE(int{step});
        Peer peer(Module(), kQuick, Dropping(step, 1));
        ASSERT_TRUE(Opens(peer));
        EXPECT_GE(peer.Transport().Cost().copies, 1U);
        EXPECT_EQ(peer.Ask().end, End::kAnswered);
        peer.Close();
        EXPECT_TRUE(NothingIsLeft(peer.module));
    }
}

TEST(LogInSteps, WhoseRepliesGetLostAreCopied)
{
    for (const PayloadType step : {kOpenSessionResponse, kRakp2, kRakp4}) {
        SCOPED_TRACE(int{step});
        Peer peer(Module(), kQuick, FaultInjectingRelay::PassOn, Dropping(step, 1));
        ASSERT_TRUE(Opens(peer));
        EXPECT_EQ(peer.Ask().end, End::kAnswered);
    }
}

TEST(LogInSteps, ThatStaySilentMakeItBeginAnewOnce)
{
    for (const PayloadType step : {kRakp2, kRakp4}) {
        SCOPED_TRACE(int{step});
        std::atomic<unsigned> logIns = 0;
        Peer peer(Module(), kQuick, Counting(kOpenSessionRequest, logIns),
                  [=](const Datagram& d) -> std::vector<Datagram> {
                      // Nor does the session itself answer.
                      const bool lost = Carries(d, step) || Carries(d, kSealedIpmi);
                      return std::vector<Datagram>(lost ? 0 : 1, d);
                  });
        const IpmiOpening opening = peer.Open();
        ASSERT_TRUE(opening.failure);
        EXPECT_EQ(opening.failure->cause, Cause::kTimedOut);
        EXPECT_THAT(opening.failure->message, HasSubstr("began to answer, and stopped"));
        EXPECT_FALSE(opening.noneFree);
        EXPECT_EQ(logIns, 2U);
    }
}

// Some modules are silent to copies of a proof that they have answered.
TEST(LogInSteps, OfWhichTheLastReplyGetsLostAreProvedByAnAnswerOfTheSession)
{
    std::atomic<unsigned> logIns = 0;
    // Long enough that on a busy host, too, the first request has its reply before its copy is due.
    Peer peer(Module(), {.loginStep = 500ms}, Counting(kOpenSessionRequest, logIns),
              Dropping(kRakp4, 1'000));
    ASSERT_TRUE(Opens(peer));
    EXPECT_EQ(logIns, 1U);
    EXPECT_EQ(peer.Ask().end, End::kAnswered);
    peer.Close();
    EXPECT_TRUE(NothingIsLeft(peer.module));
}

TEST(LogInSteps, OfWhichTheLastReplyGetsLostAreNotProvedByAnotherKey)
{
    FakeRmcpModuleOptions options = Module();
    options.kg = "module key";
    Peer peer(options, kQuick, FaultInjectingRelay::PassOn, Dropping(kRakp4, 1'000));
    peer.settings.kg = "another";
    const IpmiOpening opening = peer.Open();
    ASSERT_TRUE(opening.failure);
    EXPECT_EQ(opening.failure->cause, Cause::kTimedOut);
}

TEST(LogInSteps, OfASlowModuleAreWaitedForLonger)
{
    constexpr auto kStep = 1000ms;
    constexpr auto kSlow = 6 * kStep / 5;
    // One message after the other: the copy of the first makes the second wait.
    Peer peer(Module(), {.loginStep = kStep}, FaultInjectingRelay::PassOn,
              [=](const Datagram& d) -> std::vector<Datagram> {
                  if (!Carries(d, kSealedIpmi)) {
                      std::this_thread::sleep_for(kSlow);
                  }
                  return {d};
              });
    EXPECT_TRUE(Opens(peer));
}

TEST(LogInSteps, ThatTheModuleForgotMakeItBeginAnewOnce)
{
    constexpr std::uint8_t kInvalidSession = 0x02;
    constexpr std::uint8_t kInactiveSession = 0x08;
    for (const PayloadType step : {kRakp2, kRakp4}) {
        for (const std::uint8_t status : {kInvalidSession, kInactiveSession}) {
            for (const int times : {1, 2}) {
                SCOPED_TRACE(testing::Message() << int{step} << " " << int{status} << " " << times);
                std::atomic<unsigned> logIns = 0;
                Peer peer(Module(), kPatient, Counting(kOpenSessionRequest, logIns),
                          [=, left = times](Datagram d) mutable -> std::vector<Datagram> {
                              // Not the answer to giving up, which has no tag of a log-in.
                              if (Carries(d, step) && d[kTag] != 0 && left-- > 0) {
                                  d[kStatus] = status;
                              }
                              return {d};
                          });
                EXPECT_EQ(peer.Open().failure.has_value(), times > 1);
                EXPECT_EQ(logIns, 2U);
                peer.Close();
                EXPECT_TRUE(NothingIsLeft(peer.module));
            }
        }
    }
}

TEST(LogInSteps, WhoseCopyIsAnsweredWithAStatusMakeItBeginAnewOnce)
{
    constexpr std::uint8_t kUnauthorizedGuid = 0x0E;  // decides nothing by itself
    for (const PayloadType step : {kRakp2, kRakp4}) {
        SCOPED_TRACE(int{step});
        int seen = 0;
        std::atomic<unsigned> logIns = 0;
        Peer peer(Module(), kQuick, Counting(kOpenSessionRequest, logIns),
                  [=](Datagram d) mutable -> std::vector<Datagram> {
                      if (Carries(d, kSealedIpmi) && seen < 2) {
                          return {};
                      }
                      if (!Carries(d, step) || ++seen > 2) {
                          return {d};
                      }
                      if (seen == 1) {
                          return {};
                      }
                      d[kStatus] = kUnauthorizedGuid;
                      return {d};
                  });
        ASSERT_TRUE(Opens(peer));
        EXPECT_EQ(logIns, 2U);
    }
}

TEST(LogInSteps, DoNotMakeItBeginAnewForAStatusThatIsFinal)
{
    constexpr std::uint8_t kUnauthorizedName = 0x0D;
    for (const PayloadType step : {kRakp2, kRakp4}) {
        std::atomic<unsigned> logIns = 0;
        Peer peer(Module(), kPatient, Counting(kOpenSessionRequest, logIns),
                  [=](Datagram d) -> std::vector<Datagram> {
                      if (Carries(d, step)) {
                          d[kStatus] = kUnauthorizedName;
                      }
                      return {d};
                  });
        const IpmiOpening opening = peer.Open();
        ASSERT_TRUE(opening.failure);
        EXPECT_EQ(opening.failure->cause, Cause::kRefused);
        EXPECT_THAT(opening.failure->message, HasSubstr("does not admit this user name"));
        EXPECT_THAT(opening.failure->advice, Not(HasSubstr("K_g")));
        EXPECT_EQ(logIns, 1U);
        EXPECT_TRUE(NothingIsLeft(peer.module));
    }
}

TEST(LogIn, WithAWrongPasswordIsOneLogInAndNoProof)
{
    for (const int suite : {3, 17}) {
        FakeRmcpModuleOptions options = Module();
        options.cipherSuite = suite;
        std::atomic<unsigned> logIns = 0;
        Peer peer(options, kPatient, Counting(kOpenSessionRequest, logIns));
        peer.settings.password = "secreT";
        const IpmiOpening opening = peer.Open();
        ASSERT_TRUE(opening.failure);
        EXPECT_EQ(opening.failure->cause, Cause::kRefused);
        EXPECT_THAT(opening.failure->message,
                    AllOf(HasSubstr("log-in at 127.0.0.1:" + std::to_string(peer.relay.Port())),
                          HasSubstr("the password is wrong"), Not(HasSubstr("secreT"))));
        EXPECT_EQ(logIns, 1U);
        EXPECT_EQ(peer.module.Proofs(), 0U);  // the module has to prove first
        EXPECT_EQ(peer.Transport().Cost().logIns, 0U);
        EXPECT_EQ(peer.Transport().Cost().logInsRefused, 1U);
        EXPECT_TRUE(NothingIsLeft(peer.module));
    }
}

TEST(LogIn, AtAModuleWithAKgKeyNeedsIt)
{
    struct Case
    {
        std::string ofModule;
        std::string given;
        bool opens;
    };
    for (const int suite : {3, 17}) {
        for (const Case& c :
             {Case{"", "", true}, Case{"module key", "module key", true},
              Case{std::string(20, 'k'), std::string(20, 'k'), true}, Case{"module key", "", false},
              Case{"module key", "other", false}, Case{"", "module key", false}}) {
            SCOPED_TRACE(testing::Message() << suite << " " << c.ofModule << " " << c.given);
            FakeRmcpModuleOptions options = Module();
            options.cipherSuite = suite;
            options.kg = c.ofModule;
            Peer peer(options);
            peer.settings.kg = c.given;
            const IpmiOpening opening = peer.Open();
            EXPECT_EQ(!opening.failure, c.opens);
            if (opening.failure) {
                EXPECT_EQ(opening.failure->cause, Cause::kRefused);
                EXPECT_THAT(opening.failure->message, HasSubstr("knows the password"));
                EXPECT_THAT(opening.failure->advice, HasSubstr("K_g"));
            } else {
                EXPECT_EQ(peer.Ask().end, End::kAnswered);
            }
            EXPECT_EQ(peer.module.Proofs(), 1U);
        }
    }
}

// --- The suite

struct SuiteCase
{
    std::string name;
    int suite = 0;  ///< That the module offers, and another.
    int otherSuite = 0;
    std::uint8_t refusal = 0x11;  ///< How it refuses others.
    std::optional<std::uint8_t> fixed = {};
    std::optional<std::uint8_t> agreed = {};  ///< None: the log-in fails.
    unsigned logIns = 1;
};

std::ostream& operator<<(std::ostream& out, const SuiteCase& c)
{
    return out << c.name;
}

class Suites : public testing::TestWithParam<SuiteCase>
{
};

TEST_P(Suites, AreAgreedOn)
{
    const SuiteCase& c = GetParam();
    FakeRmcpModuleOptions options = Module();
    options.cipherSuite = c.suite;
    options.otherSuite = c.otherSuite;
    options.suiteRefusal = c.refusal;
    std::atomic<unsigned> logIns = 0;
    Peer peer(options, kPatient, Counting(kOpenSessionRequest, logIns));
    peer.settings.cipherSuite = c.fixed;
    const IpmiOpening opening = peer.Open();
    EXPECT_EQ(!opening.failure, c.agreed.has_value());
    EXPECT_EQ(logIns, c.logIns);
    if (c.agreed) {
        EXPECT_EQ(peer.Transport().Info().cipherSuite, c.agreed);
        EXPECT_EQ(peer.Ask().end, End::kAnswered);
        // What was found out holds for the sessions that follow.
        ASSERT_TRUE(Opens(peer));
        EXPECT_EQ(logIns, c.logIns + 1);
        peer.Close();
    } else {
        EXPECT_EQ(opening.failure->cause, Cause::kRefused);
        EXPECT_THAT(opening.failure->message, HasSubstr("cipher suite"));
    }
    EXPECT_TRUE(NothingIsLeft(peer.module));
}

INSTANTIATE_TEST_SUITE_P(
    OfTheModule, Suites,
    testing::Values(
        SuiteCase{.name = "both", .suite = 17, .otherSuite = 3, .agreed = 17},
        SuiteCase{.name = "only17", .suite = 17, .agreed = 17},
        SuiteCase{.name = "only3", .suite = 3, .agreed = 3, .logIns = 2},
        SuiteCase{.name = "only3Status04", .suite = 3, .refusal = 0x04, .agreed = 3, .logIns = 2},
        SuiteCase{.name = "only3Status05", .suite = 3, .refusal = 0x05, .agreed = 3, .logIns = 2},
        SuiteCase{.name = "only3Status0A", .suite = 3, .refusal = 0x0A, .agreed = 3, .logIns = 2},
        SuiteCase{.name = "only3Status10", .suite = 3, .refusal = 0x10, .agreed = 3, .logIns = 2},
        SuiteCase{.name = "only3Status12", .suite = 3, .refusal = 0x12, .agreed = 3, .logIns = 2},
        SuiteCase{
            .name = "only3OtherAlgorithms", .suite = 3, .refusal = 0, .agreed = 3, .logIns = 2},
        SuiteCase{.name = "neither", .suite = 1, .logIns = 2},
        SuiteCase{.name = "neitherOtherAlgorithms", .suite = 1, .refusal = 0, .logIns = 2},
        SuiteCase{.name = "fixed17Only3", .suite = 3, .fixed = 17},
        SuiteCase{.name = "fixed3Only17", .suite = 17, .fixed = 3},
        SuiteCase{.name = "fixed3Both", .suite = 17, .otherSuite = 3, .fixed = 3, .agreed = 3}),
    [](const auto& tested) { return tested.param.name; });

TEST(Suite, DoesNotGiveWayWhenNothingSaysThatItIsNotToBeHad)
{
    struct Case
    {
        std::string name;
        PayloadType step;
        std::optional<std::uint8_t> status;  ///< None: silence.
    };
    for (const Case& c :
         {Case{"none free", kOpenSessionResponse, 0x01}, Case{"silence", kOpenSessionResponse, {}},
          Case{"refused later", kRakp2, 0x11}, Case{"no name", kRakp2, 0x0D}}) {
        SCOPED_TRACE(c.name);
        FakeRmcpModuleOptions options = Module();
        options.cipherSuite = 17;
        options.otherSuite = 3;
        Peer peer(options, kQuick, FaultInjectingRelay::PassOn,
                  [=](Datagram d) -> std::vector<Datagram> {
                      if (!Carries(d, c.step)) {
                          return {d};
                      }
                      if (!c.status) {
                          return {};
                      }
                      d[kStatus] = *c.status;
                      return {d};
                  });
        peer.settings.cipherSuite.reset();
        EXPECT_TRUE(peer.Open().failure);
        EXPECT_EQ(peer.Transport().Info().cipherSuite, 17);
    }
}

constexpr std::uint8_t kNoSuite = 0x11;

/// A refusal that names no session, as some modules send it and as anybody can forge it.
Datagram AnonymousRefusal(Datagram reply)
{
    reply[kStatus] = kNoSuite;
    std::fill_n(&reply[kConsoleSessionId], 4, std::uint8_t{0});
    return reply;
}

bool IsRefusal(const Datagram& d)
{
    return Carries(d, kOpenSessionResponse) && d[kStatus] != 0;
}

/// A module with both suites, to a client that leaves the choice open.
struct PeerWithBothSuites : Peer
{
    explicit PeerWithBothSuites(FaultInjectingRelay::Filter toClient,
                                const RmcpTiming& timing = kPatient)
        : Peer(Options(), timing, FaultInjectingRelay::PassOn, std::move(toClient))
    {
        settings.cipherSuite.reset();
    }

    static FakeRmcpModuleOptions Options()
    {
        FakeRmcpModuleOptions options = Module();
        options.cipherSuite = 17;
        options.otherSuite = 3;
        return options;
    }

    /// Opens a session, asks something and closes it.
    void Talk()
    {
        ASSERT_TRUE(Opens(*this));
        EXPECT_EQ(Ask().end, End::kAnswered);
        Close();
        EXPECT_TRUE(NothingIsLeft(module));
    }
};

TEST(Suite, GivesWayWithoutAWaitToARefusalThatNamesNoSession)
{
    FakeRmcpModuleOptions options = Module();
    options.cipherSuite = 3;
    Peer peer(options, kPatient, FaultInjectingRelay::PassOn,
              [](const Datagram& d) -> std::vector<Datagram> {
                  return {IsRefusal(d) ? AnonymousRefusal(d) : d};
              });
    peer.settings.cipherSuite.reset();
    ASSERT_TRUE(Opens(peer));  // at its limit it would not
    EXPECT_EQ(peer.Transport().Info().cipherSuite, 3);
    EXPECT_EQ(peer.Transport().Cost().datagramsSent, 2U + 2U);
    EXPECT_EQ(peer.Ask().end, End::kAnswered);
}

// A slow module has a copy of the first request to refuse before it comes to the second.
TEST(Suite, IsNotAskedForAgainWhileCopiesOfTheFirstRequestAreRefused)
{
    constexpr auto kStep = 3000ms;
    FakeRmcpModuleOptions options = Module();
    options.cipherSuite = 3;
    int asked = 0;
    int answered = 0;
    Peer peer(
        options, {.loginStep = kStep},
        [&](const Datagram& d) -> std::vector<Datagram> {
            const bool first = Carries(d, kOpenSessionRequest) && ++asked == 1;
            return std::vector<Datagram>(first ? 2 : 1, d);
        },
        [&](const Datagram& d) -> std::vector<Datagram> {
            if (!Carries(d, kOpenSessionResponse)) {
                return {d};
            }
            if (++answered > 1) {
                std::this_thread::sleep_for(5 * kStep / 8);
            }
            return {IsRefusal(d) ? AnonymousRefusal(d) : d};
        });
    peer.settings.cipherSuite.reset();
    ASSERT_TRUE(Opens(peer));
    EXPECT_EQ(peer.Transport().Cost().copies, 0U);
}

TEST(Suite, DoesNotGiveWayToAForgedRefusal)
{
    PeerWithBothSuites peer([](const Datagram& d) -> std::vector<Datagram> {
        if (!Carries(d, kOpenSessionResponse)) {
            return {d};
        }
        return {AnonymousRefusal(d), d};
    });
    peer.Talk();
    EXPECT_EQ(peer.Transport().Info().cipherSuite, 17);
    peer.Talk();
    EXPECT_EQ(peer.Transport().Info().cipherSuite, 17);
}

TEST(Suite, DoesNotGiveWayToAForgedRefusalThatComesLongBeforeTheModulesAnswer)
{
    // The module's answer to the first request stays in the network until that to the second comes.
    std::optional<Datagram> first;
    PeerWithBothSuites peer([&](const Datagram& d) -> std::vector<Datagram> {
        if (!Carries(d, kOpenSessionResponse)) {
            return {d};
        }
        if (!first) {
            first = d;
            return {AnonymousRefusal(d)};
        }
        return {AnonymousRefusal(d), *first, d};
    });
    peer.Talk();
    EXPECT_EQ(peer.Transport().Info().cipherSuite, 17);
}

TEST(Suite, WhoseAnswerComesWhenTheOtherIsAgreedOnLeavesNoSession)
{
    std::optional<Datagram> first;
    bool sent = false;
    PeerWithBothSuites peer([&](const Datagram& d) -> std::vector<Datagram> {
        if (!Carries(d, kOpenSessionResponse) || sent) {
            return {d};
        }
        if (!first) {
            first = d;
            return {AnonymousRefusal(d)};
        }
        sent = true;
        return {d, *first};
    });
    peer.Talk();
    EXPECT_EQ(peer.Transport().Info().cipherSuite, 3);
}

// --- The privilege

struct PrivilegeCase
{
    std::string name;
    std::uint8_t account = 4;
    std::optional<std::uint8_t> fixed = {};
    std::uint8_t refusal = 0x0A;
    std::optional<std::uint8_t> ceiling = {};  ///< None: the log-in fails.
};

std::ostream& operator<<(std::ostream& out, const PrivilegeCase& c)
{
    return out << c.name;
}

class Privileges : public testing::TestWithParam<PrivilegeCase>
{
};

TEST_P(Privileges, AreWhatTheAccountMayHave)
{
    const PrivilegeCase& c = GetParam();
    FakeRmcpModuleOptions options = Module();
    options.privilege = c.account;
    options.privilegeRefusal = c.refusal;
    Peer peer(options);
    peer.settings.privilege = c.fixed;
    const IpmiOpening opening = peer.Open();
    EXPECT_EQ(!opening.failure, c.ceiling.has_value());
    if (c.ceiling) {
        EXPECT_EQ(peer.Transport().Info().privilege, c.ceiling);
        EXPECT_EQ(peer.module.Proofs(), 1U);
    } else {
        EXPECT_EQ(opening.failure->cause, Cause::kRefused);
        EXPECT_THAT(opening.failure->message, HasSubstr("privilege"));
        EXPECT_EQ(peer.module.Proofs(), 0U);
    }
    peer.Close();
    EXPECT_TRUE(NothingIsLeft(peer.module));
}

INSTANTIATE_TEST_SUITE_P(
    OfAnAccount, Privileges,
    testing::Values(PrivilegeCase{.name = "administrator", .account = 4, .ceiling = 4},
                    PrivilegeCase{.name = "operator_", .account = 3, .ceiling = 3},
                    PrivilegeCase{.name = "user", .account = 2, .ceiling = 2},
                    PrivilegeCase{
                        .name = "userByRole", .account = 2, .refusal = 0x09, .ceiling = 2},
                    PrivilegeCase{.name = "callback", .account = 1},
                    PrivilegeCase{.name = "fixedAbove", .account = 3, .fixed = 4},
                    PrivilegeCase{.name = "fixedBelow", .account = 4, .fixed = 2, .ceiling = 2}),
    [](const auto& tested) { return tested.param.name; });

/// A module that lets a session be raised to one level and no higher.
struct Raising
{
    std::uint8_t grants;
    std::uint8_t refusal;
    std::vector<std::uint8_t> asked = {};

    FakeRmcpModuleOptions Options()
    {
        FakeRmcpModuleOptions options;
        options.answer = [this](std::uint8_t netFn, std::uint8_t command, const Bytes& data) {
            EXPECT_EQ(netFn, 0x06);
            EXPECT_EQ(command, 0x3B);
            asked.push_back(data.at(0));
            return data.at(0) <= grants ? Bytes{0x00, data.at(0)} : Bytes{refusal};
        };
        return options;
    }
};

TEST(RaisingThePrivilege, GoesOneLowerWhereTheLevelIsRefused)
{
    struct Case
    {
        std::uint8_t grants;
        std::uint8_t refusal;
        std::vector<std::uint8_t> asked;
        std::optional<std::uint8_t> raisedTo;
    };
    for (const Case& c :
         {Case{4, 0x81, {4}, 4}, Case{3, 0x80, {4, 3}, 3}, Case{2, 0x81, {4, 3, 2}, 2},
          Case{1, 0x81, {4, 3, 2}, {}}, Case{3, 0xD4, {4}, {}}}) {
        Raising raising{c.grants, c.refusal};
        Peer peer(raising.Options());
        ASSERT_TRUE(Opens(peer));
        EXPECT_TRUE(raising.asked.empty());  // not before it is needed
        const std::optional<Failure> failure = peer.Transport().RaisePrivilege(Ample());
        EXPECT_EQ(raising.asked, c.asked);
        EXPECT_EQ(!failure, c.raisedTo.has_value());
        if (failure) {
            EXPECT_EQ(failure->cause, Cause::kRefused);
            EXPECT_EQ(failure->completionCode, c.refusal);
        } else {
            EXPECT_EQ(peer.Transport().Info().privilege, c.raisedTo);
        }
    }
}

TEST(RaisingThePrivilege, IsForLaterAtABusyModule)
{
    Raising raising{1, 0xC0};
    Peer peer(raising.Options());
    ASSERT_TRUE(Opens(peer));
    const std::optional<Failure> failure = peer.Transport().RaisePrivilege(Ample());
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->cause, Cause::kBusy);
    EXPECT_EQ(failure->completionCode, 0xC0);
    EXPECT_THAT(raising.asked, ElementsAre(4));
}

// --- No session free, nobody there

TEST(LogIn, WithoutAFreeSessionSaysSoAndIsTheCallersToRepeat)
{
    for (const std::uint8_t status : Bytes{0x01, 0x0B}) {
        FakeRmcpModuleOptions options = Module();
        options.openSessionRefusal = status;
        std::atomic<unsigned> logIns = 0;
        Peer peer(options, kPatient, Counting(kOpenSessionRequest, logIns));
        const IpmiOpening opening = peer.Open();
        ASSERT_TRUE(opening.failure);
        EXPECT_TRUE(opening.noneFree);
        EXPECT_EQ(opening.failure->cause, Cause::kBusy);
        EXPECT_THAT(opening.failure->message, HasSubstr("no session free"));
        EXPECT_EQ(logIns, 1U);
    }
}

/// A port of loopback that nobody listens on any more.
std::uint16_t DeadPort()
{
    return FakeRmcpModule(Module()).Port();
}

TEST(LogIn, WhereNobodyListensEndsAtOnce)
{
    const auto transport = Rmcp::MakeRmcpTransport(SettingsFor(Module(), DeadPort()), kPatient);
    const IpmiOpening opening = transport->Open(Ample());
    ASSERT_TRUE(opening.failure);
    EXPECT_EQ(opening.failure->cause, Cause::kUnreachable);
    EXPECT_THAT(opening.failure->message, HasSubstr("nothing listens"));
    EXPECT_FALSE(opening.noneFree);
}

TEST(LogIn, WithoutADescriptorIsAMatterOfThisSystemsLimits)
{
    const auto transport = Rmcp::MakeRmcpTransport(SettingsFor(Module(), DeadPort()), kPatient);
    transport->Open(Ample());  // opens what a process opens once
    const FewDescriptors few(0);
    const IpmiOpening opening = transport->Open(Ample());
    ASSERT_TRUE(opening.failure);
    EXPECT_EQ(opening.failure->cause, Cause::kLocal);
    EXPECT_THAT(opening.failure->message, HasSubstr("Too many open files"));
    EXPECT_THAT(opening.failure->advice, HasSubstr("limits of open files"));
}

TEST(LogIn, ThatNobodyAnswersEndsAtItsLimit)
{
    Peer peer(Module(), kQuick, Dropping(kOpenSessionRequest, 1'000'000));
    const IpmiOpening opening = peer.Transport().Open({Clock::now() + 500ms, {}});
    ASSERT_TRUE(opening.failure);
    EXPECT_EQ(opening.failure->cause, Cause::kTimedOut);
    EXPECT_THAT(opening.failure->message, HasSubstr("no answer"));
    EXPECT_THAT(opening.failure->advice, Not(HasSubstr("IPMI_SESSION_TIMEOUT_MS")));
}

/// Holds packets of a type back until a point in time.
FaultInjectingRelay::Filter Holding(PayloadType type, Clock::time_point until)
{
    return [=](const Datagram& d) -> std::vector<Datagram> {
        if (Carries(d, type)) {
            std::this_thread::sleep_until(until);
        }
        return {d};
    };
}

TEST(FirstAnswer, OfAModuleHasToComeInItsTime)
{
    constexpr auto kSoon = 300ms;
    constexpr auto kEnough = 30s;
    struct Case
    {
        const char* name;
        std::optional<Clock::duration> firstAnswer;
        PayloadType held;         ///< Until after kSoon.
        int dropped;              ///< Open session requests.
        Clock::duration longest;  ///< For all of the log-in.
        std::optional<Cause> expected;
    };
    for (const Case& one : {
             Case{"in time", kEnough, kSealedIpmi, 0, kEnough, {}},
             Case{"only the first has to", kEnough, kRakp2, 0, kEnough, {}},
             Case{"too late", kSoon, kOpenSessionResponse, 0, kEnough, Cause::kUnreachable},
             Case{"never", kSoon, kSealedIpmi, 1'000'000, kEnough, Cause::kUnreachable},
             Case{"never, and any time", {}, kSealedIpmi, 1'000'000, kSoon, Cause::kTimedOut},
         }) {
        SCOPED_TRACE(one.name);
        const auto begin = Clock::now();
        Peer peer(Module(), kPatient, Dropping(kOpenSessionRequest, one.dropped),
                  Holding(one.held, begin + kSoon + 20ms));
        CallLimit limit{begin + one.longest};
        if (one.firstAnswer) {
            limit.firstAnswer = begin + *one.firstAnswer;
        }
        const IpmiOpening opening = peer.Transport().Open(limit);
        EXPECT_EQ(opening.failure ? std::optional(opening.failure->cause) : std::nullopt,
                  one.expected);
        if (one.expected) {
            EXPECT_GE(Clock::now(), begin + kSoon);
        }
        peer.Close();
        EXPECT_TRUE(NothingIsLeft(peer.module));
    }
}

using GateEnds = std::vector<LogInGate::End>;

TEST(Gate, IsAskedOnceTheModuleHasAnsweredAndToldHowTheLogInEnded)
{
    struct Case
    {
        const char* name;
        const char* password;
        PayloadType dropped;  ///< For good.
        unsigned entered;
        GateEnds ends;
    };
    for (const Case& one : {
             Case{"accepted", "secret", kSealedIpmi, 1, {LogInGate::End::kAccepted}},
             Case{"refused", "secreT", kSealedIpmi, 1, {LogInGate::End::kRefused}},
             Case{"silent later", "secret", kRakp1, 1, {LogInGate::End::kUnknown}},
             Case{"silent at once", "secret", kOpenSessionRequest, 0, {}},
         }) {
        SCOPED_TRACE(one.name);
        Tests::RecordingGate gate;
        Peer peer(Module(), kQuick, Dropping(one.dropped, 1'000'000));
        peer.settings.password = one.password;
        const bool answers = one.dropped == kSealedIpmi;
        CallLimit limit{Clock::now() + (answers ? Clock::duration(1min) : 2s)};
        limit.gate = &gate;
        peer.Transport().Open(limit);
        EXPECT_EQ(gate.Entered(), one.entered);
        EXPECT_EQ(gate.Ends(), one.ends);
    }
}

TEST(Gate, IsAskedOnceForAllAttemptsOfALogIn)
{
    FakeRmcpModuleOptions options = Module();
    options.privilege = 2;  // refuses administrator, then operator, before any proof
    Tests::RecordingGate gate;
    Peer peer(options);
    CallLimit limit = Ample();
    limit.gate = &gate;
    EXPECT_FALSE(peer.Transport().Open(limit).failure);
    EXPECT_EQ(gate.Entered(), 1U);
    EXPECT_EQ(gate.Ends(), GateEnds{LogInGate::End::kAccepted});
}

TEST(Gate, ThatIsNotOpenedEndsTheLogInBeforeTheUsersNameLeaves)
{
    std::atomic<unsigned> named = 0;
    Tests::RecordingGate gate;
    gate.refusal = Failure{Cause::kRefused, "not asked", "check the password", {}};
    Peer peer(Module(), kPatient, Counting(kRakp1, named));
    CallLimit limit = Ample();
    limit.gate = &gate;
    EXPECT_EQ(peer.Transport().Open(limit).failure, gate.refusal);
    EXPECT_EQ(named, 0U);
    EXPECT_EQ(peer.Transport().Cost().logInsRefused, 0U);
    EXPECT_EQ(gate.Ends(), GateEnds{});
    EXPECT_TRUE(NothingIsLeft(peer.module));
}

TEST(Gate, IsSharedByThreads)
{
    constexpr int kThreads = 8;
    Tests::RecordingGate gate;
    const FakeRmcpModuleOptions options = Module();
    FakeRmcpModule module(options);
    RunInThreads(kThreads, [&](int number) {
        RmcpSettings settings = SettingsFor(options, module.Port());
        settings.password = number % 2 == 0 ? options.password : "wrong";
        const auto transport = Rmcp::MakeRmcpTransport(settings, kPatient);
        CallLimit limit = Ample();
        limit.gate = &gate;
        EXPECT_EQ(transport->Open(limit).failure.has_value(), number % 2 != 0);
        transport->Close(Ample());
    });
    const GateEnds ends = gate.Ends();
    EXPECT_EQ(gate.Entered(), 8U);
    EXPECT_EQ(std::count(ends.begin(), ends.end(), LogInGate::End::kAccepted), kThreads / 2);
    EXPECT_EQ(std::count(ends.begin(), ends.end(), LogInGate::End::kRefused), kThreads / 2);
    EXPECT_EQ(ends.size(), 8U);
}

TEST(Requests, ToAModuleThatHasGoneAreLost)
{
    const FakeRmcpModuleOptions options = Module();
    auto module = std::make_unique<FakeRmcpModule>(options);
    const auto transport = Rmcp::MakeRmcpTransport(SettingsFor(options, module->Port()), kQuick);
    ASSERT_FALSE(transport->Open(Ample()).failure);
    ASSERT_EQ(transport->Ask(kRequest, Resend::kFreely, Ample()).end, End::kAnswered);
    module.reset();
    const IpmiExchange exchange = transport->Ask(kRequest, Resend::kFreely, Ample());
    EXPECT_EQ(exchange.end, End::kLost);
    EXPECT_EQ(exchange.failure->cause, Cause::kUnreachable);
}

// --- Settings

TEST(Settings, ThatCannotBeSendNothing)
{
    struct Case
    {
        std::string said;
        Cause cause;  // what no module would take is refused
        std::function<void(RmcpSettings&)> set;
    };
    const std::vector<Case> cases{
        {"address is empty", Cause::kLocal, [](RmcpSettings& s) { s.host.clear(); }},
        {"user name has more than 16", Cause::kRefused,
         [](RmcpSettings& s) { s.user.assign(17, 'u'); }},
        {"password has more than 20", Cause::kRefused,
         [](RmcpSettings& s) { s.password.assign(21, 'p'); }},
        {"K_g key has more than 20", Cause::kRefused,
         [](RmcpSettings& s) { s.kg.assign(21, 'k'); }},
        {"0 is no port", Cause::kLocal, [](RmcpSettings& s) { s.port = 0; }},
        {"cipher suite 0", Cause::kRefused, [](RmcpSettings& s) { s.cipherSuite = 0; }},
        {"cipher suite 8", Cause::kRefused, [](RmcpSettings& s) { s.cipherSuite = 8; }},
        {"privilege level 0", Cause::kRefused, [](RmcpSettings& s) { s.privilege = 0; }},
        {"privilege level 5", Cause::kRefused, [](RmcpSettings& s) { s.privilege = 5; }},
    };
    for (const Case& c : cases) {
        RmcpSettings settings = SettingsFor(Module(), 623);
        c.set(settings);
        const auto transport = MakeRmcpTransport(settings);
        const IpmiOpening opening = transport->Open(Ample());
        ASSERT_TRUE(opening.failure) << c.said;
        EXPECT_EQ(opening.failure->cause, c.cause) << c.said;
        EXPECT_THAT(opening.failure->message, HasSubstr(c.said));
        EXPECT_THAT(opening.failure->message, Not(HasSubstr(std::string(21, 'p'))));
        EXPECT_EQ(transport->Cost().datagramsSent, 0U);
    }
}

TEST(Requests, ThatNoModuleTakesAreNotSent)
{
    Peer peer(Module());
    ASSERT_TRUE(Opens(peer));
    const IpmiExchange exchange =
        peer.Transport().Ask({0xA8, Bytes(201), 0x32}, Resend::kFreely, Ample());
    EXPECT_EQ(exchange.end, End::kFailed);
    EXPECT_EQ(peer.Transport().Cost().requests, 0U);
}

// --- Limits and stop requests

TEST(Limit, ThatIsOverSendsNothing)
{
    Peer peer(Module());
    EXPECT_EQ(peer.Transport().Open({Clock::now(), {}}).failure->cause, Cause::kTimedOut);
    EXPECT_EQ(peer.Transport().Cost().datagramsSent, 0U);
    ASSERT_TRUE(Opens(peer));
    const std::uint64_t sent = peer.Transport().Cost().datagramsSent;
    const IpmiExchange exchange =
        peer.Transport().Ask(kRequest, Resend::kFreely, {Clock::now(), {}});
    EXPECT_EQ(exchange.end, End::kSilent);
    EXPECT_EQ(exchange.failure->cause, Cause::kTimedOut);
    EXPECT_EQ(peer.Transport().Cost().datagramsSent, sent);
}

TEST(Limit, EndsARequest)
{
    Peer peer(Module([] { return Bytes{}; }));
    ASSERT_TRUE(Opens(peer));
    const IpmiExchange exchange =
        peer.Transport().Ask(kRequest, Resend::kFreely, {Clock::now() + 20ms, {}});
    EXPECT_EQ(exchange.end, End::kSilent);
    EXPECT_EQ(exchange.failure->cause, Cause::kTimedOut);
    // The module had not been asked in vain: it is waited for when it is told.
    peer.Close();
    EXPECT_TRUE(NothingIsLeft(peer.module));
}

TEST(Limit, OfSilenceEndsARequestAndNotTheSession)
{
    std::atomic<bool> isSilent = true;
    Peer peer(Module([&isSilent] { return isSilent ? Bytes{} : kAnswer; }));
    ASSERT_TRUE(Opens(peer));
    CallLimit limit = Ample();
    limit.longestSilence = 50ms;
    const auto begin = Clock::now();
    EXPECT_EQ(peer.Transport().Ask(kRequest, Resend::kFreely, limit).end, End::kSilent);
    EXPECT_GE(Clock::now() - begin, 50ms);
    isSilent = false;
    limit.longestSilence = 30s;
    EXPECT_EQ(peer.Transport().Ask(kRequest, Resend::kFreely, limit).end, End::kAnswered);
    isSilent = true;
    limit.longestSilence = 50ms;
    EXPECT_EQ(peer.Transport().Ask(kRequest, Resend::kFreely, limit).end, End::kSilent);
    // It is told, and not waited for: that would be for ten minutes.
    peer.Close();
    EXPECT_TRUE(NothingIsLeft(peer.module));
}

TEST(Limit, ThatComesDuringALogInLeavesNothing)
{
    for (const PayloadType step : {kOpenSessionResponse, kRakp2, kRakp4}) {
        SCOPED_TRACE(int{step});
        std::atomic<bool> late = false;
        const auto limit = Clock::now() + 100ms;
        Peer peer(Module(), kPatient, FaultInjectingRelay::PassOn,
                  [&](const Datagram& d) -> std::vector<Datagram> {
                      if (Carries(d, step) && !late.exchange(true)) {
                          std::this_thread::sleep_until(limit + 20ms);
                      }
                      return {d};
                  });
        // Whoever wakes up after the answer has come, on a busy computer, has a session after all.
        if (const IpmiOpening opening = peer.Transport().Open({limit, {}}); opening.failure) {
            EXPECT_EQ(opening.failure->cause, Cause::kTimedOut);
        }
        peer.Close();
        EXPECT_TRUE(NothingIsLeft(peer.module));
    }
}

TEST(StopRequest, AtEachStepOfTheLogInEndsItAndLeavesNothing)
{
    for (const PayloadType step :
         {kOpenSessionRequest, kOpenSessionResponse, kRakp1, kRakp2, kRakp3, kRakp4}) {
        SCOPED_TRACE(int{step});
        std::stop_source stop;
        const auto stopAt = [&](const Datagram& d) -> std::vector<Datagram> {
            if (Carries(d, step)) {
                stop.request_stop();
            }
            return {d};
        };
        Peer peer(Module(), kPatient, stopAt, stopAt);
        const IpmiOpening opening = peer.Transport().Open({Clock::now() + 10min, stop.get_token()});
        if (opening.failure) {
            EXPECT_EQ(opening.failure->cause, Cause::kCancelled);
            EXPECT_THAT(opening.failure->message, HasSubstr("stopped"));
            EXPECT_FALSE(opening.noneFree);
        }
        peer.Close();
        EXPECT_TRUE(NothingIsLeft(peer.module));
    }
}

TEST(StopRequest, WaitsForASlowModuleThatIsOpeningASession)
{
    std::stop_source stop;
    Peer peer(Module(), kPatient, FaultInjectingRelay::PassOn,
              [&](const Datagram& d) -> std::vector<Datagram> {
                  if (Carries(d, kOpenSessionResponse)) {
                      stop.request_stop();
                      std::this_thread::sleep_for(400ms);
                  }
                  return {d};
              });
    const IpmiOpening opening = peer.Transport().Open({Clock::now() + 10min, stop.get_token()});
    ASSERT_TRUE(opening.failure);
    EXPECT_EQ(opening.failure->cause, Cause::kCancelled);
    peer.Close();
    EXPECT_TRUE(NothingIsLeft(peer.module));
}

TEST(StopRequest, WhileAModuleRefusesASuiteIsNoRefusal)
{
    for (int i = 0; i < 100; ++i) {
        std::stop_source stop;
        std::jthread stopper;
        Peer peer(Module(), kPatient, FaultInjectingRelay::PassOn,
                  [&](const Datagram& d) -> std::vector<Datagram> {
                      if (Carries(d, kOpenSessionResponse) && !stopper.joinable()) {
                          stopper = std::jthread([&] { stop.request_stop(); });
                      }
                      return {d};
                  });
        peer.settings.cipherSuite.reset();
        const IpmiOpening opening = peer.Transport().Open({Clock::now() + 10min, stop.get_token()});
        if (opening.failure) {
            ASSERT_EQ(opening.failure->cause, Cause::kCancelled) << opening.failure->message;
        }
    }
}

TEST(StopRequest, DuringARequestEndsItAndTheSessionIsGivenBack)
{
    for (const bool fromAnotherThread : {false, true}) {
        std::stop_source stop;
        Peer peer(Module([&] {
            if (!fromAnotherThread) {
                stop.request_stop();
            }
            return Bytes{};
        }));
        ASSERT_TRUE(Opens(peer));
        std::jthread other;
        if (fromAnotherThread) {
            other = std::jthread([&] { stop.request_stop(); });
        }
        const IpmiExchange exchange = peer.Transport().Ask(
            kRequest, Resend::kFreely, {Clock::now() + 10min, stop.get_token()});
        EXPECT_EQ(exchange.end, End::kSilent);
        EXPECT_EQ(exchange.failure->cause, Cause::kCancelled);
        peer.Close();
        EXPECT_TRUE(NothingIsLeft(peer.module));
    }
}

TEST(StopRequest, OfOneTransportLeavesAnotherAlone)
{
    Peer one(Module());
    Peer other(Module());
    ASSERT_TRUE(Opens(one));
    ASSERT_TRUE(Opens(other));
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(one.Transport().Ask(kRequest, Resend::kFreely, {Ample().until, stop.get_token()}).end,
              End::kSilent);
    EXPECT_EQ(other.Ask().end, End::kAnswered);
}

TEST(StopRequest, InAChildDoesNotWakeItsParent)
{
    std::stop_source stop;
    const Rmcp::StopSignal signal(stop.get_token());
    EXPECT_TRUE(signal.IsOf(stop.get_token()));
    EXPECT_TRUE(RunsWellInAChild([&] {
        stop.request_stop();
        return !signal.IsOf(stop.get_token());
    }));
    pollfd woken{signal.Descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&woken, 1, 0), 0);
    stop.request_stop();
    EXPECT_EQ(poll(&woken, 1, 0), 1);
}

// --- Side by side

TEST(Transports, SideBySideShareNothing)
{
    FakeRmcpModuleOptions options = Module();
    options.cipherSuite = 3;
    Peer one(options);
    options.cipherSuite = 17;
    options.userName = "other";
    options.password = "another-secret";
    options.kg = "key";
    options.privilege = 3;
    Peer other(options);
    ASSERT_TRUE(Opens(one));
    ASSERT_TRUE(Opens(other));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(one.Ask().end, End::kAnswered);
        EXPECT_EQ(other.Ask().end, End::kAnswered);
    }
    EXPECT_EQ(one.Transport().Info().cipherSuite, 3);
    EXPECT_EQ(other.Transport().Info().cipherSuite, 17);
    EXPECT_EQ(one.Transport().Info().privilege, 4);
    EXPECT_EQ(other.Transport().Info().privilege, 3);
    EXPECT_EQ(one.Transport().Cost().requests, 3U);
    // Each other's password does not do, before and after.
    std::swap(one.settings.password, other.settings.password);
    one.transport.reset();
    other.transport.reset();
    EXPECT_EQ(one.Open().failure->cause, Cause::kRefused);
    EXPECT_EQ(other.Open().failure->cause, Cause::kRefused);
}

TEST(Session, IsTheParentsAfterAFork)
{
    Peer peer(Module());
    ASSERT_TRUE(Opens(peer));
    EXPECT_TRUE(RunsWellInAChild([&peer] {
        const IpmiExchange exchange = peer.Ask();
        peer.transport.reset();
        return exchange.end == End::kFailed && exchange.failure->cause == Cause::kLocal;
    }));
    EXPECT_EQ(peer.Ask().end, End::kAnswered);
    EXPECT_EQ(peer.module.OpenSessions(), 1U);
}

}  // namespace
}  // namespace Tulvo
