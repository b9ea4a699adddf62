// SPDX-License-Identifier: Apache-2.0
// The table that people read, to the letter.
#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "apps/vktinventory/output/render_table.h"
#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using testing::HasSubstr;
using testing::Not;

class Table : public testing::Test
{
protected:
    Table() { FakeEnclosure::Current() = FakeEnclosure::Healthy(); }

    static Enclosures::Enclosure& Record() { return FakeEnclosure::Current().record; }
    static PowerSupply& Supply(std::size_t number) { return Record().powerSupplies[number - 1]; }
    static SupplyFans FansOf(std::size_t number) { return *Supply(number).fans.Get(); }
    static NodeState StateOf(std::size_t number) { return *Record().nodes[number - 1].state.Get(); }
    static void SetFans(std::size_t number, FanState state)
    {
        SupplyFans fans = FansOf(number);
        fans.state = state;
        Supply(number).fans = fans;
    }
    static void SetPower(std::size_t number, PowerState powerState)
    {
        NodeState state = StateOf(number);
        state.powerState = powerState;
        Record().nodes[number - 1].state = state;
    }
    /// A slot without a supply, as a read tells it.
    static void Empty(PowerSupply& supply)
    {
        supply.present = false;
        supply.powerGood = supply.powerOffWarning = supply.throttling = Reading<bool>::Absent();
        supply.fans = Reading<SupplyFans>::Absent();
        supply.version = supply.manufacturer = supply.position = Reading<std::string>::Absent();
    }
    static std::string Show() { return RunConnected({}).out; }

    /// As a terminal would get it.
    static std::string ShowColoured()
    {
        Record().asked = kEverything;
        return Cli::RenderTable(Cli::ReportOf(Cli::kCommands[0], Record()), true);
    }
};

std::size_t WidestLine(const std::string& text)
{
    std::istringstream lines(text);
    std::size_t widest = 0;
    for (std::string line; std::getline(lines, line);) {
        widest = std::max(widest, line.size());
    }
    return widest;
}

TEST_F(Table, ShowsAHealthyEnclosure)
{
    EXPECT_EQ(Show(), R"(Health
  good

Identity
  Machine type      7X58
  Serial number     J30ABC12
  Firmware version  ABC123-1.0a
  Name              Chassis A

Management module
  Platform          0xfe
  Power supplies    2
  Nodes             4
  Defaults assumed  no

Chassis power consumption
  Minimum           300
  Average           400
  Maximum           500

Chassis power caps
  Lowest cap        N/A
  Highest cap       1200
  Protective cap    N/A
  User cap          1000
  Thermal cap       65535

Power supply status
  PSU   Present  Power       Power-off warning  Throttling   Reported
  PSU1  present  power good  not trigger        not trigger  yes
  PSU2  present  power good  not trigger        not trigger  yes

Power supply fans
  PSU   Fans    Speed A  Pattern A  Speed B  Pattern B
  PSU1  Normal    10000          5        -          -
  PSU2  Normal    10000          5        -          -

Power supply firmware
  PSU   Slot  Name            Version  Manufacturer
  PSU1     1  Power Supply 1  1.03     PSUACME10a
  PSU2     2  Power Supply 2  1.03     PSUACME10a

Nodes
  Node  Power state  Width  Height  Permission  Minimum  Average  Maximum
     1  Power ON     Half        1           2       90      120      180
     2  Power ON     Half        1           2       90      120      180
     3  Power ON     Half        1           2       90      120      180
     4  Power ON     Half        1           2       90      120      180
)");
}

TEST_F(Table, BeginsWithWhatNeedsAttentionTheWorstFirst)
{
    Supply(1).powerGood = false;
    Supply(1).powerOffWarning = true;
    Supply(1).throttling = true;
    SetFans(1, FanState::kUnknown);
    Empty(Supply(2));
    SetPower(3, PowerState::kFault);
    SetPower(4, PowerState::kNoPermission);
    EXPECT_THAT(Show(), HasSubstr(R"(Health
  PSU1              critical  has no good power
  PSU1              critical  warns that its power goes off
  Node 3            critical  has a power fault
  PSU1              warning   throttles
  PSU1              warning   has fans in an unknown state
  PSU2              warning   is not present
  Node 4            warning   is in the power state No Permission

Identity)"));
}

TEST_F(Table, ShowsNothingButFindingsForHealth)
{
    EXPECT_EQ(RunConnected({"health"}).out, "Health\n  good\n");
    Supply(2).powerGood = false;
    EXPECT_EQ(RunConnected({"health"}).out,
              "Health\n  PSU2              critical  has no good power\n");
}

TEST_F(Table, PassesOverASwitchedOffNode)
{
    SetPower(1, PowerState::kOff);
    EXPECT_THAT(Show(), HasSubstr("Health\n  good\n"));
}

TEST_F(Table, KeepsAnEmptySlotOutOfFansAndFirmware)
{
    Empty(Supply(2));
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr(R"(
  PSU1  present      power good  not trigger        not trigger  yes
  PSU2  not present  -           -                  -            yes

Power supply fans
  PSU   Fans    Speed A  Pattern A  Speed B  Pattern B
  PSU1  Normal    10000          5        -          -

Power supply firmware
  PSU   Slot  Name            Version  Manufacturer
  PSU1     1  Power Supply 1  1.03     PSUACME10a

)"));
}

TEST_F(Table, NamesAnEmptyListAsSuch)
{
    Empty(Supply(1));
    Empty(Supply(2));
    EXPECT_THAT(Show(), HasSubstr("Power supply fans\n  none\n"));
}

TEST_F(Table, TellsASupplyThatTheModuleHasNoBitsFor)
{
    PowerSupply ninth = Supply(1);
    ninth.number = 9;
    ninth.powerGood = ninth.powerOffWarning = ninth.throttling = Reading<bool>::Absent();
    Record().powerSupplies.push_back(ninth);
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr("Health\n  good\n"));
    EXPECT_THAT(table,
                HasSubstr("PSU9  present  -           -                  -            no\n"));
}

TEST_F(Table, SaysWhatWasNotReadWhereItWouldStand)
{
    Record().identity.serialNumber = Unread(Cause::kMalformedAnswer, "three bytes of nothing");
    Record().caps = Unread(Cause::kCompletionCode, "completion code 0xC1");
    const Unread silence(Cause::kTimedOut, "no answer");
    for (PowerSupply& supply : Record().powerSupplies) {
        supply.present = supply.powerGood = supply.powerOffWarning = supply.throttling = silence;
    }
    Record().nodes[1].state = silence;
    Record().nodes[2].power = silence;
    Supply(1).fans = silence;
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr("  Serial number     not read: malformed answer\n"));
    EXPECT_THAT(table, HasSubstr("Chassis power caps\n  not read: refused by the module\n"));
    EXPECT_THAT(table, HasSubstr("Power supply status\n  not read: no answer in time\n"));
    EXPECT_THAT(table, HasSubstr("\n  PSU1  not read        -          -        -          -\n"));
    EXPECT_THAT(table, HasSubstr(R"(
     2  not read     -           -           -        90      120      180
     3  Power ON     Half        1           2  not read        -        -
)"));
}

TEST_F(Table, NamesAFewThingsThatHealthDoesNotKnowAndCountsMore)
{
    Supply(1).fans = Unread(Cause::kTimedOut, "no answer");
    EXPECT_THAT(Show(), HasSubstr("Health\n  PSU1              unknown  fans could not be read: "
                                  "no answer\n\n"));
    Supply(2).powerGood = false;
    for (Node& node : Record().nodes) {
        const Unread silence(Cause::kTimedOut, "no answer");
        node.state = silence;
        node.power = silence;
    }
    EXPECT_THAT(Show(), HasSubstr("Health\n  PSU2              critical  has no good power\n"
                                  "  not fully known: 9 values not read\n\n"));
}

TEST_F(Table, SaysThatTheModuleDidNotTellWhatItHas)
{
    FakeEnclosure::Current().Refuse({Cause::kCompletionCode, "completion code 0xD5", "", {}});
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr("Management module\n  not read: refused by the module\n"));
    EXPECT_THAT(table, HasSubstr("Power supply fans\n  not read: the module did not tell how many "
                                 "it has\n"));
    EXPECT_THAT(table, HasSubstr("Nodes\n  not read: the module did not tell how many it has\n"));
}

TEST_F(Table, StaysWithinEightyColumnsWhateverTheModuleReports)
{
    Record().identity.name = std::string(300, 'n');
    Record().identity.serialNumber = std::string(61, 's');
    Supply(1).manufacturer = std::string("\0\x1b\xff\x9c", 4);
    Supply(1).position = std::string("ffff");
    Supply(1).version = std::string("ff.ff");
    SupplyFans fans = FansOf(1);
    fans.a.speed = fans.b.speed = std::uint16_t{65535};
    Supply(1).fans = fans;
    NodeState state = StateOf(1);
    state.powerState = PowerState::kNoPermission;
    state.width = NodeWidth::kUnknown;
    state.height = std::uint8_t{254};
    Record().nodes[0].state = state;
    Record().nodes[1].power = Unread(Cause::kTimedOut, std::string(200, 'w'));
    EXPECT_EQ(WidestLine(Show()), 80U);
}

TEST_F(Table, BreaksALongTextBelowItsBeginning)
{
    Record().identity.name = std::string(60, 'a') + std::string(10, 'b');
    EXPECT_THAT(Show(), HasSubstr("  Name              " + std::string(60, 'a') + "\n" +
                                  std::string(20, ' ') + std::string(10, 'b') + "\n"));
}

TEST_F(Table, BreaksASentenceBetweenWords)
{
    const std::string reason = std::string(20, 'a') + " " + std::string(30, 'b');
    Supply(1).fans = Unread(Cause::kTimedOut, reason);
    EXPECT_THAT(Show(), HasSubstr("  PSU1              unknown  fans could not be read: " +
                                  std::string(20, 'a') + "\n" + std::string(29, ' ') +
                                  std::string(30, 'b') + "\n"));
}

TEST_F(Table, LetsNoControlCharacterReachTheTerminal)
{
    Record().identity.name = std::string("\x1b[2J\r\x07\x7f\x9b");
    Supply(1).manufacturer = std::string("\0\n\xc3\xa4", 4);
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr(R"(\x1b[2J\x0d\x07\x7f\x9b)"));
    EXPECT_THAT(table, HasSubstr(R"(PSU\x00\x0a\xc3\xa4)"));
    EXPECT_TRUE(std::all_of(table.begin(), table.end(), [](unsigned char byte) {
        return byte == '\n' || (byte >= 0x20 && byte <= 0x7E);
    }));
}

TEST_F(Table, MarksAnEmptyTextAndAnAbsentOne)
{
    Record().identity.name = std::string();
    Record().identity.machineType = Reading<std::string>::Absent();
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr("  Machine type      -\n"));
    EXPECT_THAT(table, HasSubstr("  Name              -\n"));
}

struct ColourCase
{
    const char* what;
    void (*spoil)(Enclosures::Enclosure&);
    const char* expected;
};

constexpr const char* kRed = "\033[1;31m";
constexpr const char* kYellow = "\033[33m";

class Coloured : public Table, public testing::WithParamInterface<ColourCase>
{
};

TEST_P(Coloured, MarksABadState)
{
    GetParam().spoil(Record());
    EXPECT_THAT(ShowColoured(), HasSubstr(GetParam().expected));
}

void SpoilFans(Enclosures::Enclosure& record)
{
    SupplyFans fans;
    fans.state = FanState::kAbnormal;
    record.powerSupplies[0].fans = fans;
}

void SpoilNode(Enclosures::Enclosure& record)
{
    NodeState state;
    state.powerState = PowerState::kFault;
    record.nodes[0].state = state;
}

INSTANTIATE_TEST_SUITE_P(
    States, Coloured,
    testing::Values(ColourCase{"NoPower", [](auto& r) { r.powerSupplies[0].powerGood = false; },
                               "\033[1;31mnot power good\033[0m"},
                    ColourCase{"PowerFault", SpoilNode, "\033[1;31mPower Fault\033[0m"},
                    ColourCase{"Fans", SpoilFans, "\033[1;31mAbnormal\033[0m"},
                    ColourCase{"Missing", [](auto& r) { r.powerSupplies[0].present = false; },
                               "\033[33mnot present\033[0m"},
                    ColourCase{"Finding", [](auto& r) { r.powerSupplies[0].powerGood = false; },
                               "\033[1;31mcritical\033[0m  has no good power"},
                    ColourCase{
                        "NotRead",
                        [](auto& r) { r.identity.name = Unread(Cause::kTimedOut, "no answer"); },
                        "\033[1;31mnot read"}),
    [](const auto& tested) { return tested.param.what; });

TEST_F(Table, ColoursNothingThatIsWell)
{
    EXPECT_THAT(ShowColoured(), Not(HasSubstr("\033")));
}

TEST_F(Table, ColoursNothingWhereOutputIsNoTerminal)
{
    SpoilFans(Record());
    EXPECT_THAT(Show(), Not(HasSubstr(kRed)));
    EXPECT_THAT(Show(), Not(HasSubstr(kYellow)));
}

TEST_F(Table, ShowsOneNode)
{
    Consumption power = *Record().nodes[1].power.Get();
    power.average = Reading<std::uint16_t>::Absent();
    Record().nodes[1].power = power;
    EXPECT_EQ(RunConnected({"node", "2"}).out, R"(Health
  good, as far as it was read

Nodes
  Node  Power state  Width  Height  Permission  Minimum  Average  Maximum
     2  Power ON     Half        1           2       90      N/A      180
)");
}

TEST_F(Table, CallsHealthGoodOnlyWhereAllThatTellsOfItWasRead)
{
    for (const char* const command : {"power", "psu", "nodes"}) {
        EXPECT_THAT(RunConnected({command}).out,
                    testing::StartsWith("Health\n  good, as far as it was read\n"))
            << command;
    }
}

TEST_F(Table, TellsOfNoHealthWhereNothingTellsOfIt)
{
    EXPECT_THAT(RunConnected({"identity"}).out, testing::StartsWith("Identity\n"));
    EXPECT_THAT(RunConnected({"status"}).out, testing::StartsWith("Management module\n"));
}

TEST_F(Table, ConfirmsASelection)
{
    EXPECT_EQ(RunConnected({"select-psu", "2"}).out,
              "Power supply selection\n  PSU2              accepted by the module\n");
    EXPECT_EQ(FakeEnclosure::Current().selected, 2);
}

}  // namespace
}  // namespace Tulvo::Test
