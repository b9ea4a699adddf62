// SPDX-License-Identifier: Apache-2.0
// What the command says on standard error, and how it ends, for each thing that can go wrong.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using Cli::ExitCode;

class Outcome : public testing::Test
{
protected:
    Outcome() { FakeEnclosure::Current() = FakeEnclosure::Healthy(); }

    static FakeEnclosure& Fake() { return FakeEnclosure::Current(); }
    static Enclosures::Enclosure& Record() { return Fake().record; }
};

struct RefusalCase
{
    const char* name;
    Failure failure;
    ExitCode code;
    const char* lanplus;  ///< The line over RMCP+, without the program's name.
    const char* https;
};

class NoConversation : public Outcome, public testing::WithParamInterface<RefusalCase>
{
};

TEST_P(NoConversation, IsOneLineWithTheFlagsThatItIsAbout)
{
    Fake().Refuse(GetParam().failure);
    const std::pair<const char*, const char*> cases[] = {{"lanplus", GetParam().lanplus},
                                                         {"https", GetParam().https}};
    for (const auto& [interface, line] : cases) {
        for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
                 {"-I", interface}, {"-I", interface, "select-psu", "1"}}) {
            const Ran ran = RunConnected(words);
            EXPECT_EQ(ran.code, GetParam().code);
            EXPECT_EQ(ran.error, "vktinventory: " + std::string(line) + "\n");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Causes, NoConversation,
    testing::Values(
        RefusalCase{"Unreachable",
                    {Cause::kUnreachable, "nothing listens on port 623", "", {}},
                    ExitCode::kNoConnection,
                    "no connection: nothing listens on port 623 (see -H and -p)",
                    "no connection: nothing listens on port 623 (see -H and -p)"},
        RefusalCase{"TimedOut",
                    {Cause::kTimedOut, "no answer in 30 s", "", {}},
                    ExitCode::kNoConnection,
                    "no answer in time: no answer in 30 s (see -H, -p and --timeout)",
                    "no answer in time: no answer in 30 s (see -H, -p and --timeout)"},
        RefusalCase{"Refused",
                    {Cause::kRefused, "the password is wrong", "give the right one", {}},
                    ExitCode::kRefused,
                    "refused: the password is wrong; give the right one (see -U and -f)",
                    "refused: the password is wrong; give the right one (see -U and -f)"},
        RefusalCase{"NotTrusted",
                    {Cause::kNotTrusted, "the key is another", "", {}},
                    ExitCode::kRefused,
                    "not trusted: the key is another (see -f and -k)",
                    "not trusted: the key is another (see --ca-file and --pin)"},
        RefusalCase{"Busy",
                    {Cause::kBusy, "no session is free", "try again later", {}},
                    ExitCode::kNoConnection,
                    "busy: no session is free; try again later (see --timeout)",
                    "busy: no session is free; try again later (see --timeout)"},
        RefusalCase{"NoSuchModule",
                    {Cause::kNoSuchModule, "product id 7 answers", "", {}},
                    ExitCode::kNoConnection,
                    "no such module: product id 7 answers (see -H and -p)",
                    "no such module: product id 7 answers (see -H and -p)"},
        RefusalCase{"MalformedAnswer",
                    {Cause::kMalformedAnswer, "the status has 3 bytes", "", {}},
                    ExitCode::kNoConnection,
                    "malformed answer: the status has 3 bytes",
                    "malformed answer: the status has 3 bytes (see -H and -p)"},
        RefusalCase{"Privilege",
                    {Cause::kCompletionCode, "code 0xD4", "use another account", 0xD4},
                    ExitCode::kRefused,
                    "refused: asked for its status, code 0xD4; use another account (see -U and -L)",
                    "refused: asked for its status, code 0xD4; use another account (see -U)"},
        RefusalCase{
            "CompletionCode",
            {Cause::kCompletionCode, "code 0xD5", "", 0xD5},
            ExitCode::kSomeQueriesFailed,
            "refused by the module: asked for its status, code 0xD5; try again later; if it "
            "stays so, look at the module's own log",
            "refused by the module: asked for its status, code 0xD5; try again later; if it "
            "stays so, look at the module's own log"},
        RefusalCase{"FirmwareUpdate",
                    {Cause::kBusy, "code 0xD1", "try again later", 0xD1},
                    ExitCode::kNoConnection,
                    "busy: code 0xD1; try again later",
                    "busy: code 0xD1; try again later"},
        RefusalCase{"NoFirstAnswer",
                    {Cause::kUnreachable, "it took too long", "allow more time", {}},
                    ExitCode::kNoConnection,
                    "no connection: it took too long; allow more time (see -H, -p and "
                    "--connect-timeout)",
                    "no connection: it took too long; allow more time (see -H, -p and "
                    "--connect-timeout)"},
        RefusalCase{"Cancelled",
                    {Cause::kCancelled, "the read was cancelled", "", {}},
                    ExitCode::kInterrupted,
                    "cancelled: the read was cancelled",
                    "cancelled: the read was cancelled"},
        RefusalCase{"Local",
                    {Cause::kLocal, "too many open files", "", {}},
                    ExitCode::kHostExhausted,
                    "a fault on this side: too many open files",
                    "a fault on this side: too many open files"}),
    [](const auto& tested) { return std::string(tested.param.name); });

struct RefusedLogIn
{
    const char* message;
    const char* advice;
    const char* flags;
};

TEST_F(Outcome, OfARefusedLogInNamesTheFlagsOfTheCaseAtHand)
{
    // As the transports say it.
    const RefusedLogIn cases[] = {
        {"the password is wrong", "check it", " (see -U and -f)"},
        {"the module does not admit this user name",
         "check the name, and that the user may log in with the privilege asked for",
         " (see -U and -L)"},
        {"the module does not grant this user the privilege administrator",
         "ask for less, or log in as another user", " (see -U and -L)"},
        {"the module does not offer cipher suite 17", "choose another (3 or 17)", " (see -C)"},
        {"the module knows the password, but computes other keys",
         "it may have a K_g key; give it, or check the one that was given", " (see -k)"},
        {"the log-in was changed on its way, though the password is right", "try again", ""},
        {"not asked: three modules have refused this user and password", "check user and password",
         " (see -U, -f and --keep-going)"},
    };
    for (const RefusedLogIn& refused : cases) {
        Fake().Refuse({Cause::kRefused, refused.message, refused.advice, {}});
        EXPECT_EQ(RunConnected({}).error, std::string("vktinventory: refused: ") + refused.message +
                                              "; " + refused.advice + refused.flags + "\n");
    }
}

TEST_F(Outcome, OfARefusedLogInSaysThatNobodyWasNamed)
{
    Fake().Refuse({Cause::kRefused, "the module does not admit this user name", "check it", {}});
    EXPECT_EQ(RunCommand({"-H", "h", "-P", "p"}).error,
              "vktinventory: refused: the module does not admit this user name; no user was named "
              "(see -U and -f)\n");
    Fake().Refuse({Cause::kRefused, "no cipher suite 17", "choose another", {}});
    EXPECT_EQ(RunCommand({"-H", "h", "-P", "p"}).error,
              "vktinventory: refused: no cipher suite 17; choose another (see -C)\n");
}

TEST_F(Outcome, PrintsATableOnlyOfWhatCanHaveBeenRead)
{
    Fake().Refuse({Cause::kRefused, "the password is wrong", "", {}});
    EXPECT_EQ(RunConnected({}).out, "");
    EXPECT_NE(RunConnected({"--format", "json"}).out, "");
}

struct UnreadCase
{
    const char* name;
    Failure failure;
    const char* reason;
};

class NotRead : public Outcome, public testing::WithParamInterface<UnreadCase>
{
};

TEST_P(NotRead, SaysWhatAndWhy)
{
    Record().identity.serialNumber = Unread(GetParam().failure);
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    EXPECT_EQ(ran.error, "vktinventory: Module serial number not read: " +
                             std::string(GetParam().reason) + "\n");
    EXPECT_THAT(ran.out, testing::HasSubstr("7X58"));
}

INSTANTIATE_TEST_SUITE_P(
    Causes, NotRead,
    testing::Values(UnreadCase{"TimedOut",
                               {Cause::kTimedOut, "no answer to 6 copies", "allow more time", {}},
                               "no answer to 6 copies; allow more time (see --timeout)"},
                    UnreadCase{"Busy",
                               {Cause::kBusy, "code 0xC0 (busy)", "try again later", 0xC0},
                               "code 0xC0 (busy); try again later (see --timeout)"},
                    UnreadCase{"CompletionCode",
                               {Cause::kCompletionCode, "code 0xC1 (invalid command)", "", 0xC1},
                               "code 0xC1 (invalid command)"},
                    UnreadCase{
                        "Privilege",
                        {Cause::kCompletionCode, "code 0xD4 (insufficient privilege)", "", 0xD4},
                        "code 0xD4 (insufficient privilege) (see -U)"},
                    UnreadCase{"MalformedAnswer",
                               {Cause::kMalformedAnswer, "the answer has 3 bytes", "", {}},
                               "the answer has 3 bytes"},
                    UnreadCase{"Unreachable",
                               {Cause::kUnreachable, "the connection was closed", "", {}},
                               "the connection was closed"},
                    UnreadCase{"Escaped",
                               {Cause::kMalformedAnswer, "\x1b[31m\nvktinventory: x", "", {}},
                               "\\x1b[31m\\x0avktinventory: x"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(Outcome, TellsEqualFailuresOnce)
{
    const Unread silence(Cause::kTimedOut, "no answer");
    Record().powerSupplies[0].fans = silence;
    Record().caps = silence;
    EXPECT_EQ(RunConnected({}).error,
              "vktinventory: Chassis caps and PSU1 fans not read: no answer (see --timeout)\n");
    Record().nodes[3].state = silence;
    EXPECT_EQ(RunConnected({}).error,
              "vktinventory: Chassis caps, PSU1 fans and Node 4 power state not read: no answer "
              "(see --timeout)\n");
    for (Node& node : Record().nodes) {
        node.state = silence;
        node.power = silence;
    }
    EXPECT_EQ(RunConnected({}).error,
              "vktinventory: 10 values not read: no answer (see --timeout)\n");
}

TEST_F(Outcome, TellsDifferentFailuresApart)
{
    Record().identity.machineType = Unread({Cause::kCompletionCode, "code 0xC1", "", 0xC1});
    Record().identity.name = Unread(Cause::kTimedOut, "no answer");
    EXPECT_EQ(RunConnected({}).error,
              "vktinventory: Module machine type not read: code 0xC1\n"
              "vktinventory: Module name not read: no answer (see --timeout)\n");
}

TEST_F(Outcome, TellsTheEndOfAReadOnceWithWhatItCost)
{
    const Unread over(Cause::kTimedOut, "the time was over");
    Record().error = over.Why();
    for (Node& node : Record().nodes) {
        node.state = over;
    }
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    EXPECT_EQ(ran.error, "vktinventory: 4 values not read: the time was over (see --timeout)\n");
}

TEST_F(Outcome, TellsAnEarlyEndThatCostNothing)
{
    Record().error = Failure{Cause::kUnreachable, "the connection was closed", "", {}};
    const Ran ran = RunConnected({});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    EXPECT_EQ(ran.error, "vktinventory: the reading ended early: the connection was closed\n");
}

TEST_F(Outcome, OfASelectionIsTold)
{
    Fake().selectionFailure = Failure{Cause::kCompletionCode, "code 0xC9", "", 0xC9};
    const Ran ran = RunConnected({"select-psu", "2"});
    EXPECT_EQ(ran.code, ExitCode::kSomeQueriesFailed);
    EXPECT_EQ(ran.error, "vktinventory: PSU2 not selected: code 0xC9\n");
    EXPECT_EQ(ran.out, "Power supply selection\n  PSU2              not accepted\n");
}

TEST_F(Outcome, OfANumberThatTheEnclosureDoesNotHaveIsWrongUsage)
{
    const Ran node = RunConnected({"node", "5"});
    EXPECT_EQ(node.code, ExitCode::kWrongUsage);
    EXPECT_EQ(node.error, "vktinventory: node 5: this enclosure has nodes 1 to 4\n");
    EXPECT_EQ(node.out, "");
    const Ran supply = RunConnected({"--format", "json", "select-psu", "3"});
    EXPECT_EQ(supply.code, ExitCode::kWrongUsage);
    EXPECT_EQ(supply.error,
              "vktinventory: power supply 3: this enclosure has power supplies 1 to 2\n");
    EXPECT_EQ(supply.out, "");
    EXPECT_EQ(Fake().selected, 0);
    EXPECT_EQ(RunConnected({"node", "4"}).code, ExitCode::kEverythingRead);
}

}  // namespace
}  // namespace Tulvo::Test
