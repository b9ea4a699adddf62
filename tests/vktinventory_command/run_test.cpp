// SPDX-License-Identifier: Apache-2.0
// One run of the command: what it asks, how it ends and what it says.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>

#include "common/log/log.h"
#include "tests/vktinventory_command/fake_module.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using Cli::ExitCode;
using testing::HasSubstr;
using testing::Not;

class Run : public testing::Test
{
protected:
    Run() { Module() = FakeModule::Healthy(); }

    static FakeModule& Module() { return FakeModule::Current(); }
};

TEST_F(Run, IsSilentOnStandardErrorWhenAllWasRead)
{
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, ExitCode::everythingRead);
    EXPECT_EQ(ran.error, "");
}

TEST_F(Run, TriesTheConnectionAndClosesItBeforeTheLibraryIsAsked)
{
    Module().onConstruction = [] { EXPECT_EQ(FakeModule::Current().openSessions, 0); };
    RunConnected({"-p", "1623"});
    EXPECT_EQ(Module().ipmiTried, "10.0.0.5|admin|secret|1623|3");
    ASSERT_TRUE(Module().asked);
    EXPECT_EQ(Module().asked->connectionType, 7);
    EXPECT_EQ(Module().asked->address, "10.0.0.5");
    EXPECT_EQ(Module().asked->userName, "admin");
    EXPECT_EQ(Module().asked->password, "secret");
    EXPECT_EQ(Module().asked->port, 1623);
}

TEST_F(Run, HandsSuiteAndPrivilegeToTheConfiguration)
{
    RunConnected({"-C", "17", "-L", "user"});
    EXPECT_EQ(Module().numbersSet,
              (std::map<std::string, int>{{"IPMI_CIPHER_SUITE", 17}, {"IPMI_PRIVILEGE_LEVEL", 2}}));
}

TEST_F(Run, LeavesTheConfigurationAloneWithoutFlags)
{
    RunConnected({});
    EXPECT_TRUE(Module().numbersSet.empty());
    EXPECT_TRUE(Module().textsSet.empty());
}

TEST_F(Run, TriesHttpsWithTheTrustThatWasAskedFor)
{
    RunConnected({"-I", "https", "--pin", "sha256//AA=", "--auth", "session"});
    ASSERT_TRUE(Module().httpsTried);
    EXPECT_EQ(Module().httpsTried->connectionType, 9);
    EXPECT_EQ(Module().httpsTried->port, 443);
    EXPECT_EQ(Module().httpsTried->tlsVerification, 1);
    EXPECT_EQ(Module().httpsTried->authentication, 1);
    EXPECT_EQ(Module().textsSet.at("HTTPS_PINNED_KEY"), "sha256//AA=");
    RunConnected({"-I", "https", "--ca-file", "/dev/null"});
    EXPECT_EQ(Module().httpsTried->tlsVerification, 0);
    EXPECT_EQ(Module().textsSet.at("HTTPS_CA_FILE"), "/dev/null");
    RunConnected({"-I", "https", "--insecure"});
    EXPECT_EQ(Module().httpsTried->tlsVerification, 2);
    EXPECT_EQ(Module().ipmiTried, "");
}

struct IpmiCase
{
    CONNECTIONSTATE state;
    ExitCode code;
    const char* message;
};

class IpmiPreflight : public Run, public testing::WithParamInterface<IpmiCase>
{
};

TEST_P(IpmiPreflight, EndsAtOnceWithOneLine)
{
    Module().ipmiState = GetParam().state;
    Module().transportError = "the reason";
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, GetParam().code);
    EXPECT_EQ(ran.error, GetParam().message);
    EXPECT_EQ(ran.out, "");
    EXPECT_FALSE(Module().asked);
}

INSTANTIATE_TEST_SUITE_P(
    States, IpmiPreflight,
    testing::Values(IpmiCase{CONNECTION_REFUSED, ExitCode::refused,
                             "vktinventory: refused: the reason (see -U, -f, -L and -C)\n"},
                    IpmiCase{CONNECTION_TRY_AGAIN, ExitCode::noConnection,
                             "vktinventory: no connection: the reason (see -H and -p)\n"},
                    IpmiCase{CONNECTION_FAILED, ExitCode::noConnection,
                             "vktinventory: no connection: the reason (see -H and -p)\n"}));

struct HttpsCase
{
    VKTHttpsErrorCode result;
    ExitCode code;
    const char* what;
};

class HttpsPreflight : public Run, public testing::WithParamInterface<HttpsCase>
{
};

TEST_P(HttpsPreflight, EndsAtOnceWithOneLine)
{
    Module().httpsResult = GetParam().result;
    Module().transportError = "the reason\nforged line";
    const Ran ran = RunConnected({"-I", "https"});
    EXPECT_EQ(ran.code, GetParam().code);
    EXPECT_THAT(ran.error, HasSubstr(GetParam().what));
    EXPECT_THAT(ran.error, HasSubstr("the reason\\x0aforged line"));
    EXPECT_EQ(ran.out, "");
    EXPECT_FALSE(Module().asked);
}

INSTANTIATE_TEST_SUITE_P(
    Results, HttpsPreflight,
    testing::Values(HttpsCase{VKT_HTTPS_TLS_ERROR, ExitCode::refused, "not trusted: "},
                    HttpsCase{VKT_HTTPS_TLS_ERROR, ExitCode::refused, "--ca-file and --pin"},
                    HttpsCase{VKT_HTTPS_AUTHENTICATION_FAILED, ExitCode::refused, "refused: "},
                    HttpsCase{VKT_HTTPS_TIMEOUT, ExitCode::noConnection, "no connection: "},
                    HttpsCase{VKT_HTTPS_HTTP_ERROR, ExitCode::noConnection, "no service: "},
                    HttpsCase{VKT_HTTPS_MALFORMED_REPLY, ExitCode::noConnection, "no service: "},
                    HttpsCase{VKT_HTTPS_CONNECT_FAILED, ExitCode::noConnection, "no connection: "},
                    HttpsCase{VKT_HTTPS_INTERNAL_ERROR, ExitCode::noConnection, "no connection: "},
                    HttpsCase{VKT_HTTPS_NO_DATA, ExitCode::noConnection, "no service: "}));

TEST_F(Run, IsRefusedAtOnceWhenThePrivilegeIsTooLow)
{
    Module().completionCode = 0xD4;
    for (const char* interface : {"lanplus", "https"}) {
        const Ran ran = RunConnected({"-I", interface});
        EXPECT_EQ(ran.code, ExitCode::refused);
        EXPECT_THAT(ran.error, HasSubstr("refused: the module allows its inventory to a higher "
                                         "privilege only"));
        EXPECT_FALSE(Module().asked);
    }
}

TEST_F(Run, LeavesAnyOtherCompletionCodeToTheLibrary)
{
    Module().completionCode = 0xC1;
    EXPECT_EQ(RunConnected({}).code, ExitCode::everythingRead);
    EXPECT_EQ(RunConnected({"-I", "https"}).code, ExitCode::everythingRead);
}

TEST_F(Run, NamesEachQueryThatFailedAndWhatTheLibrarySaid)
{
    Module().serialNumber.result = VKT_INVENTORY_FAILED;
    Module().onSerialNumber = [] {
        Log(1, "module/vkt/some.cpp", 1).Stream() << "Get vkt sn failed with error code:193";
    };
    Module().nodes[2].power.result = VKT_INVENTORY_CONNECT_FAILED;
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, ExitCode::someQueriesFailed);
    EXPECT_EQ(ran.error,
              "vktinventory: Serial number not read: refused, or no usable answer "
              "(VKT_INVENTORY_FAILED): Get vkt sn failed with error code:193\n"
              "vktinventory: Node power consumption of node 3 not read: no connection "
              "(VKT_INVENTORY_CONNECT_FAILED)\n");
    EXPECT_THAT(ran.out, HasSubstr("7X58"));
}

TEST_F(Run, EscapesWhatTheLibrarySays)
{
    Module().name.result = VKT_INVENTORY_FAILED;
    Module().serialNumber.result = VKT_INVENTORY_FAILED;
    Module().onSerialNumber = [] { Log(2, "f", 1).Stream() << "code: \x1b[31m\nvktinventory: x"; };
    EXPECT_THAT(RunConnected({}).error, HasSubstr("code: \\x1b[31m\\x0avktinventory: x"));
}

TEST_F(Run, DoesNotBlameASuccessForWhatTheLibraryLogged)
{
    Module().onSerialNumber = [] { Log(1, "f", 1).Stream() << "some slot failed"; };
    EXPECT_EQ(RunConnected({}).error, "");
}

TEST_F(Run, DoesNotExplainAFailureByWhatWasLoggedBefore)
{
    Module().onConstruction = [] { Log(1, "f", 1).Stream() << "an earlier trouble"; };
    Module().machineType.result = VKT_INVENTORY_FAILED;
    EXPECT_THAT(RunConnected({}).error, Not(HasSubstr("an earlier trouble")));
}

TEST_F(Run, PrintsAWarningAboutTheConfiguration)
{
    Module().onConstruction = [] {
        Log(2, "src/common/config/global_config.cpp", 1).Stream() << "/etc/x.toml:3: broken";
    };
    EXPECT_EQ(RunConnected({}).error, "vktinventory: /etc/x.toml:3: broken\n");
}

TEST_F(Run, FailsWhenTheModuleStatusWasNotRead)
{
    Module().nodes.clear();
    for (const char* command : {"show", "identity", "nodes", "psu", "power", "status"}) {
        const Ran ran = RunConnected({command});
        EXPECT_EQ(ran.code, ExitCode::someQueriesFailed) << command;
        EXPECT_THAT(ran.error, HasSubstr("the module did not tell its platform")) << command;
    }
    EXPECT_EQ(RunConnected({"node", "3"}).code, ExitCode::someQueriesFailed);
}

TEST_F(Run, NamesTheNodesThatAnEnclosureHas)
{
    const Ran ran = RunConnected({"node", "5"});
    EXPECT_EQ(ran.code, ExitCode::wrongUsage);
    EXPECT_EQ(ran.error, "vktinventory: node 5: this enclosure has nodes 1 to 4\n");
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(RunConnected({"node", "4"}).code, ExitCode::everythingRead);
}

TEST_F(Run, FailsWhenASelectionIsNotAccepted)
{
    Module().selectResult = VKT_INVENTORY_NO_DATA;
    const Ran ran = RunConnected({"select-psu", "2"});
    EXPECT_EQ(ran.code, ExitCode::someQueriesFailed);
    EXPECT_THAT(ran.error, HasSubstr("Power supply selection not accepted"));
    EXPECT_THAT(ran.out, HasSubstr("not accepted"));
}

TEST_F(Run, ShowsNoProgressWhereThereIsNoTerminal)
{
    Module().onConstruction = [] {
        Log(3, "f", 1).Stream() << "Try to get VKT status, retry 2 times";
    };
    EXPECT_EQ(RunConnected({}).error, "");
}

TEST_F(Run, ShowsNoticesWithOneVAndTracesWithTwo)
{
    Module().onConstruction = [] {
        Log(3, "f", 1).Stream() << "a notice";
        Log(4, "f", 1).Stream() << "a trace";
    };
    EXPECT_THAT(RunConnected({"-v"}).error, HasSubstr("a notice"));
    EXPECT_THAT(RunConnected({"-v"}).error, Not(HasSubstr("a trace")));
    EXPECT_THAT(RunConnected({"-vv"}).error, HasSubstr("a trace"));
    EXPECT_EQ(RunConnected({}).error, "");
}

TEST_F(Run, NeverShowsThePassword)
{
    Module().ipmiState = CONNECTION_REFUSED;
    for (const char* verbosity : {"-v", "-vv", "--format=table"}) {
        const Ran ran = RunConnected({verbosity});
        EXPECT_THAT(ran.error, Not(HasSubstr("secret")));
        EXPECT_THAT(ran.out, Not(HasSubstr("secret")));
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
    EXPECT_EQ(ran.code, ExitCode::outputFailed);
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
    EXPECT_EQ(ran.code, ExitCode::outputFailed);
    EXPECT_THAT(ran.error, HasSubstr("Broken pipe"));
}

}  // namespace
}  // namespace Tulvo::Test
