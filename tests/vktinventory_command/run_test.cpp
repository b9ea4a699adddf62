// SPDX-License-Identifier: Apache-2.0
// One run of the command: what it asks, how it ends and what it says.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>

#include "common/config/global_config.h"
#include "common/connection/connection_values.h"
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
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead);
    EXPECT_EQ(ran.error, "");
}

TEST_F(Run, TriesTheConnectionAndClosesItBeforeTheLibraryIsAsked)
{
    Module().onConstruction = [] { EXPECT_EQ(FakeModule::Current().openSessions, 0); };
    RunConnected({"-p", "1623"});
    EXPECT_EQ(Module().ipmiTried, "10.0.0.5|admin|secret|1623|3");
    ASSERT_TRUE(Module().asked);
    EXPECT_EQ(Module().asked->connectionType, TulvoConnection::kConnectOverRmcpPlus);
    EXPECT_EQ(Module().asked->address, "10.0.0.5");
    EXPECT_EQ(Module().asked->userName, "admin");
    EXPECT_EQ(Module().asked->password, "secret");
    EXPECT_EQ(Module().asked->port, 1623);
}

TEST_F(Run, HandsSuiteAndPrivilegeToTheConfiguration)
{
    RunConnected({"-C", "17", "-L", "user"});
    EXPECT_EQ(Module().numbersSet["IPMI_CIPHER_SUITE"], 17);
    EXPECT_EQ(Module().numbersSet["IPMI_PRIVILEGE_LEVEL"], 2);
}

TEST_F(Run, LeavesTheConfigurationAloneWithoutFlags)
{
    RunConnected({});
    EXPECT_EQ(Module().numbersSet.count("IPMI_CIPHER_SUITE"), 0U);
    EXPECT_EQ(Module().numbersSet.count("IPMI_PRIVILEGE_LEVEL"), 0U);
    EXPECT_TRUE(Module().textsSet.empty());
}

TEST_F(Run, TellsTheLibraryTheGenerationBeforeItAsks)
{
    for (const char* interface : {"lanplus", "https"}) {
        Module() = FakeModule::Healthy();
        Module().statusAnswer = {0xFD};
        Module().onConstruction = [] { EXPECT_EQ(Module().numbersSet["MODULE_TYPE"], 1); };
        EXPECT_EQ(RunConnected({"-I", interface}).code, ExitCode::kEverythingRead);
    }
}

TEST_F(Run, LeavesAConfiguredGenerationAlone)
{
    Module().numbersSet["MODULE_TYPE"] = 2;
    Module().statusAnswer = {0xFD};
    EXPECT_EQ(RunConnected({}).code, ExitCode::kEverythingRead);
    EXPECT_EQ(Module().numbersSet["MODULE_TYPE"], 2);
}

TEST_F(Run, TriesHttpsWithTheTrustThatWasAskedFor)
{
    RunConnected({"-I", "https", "--pin", "sha256//AA=", "--auth", "session"});
    ASSERT_TRUE(Module().httpsTried);
    EXPECT_EQ(Module().httpsTried->connectionType, TulvoConnection::kConnectOverHttps);
    EXPECT_EQ(Module().httpsTried->port, 443);
    EXPECT_EQ(Module().httpsTried->tlsVerification, TulvoConnection::kTlsVerifyPinnedKey);
    EXPECT_EQ(Module().httpsTried->authentication, TulvoConnection::kAuthenticateBySession);
    EXPECT_EQ(Module().textsSet.at("HTTPS_PINNED_KEY"), "sha256//AA=");
    RunConnected({"-I", "https", "--ca-file", "/dev/null"});
    EXPECT_EQ(Module().httpsTried->tlsVerification, TulvoConnection::kTlsVerifyAuthority);
    EXPECT_EQ(Module().textsSet.at("HTTPS_CA_FILE"), "/dev/null");
    RunConnected({"-I", "https", "--insecure"});
    EXPECT_EQ(Module().httpsTried->tlsVerification, TulvoConnection::kTlsVerifyNothing);
    EXPECT_EQ(Module().ipmiTried, "");
}

TEST_F(Run, TrustsAConfiguredKeyUnlessAFlagDecides)
{
    for (const ConfigState state : {ConfigState::kSet, ConfigState::kUnusable}) {
        Module() = FakeModule::Healthy();
        Module().textsConfigured["HTTPS_PINNED_KEY"] = {state, "sha256//AA=", ""};
        RunConnected({"-I", "https"});
        EXPECT_EQ(Module().httpsTried->tlsVerification, TulvoConnection::kTlsVerifyPinnedKey);
        RunConnected({"-I", "https", "--ca-file", "/dev/null"});
        EXPECT_EQ(Module().httpsTried->tlsVerification, TulvoConnection::kTlsVerifyAuthority);
        RunConnected({"-I", "https", "--insecure"});
        EXPECT_EQ(Module().httpsTried->tlsVerification, TulvoConnection::kTlsVerifyNothing);
    }
}

struct IpmiCase
{
    CONNECTIONSTATE state;
    ExitCode code;
    const char* message;
};

class IpmiCheck : public Run, public testing::WithParamInterface<IpmiCase>
{
};

TEST_P(IpmiCheck, EndsAtOnceWithOneLine)
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
    States, IpmiCheck,
    testing::Values(IpmiCase{CONNECTION_REFUSED, ExitCode::kRefused,
                             "vktinventory: refused: the reason (see -U, -f, -L and -C)\n"},
                    IpmiCase{CONNECTION_TRY_AGAIN, ExitCode::kNoConnection,
                             "vktinventory: no connection: the reason (see -H and -p)\n"},
                    IpmiCase{CONNECTION_FAILED, ExitCode::kNoConnection,
                             "vktinventory: no connection: the reason (see -H and -p)\n"}));

struct HttpsCase
{
    VKTHttpsErrorCode result;
    ExitCode code;
    const char* what;
};

class HttpsCheck : public Run, public testing::WithParamInterface<HttpsCase>
{
};

TEST_P(HttpsCheck, EndsAtOnceWithOneLine)
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
    Results, HttpsCheck,
    testing::Values(HttpsCase{VKT_HTTPS_TLS_ERROR, ExitCode::kRefused, "not trusted: "},
                    HttpsCase{VKT_HTTPS_TLS_ERROR, ExitCode::kRefused, "--ca-file and --pin"},
                    HttpsCase{VKT_HTTPS_AUTHENTICATION_FAILED, ExitCode::kRefused, "refused: "},
                    HttpsCase{VKT_HTTPS_TIMEOUT, ExitCode::kNoConnection, "no connection: "},
                    HttpsCase{VKT_HTTPS_HTTP_ERROR, ExitCode::kNoConnection, "no service: "},
                    HttpsCase{VKT_HTTPS_MALFORMED_REPLY, ExitCode::kNoConnection, "no service: "},
                    HttpsCase{VKT_HTTPS_CONNECT_FAILED, ExitCode::kNoConnection, "no connection: "},
                    HttpsCase{VKT_HTTPS_INTERNAL_ERROR, ExitCode::kNoConnection, "no connection: "},
                    HttpsCase{VKT_HTTPS_NO_DATA, ExitCode::kNoConnection, "no service: "}));

TEST_F(Run, IsRefusedAtOnceWhenThePrivilegeIsTooLow)
{
    Module().completionCode = 0xD4;
    for (const char* interface : {"lanplus", "https"}) {
        const Ran ran = RunConnected({"-I", interface});
        EXPECT_EQ(ran.code, ExitCode::kRefused);
        EXPECT_THAT(ran.error, HasSubstr("refused: the module allows its inventory to a higher "
                                         "privilege only"));
        EXPECT_FALSE(Module().asked);
    }
}

// While the library waits for a module that is starting, it gets ready; what the library made of it
// until then it made without knowing its generation.
TEST_F(Run, AsksAModuleThatWasNotReadyForItsGenerationAgain)
{
    for (const char* interface : {"lanplus", "https"}) {
        Module() = FakeModule::Healthy();
        Module().statusAnswer = {0xFD};
        Module().completionCode = 0xC1;
        std::vector<int> generations;
        Module().onConstruction = [&] {
            generations.push_back(GetGlobalConfigValue("MODULE_TYPE", -1));
            Module().completionCode = 0;
        };
        EXPECT_EQ(RunConnected({"-I", interface}).code, ExitCode::kEverythingRead);
        EXPECT_EQ(generations, (std::vector{-1, 1}));
    }
}

TEST_F(Run, AsksNothingOfAModuleThatNeverTellsItsGeneration)
{
    Module().completionCode = 0xC1;
    Module().onSerialNumber = [] { ADD_FAILURE() << "what it answers cannot be read"; };
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, ExitCode::kNoConnection);
    EXPECT_EQ(ran.error,
              "vktinventory: no connection: the module did not tell its generation; try again\n");
    EXPECT_EQ(ran.out, "");
}

TEST_F(Run, NamesEachQueryThatFailedAndWhatTheLibrarySaid)
{
    Module().serialNumber.result = VKT_INVENTORY_FAILED;
    Module().onSerialNumber = [] {
        Log(1, "module/vkt/some.cpp", 1).Stream() << "Get vkt sn failed with error code:193";
    };
    Module().nodes[2].power.result = VKT_INVENTORY_CONNECT_FAILED;
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
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

// The library answers when nobody is there as well, but slowly: each query has its own tries.
TEST_F(Run, AsksNoMoreOnceTheModuleIsGone)
{
    Module().serialNumber.result = VKT_INVENTORY_CONNECT_FAILED;
    Module().onSerialNumber = [] { Module().ipmiState = CONNECTION_TRY_AGAIN; };
    const Ran ran = RunConnected({"--format", "json", "identity"});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    for (const char* name : {"Firmware version", "Name"}) {
        EXPECT_THAT(ran.error, HasSubstr(std::string(name) +
                                         " not read: no connection (VKT_INVENTORY_CONNECT_FAILED): "
                                         "not asked for any more\n"));
    }
    EXPECT_THAT(ran.out, HasSubstr("7X58"));
    EXPECT_THAT(ran.out, Not(HasSubstr("Chassis A")));
}

TEST_F(Run, LooksAfterAModuleThatFallsSilent)
{
    Module().serialNumber.result = VKT_INVENTORY_FAILED;
    Module().onSerialNumber = [] {
        ++Module().unanswered;
        Module().ipmiState = CONNECTION_TRY_AGAIN;
    };
    EXPECT_THAT(RunConnected({"identity"}).error, HasSubstr("Name not read: no connection"));
}

TEST_F(Run, LooksAfterAnHttpsServiceAtTheSecondErrorInARow)
{
    Module().serialNumber.result = VKT_INVENTORY_TRANSPORT_ERROR;
    Module().onSerialNumber = [] { Module().httpsResult = VKT_HTTPS_TIMEOUT; };
    EXPECT_THAT(RunConnected({"-I", "https", "identity"}).out, HasSubstr("Chassis A"));
    Module().httpsResult = VKT_HTTPS_SUCCESS;
    Module().firmwareVersion.result = VKT_INVENTORY_TRANSPORT_ERROR;
    EXPECT_THAT(RunConnected({"-I", "https", "identity"}).out, Not(HasSubstr("Chassis A")));
}

TEST_F(Run, GoesOnWhenTheModuleIsStillThere)
{
    Module().machineType.result = VKT_INVENTORY_CONNECT_FAILED;
    Module().serialNumber.result = VKT_INVENTORY_CONNECT_FAILED;
    const Ran ran = RunConnected({"identity"});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    EXPECT_THAT(ran.out, HasSubstr("Chassis A"));
}

TEST_F(Run, TakesNoListForReadThatLacksAnAnswer)
{
    Module().fans.pop_back();
    Module().fansUnanswered = 1;
    const Ran ran = RunConnected({"--format", "json", "psu"});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    EXPECT_EQ(ran.error,
              "vktinventory: Power supply fans not read: refused, or no usable answer "
              "(VKT_INVENTORY_FAILED)\n");
    EXPECT_THAT(ran.out, Not(HasSubstr("speedA")));
}

TEST_F(Run, AsksForNothingElseWithoutTheModuleStatus)
{
    Module().nodes.clear();
    Module().onSerialNumber = [] { ADD_FAILURE() << "what it answers cannot be read"; };
    const Ran ran = RunConnected({});
    EXPECT_THAT(ran.out, Not(HasSubstr("7X58")));
    RunConnected({"select-psu", "2"});
    EXPECT_EQ(Module().selectedSupply, 0);
}

TEST_F(Run, FailsWhenTheModuleStatusWasNotRead)
{
    Module().nodes.clear();
    for (const char* command : {"show", "identity", "nodes", "psu", "power", "status"}) {
        const Ran ran = RunConnected({command});
        EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed) << command;
        EXPECT_THAT(ran.error, HasSubstr("the module did not tell its platform")) << command;
    }
    EXPECT_EQ(RunConnected({"node", "3"}).code, ExitCode::kSomeQueriesFailed);
}

TEST_F(Run, NamesTheNodesThatAnEnclosureHas)
{
    const Ran ran = RunConnected({"node", "5"});
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_EQ(ran.error, "vktinventory: node 5: this enclosure has nodes 1 to 4\n");
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(RunConnected({"node", "4"}).code, ExitCode::kEverythingRead);
}

TEST_F(Run, FailsWhenASelectionIsNotAccepted)
{
    Module().selectResult = VKT_INVENTORY_NO_DATA;
    const Ran ran = RunConnected({"select-psu", "2"});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
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
