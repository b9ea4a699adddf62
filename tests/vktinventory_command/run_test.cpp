// SPDX-License-Identifier: Apache-2.0
// One run of the command: what it asks, how it ends and what it says.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <variant>

#include "common/log/log.h"
#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using Cli::ExitCode;
using testing::HasSubstr;
using testing::Not;

class Run : public testing::Test
{
protected:
    Run() { Fake() = FakeEnclosure::Healthy(); }

    static FakeEnclosure& Fake() { return FakeEnclosure::Current(); }
    static const Target& Asked() { return Fake().asked.value(); }
    static const RmcpPlus& AskedOverRmcp() { return std::get<RmcpPlus>(Asked().transport); }
    static const Https& AskedOverHttps() { return std::get<Https>(Asked().transport); }
};

TEST_F(Run, IsSilentOnStandardErrorWhenAllWasRead)
{
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    EXPECT_EQ(ran.error, "");
}

TEST_F(Run, AsksWhomItIsToldTo)
{
    RunConnected({"-p", "1623", "-C", "17", "-L", "operator", "-k", "a key", "--timeout", "7"});
    EXPECT_EQ(Asked().host, "10.0.0.5");
    EXPECT_EQ(Asked().port, 1623);
    EXPECT_EQ(Asked().user, "admin");
    EXPECT_EQ(Asked().password, "secret");
    EXPECT_EQ(AskedOverRmcp().cipherSuite, 17);
    EXPECT_EQ(AskedOverRmcp().privilege, Privilege::kOperator);
    EXPECT_EQ(AskedOverRmcp().kg, "a key");
    EXPECT_EQ(Fake().limits.deadline, std::chrono::seconds(7));
}

TEST_F(Run, LeavesOpenWhatNoFlagNames)
{
    RunConnected({});
    EXPECT_FALSE(AskedOverRmcp().cipherSuite);
    EXPECT_FALSE(AskedOverRmcp().privilege);
    EXPECT_EQ(AskedOverRmcp().kg, "");
    EXPECT_EQ(Fake().limits.deadline, std::chrono::seconds(30));
    EXPECT_FALSE(Fake().limits.stop.stop_requested());
    RunConnected({"-I", "https"});
    EXPECT_FALSE(AskedOverHttps().trust);
    EXPECT_EQ(Asked().port, 0);
    EXPECT_EQ(AskedOverHttps().authentication, HttpAuthentication::kSession);
}

TEST_F(Run, TrustsOverHttpsWhomItIsToldTo)
{
    RunConnected({"-I", "https", "--pin",
                  "sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=", "--auth", "basic"});
    EXPECT_EQ(std::get<TrustPinnedKey>(AskedOverHttps().trust.value()).pin,
              "sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=");
    EXPECT_EQ(AskedOverHttps().authentication, HttpAuthentication::kBasic);
    RunConnected({"-I", "https", "--ca-file", "/dev/null"});
    EXPECT_EQ(std::get<TrustAuthorityFile>(AskedOverHttps().trust.value()).path, "/dev/null");
    RunConnected({"-I", "https", "--insecure"});
    EXPECT_TRUE(std::holds_alternative<TrustAnybody>(AskedOverHttps().trust.value()));
}

struct UselessFlag
{
    std::vector<std::string> words;
    const char* reason;
};

TEST_F(Run, RefusesAFlagThatNoEnclosureHasUseFor)
{
    const UselessFlag cases[] = {
        {{"--insecure"}, "vktinventory: --insecure: goes only with -I https"},
        {{"-I", "https", "-C", "3"}, "vktinventory: --cipher-suite: does not go with -I https"},
        {{"-I", "https", "-k", "key"}, "vktinventory: --kg: does not go with -I https"}};
    for (const UselessFlag& tested : cases) {
        const Ran ran = RunConnected(tested.words);
        EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
        EXPECT_THAT(ran.error, testing::StartsWith(tested.reason));
        EXPECT_FALSE(Fake().asked);
    }
}

struct KeyCase
{
    std::string typed;
    std::string key;
};

TEST_F(Run, TakesAKeyAsTextOrInHexadecimal)
{
    const KeyCase cases[] = {{"x0x01", "x0x01"},
                             {std::string(20, 'k'), std::string(20, 'k')},
                             {"0x00fF1a", std::string("\x00\xff\x1a", 3)},
                             {"0x" + std::string(40, '1'), std::string(20, '\x11')}};
    for (const KeyCase& tested : cases) {
        EXPECT_EQ(RunConnected({"--kg=" + tested.typed}).code, ExitCode::kEverythingRead);
        EXPECT_EQ(AskedOverRmcp().kg, tested.key);
    }
}

TEST_F(Run, RefusesAKeyThatCannotBeOneAndDoesNotRepeatIt)
{
    const std::string keys[] = {std::string(21, 'k'), "0x", "0x123", "0xkkkk",
                                "0x" + std::string(42, '1')};
    for (const std::string& key : keys) {
        const Ran ran = RunConnected({"-k", key});
        EXPECT_EQ(ran.code, ExitCode::kWrongUsage) << key;
        EXPECT_EQ(ran.error,
                  "vktinventory: -k takes at most 20 bytes, as text or as 0x and pairs of "
                  "hexadecimal digits; see vktinventory --help\n");
        EXPECT_FALSE(Fake().asked);
    }
}

struct ScopeCase
{
    std::vector<std::string> words;
    Sections sections;
    int node;
};

TEST_F(Run, AsksForNoMoreThanItPrints)
{
    const std::vector<ScopeCase> cases = {
        {{}, kEverything, 0},         {{"show"}, kEverything, 0}, {{"health"}, kHealth, 0},
        {{"identity"}, kIdentity, 0}, {{"power"}, kPower, 0},     {{"psu"}, kSupplies, 0},
        {{"nodes"}, kNodes, 0},       {{"node", "3"}, kNodes, 3}, {{"status"}, kModuleOnly, 0},
    };
    for (const ScopeCase& tested : cases) {
        EXPECT_EQ(RunConnected(tested.words).code, ExitCode::kEverythingRead);
        EXPECT_EQ(Fake().scope.sections, tested.sections);
        EXPECT_EQ(Fake().scope.node, tested.node);
    }
}

TEST_F(Run, PrintsAWarningAboutTheConfiguration)
{
    Fake().onRead = [] {
        Log(2, "src/common/config/global_config.cpp", 1).Stream() << "/etc/x.toml:3: broken";
    };
    EXPECT_EQ(RunConnected({}).error, "vktinventory: /etc/x.toml:3: broken\n");
}

TEST_F(Run, LeavesOtherRecordsToTheLog)
{
    Fake().onRead = [] { Log(1, "f", 1).Stream() << "some slot failed"; };
    EXPECT_EQ(RunConnected({}).error, "");
}

TEST_F(Run, ShowsNoticesWithOneVAndTracesWithTwo)
{
    Fake().onRead = [] {
        Log(3, "f", 1).Stream() << "a notice";
        Log(4, "f", 1).Stream() << "a trace";
    };
    EXPECT_THAT(RunConnected({"-v"}).error, HasSubstr("a notice"));
    EXPECT_THAT(RunConnected({"-v"}).error, Not(HasSubstr("a trace")));
    EXPECT_THAT(RunConnected({"-vv"}).error, HasSubstr("a trace"));
    EXPECT_EQ(RunConnected({}).error, "");
}

TEST_F(Run, EndsWithWhatTheReadingCostWhenAskedToTellMore)
{
    Fake().record.cost = {.requests = 69,
                          .datagramsSent = 76,
                          .datagramsReceived = 75,
                          .copies = 1,
                          .logIns = 1,
                          .tlsHandshakes = 1,
                          .elapsed = std::chrono::milliseconds(812)};
    EXPECT_EQ(RunConnected({"-v"}).error,
              "vktinventory: 69 requests, 76 datagrams sent, 75 received, 1 copy, 1 log-in, 812 "
              "ms\n");
    EXPECT_EQ(RunConnected({"-v", "-I", "https"}).error,
              "vktinventory: 69 requests, 1 TLS handshake, 1 copy, 1 log-in, 812 ms\n");
}

TEST_F(Run, SaysWithItsCostThatTheLogInWasRefused)
{
    Fake().Refuse({Cause::kRefused, "the password is wrong", "", {}});
    Fake().record.cost = {.datagramsSent = 2, .datagramsReceived = 2, .logInsRefused = 1};
    EXPECT_THAT(RunConnected({"-v"}).error, HasSubstr(", 1 log-in (1 refused), 0 ms"));
    Fake().record.cost = {.logIns = 2, .logInsRefused = 1, .tlsHandshakes = 1};
    EXPECT_THAT(RunConnected({"-v", "-I", "https"}).error,
                HasSubstr(", 2 log-ins (1 refused), 0 ms"));
    Fake().record.cost = {};  // a setting that cannot be: nobody was asked
    EXPECT_THAT(RunConnected({"-v"}).error, HasSubstr(", 0 log-ins, 0 ms"));
}

TEST_F(Run, NeverShowsPasswordOrKey)
{
    Fake().Refuse({Cause::kRefused, "the password is wrong", "", {}});
    for (const char* verbosity : {"-v", "-vv", "--format=json"}) {
        const Ran ran = RunConnected({verbosity, "-k", "hidden"});
        for (const char* hidden : {"secret", "hidden"}) {
            EXPECT_THAT(ran.error, Not(HasSubstr(hidden)));
            EXPECT_THAT(ran.out, Not(HasSubstr(hidden)));
        }
    }
}

/// Standard output stands for something that takes nothing, as long as this lives.
class DeadOutput
{
public:
    explicit DeadOutput(int replacement) : saved_(dup(STDOUT_FILENO))
    {
        dup2(replacement, STDOUT_FILENO);
    }
    DeadOutput(const DeadOutput&) = delete;
    DeadOutput& operator=(const DeadOutput&) = delete;
    ~DeadOutput()
    {
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }

private:
    int saved_;
};

Ran RunInto(int descriptor)
{
    const DeadOutput output(descriptor);
    static char name[] = "vktinventory";
    static char host[] = "-Hh";
    char password[] = "-Psecret";
    char* argv[] = {name, host, password};
    testing::internal::CaptureStderr();
    const ExitCode code = Cli::Run(3, argv);
    return {code, "", testing::internal::GetCapturedStderr()};
}

TEST_F(Run, FailsWhenTheDiskIsFull)
{
    const int full = open("/dev/full", O_WRONLY);
    const Ran ran = RunInto(full);
    close(full);
    EXPECT_EQ(ran.code, ExitCode::kOutputFailed);
    EXPECT_EQ(ran.error,
              "vktinventory: the results cannot be written to standard output: No space left on "
              "device\n");
}

TEST_F(Run, FailsWhenNobodyReadsThePipe)
{
    std::signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const Ran ran = RunInto(ends[1]);
    close(ends[1]);
    EXPECT_EQ(ran.code, ExitCode::kOutputFailed);
    EXPECT_THAT(ran.error, HasSubstr("Broken pipe"));
}

}  // namespace
}  // namespace Tulvo::Test
