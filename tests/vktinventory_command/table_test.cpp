// SPDX-License-Identifier: Apache-2.0
// The table that people read, to the letter.
#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "apps/vktinventory/render_table.h"
#include "tests/vktinventory_command/fake_module.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using testing::HasSubstr;
using testing::Not;

class Table : public testing::Test
{
protected:
    Table() { Module() = FakeModule::Healthy(); }

    static FakeModule& Module() { return FakeModule::Current(); }
    static std::string Show() { return RunConnected({}).out; }

    /// As a terminal would get it.
    static std::string ShowColoured()
    {
        const TulvoConnection::ConnectionInfo connection;
        VKTInventory inventory(connection);
        const Cli::Diagnostics none{[] { return std::string(); }, [] { return true; },
                                    [] { return std::uint64_t{0}; }};
        return Cli::RenderTable(Cli::Ask(inventory, Cli::kCommands[0], 0, none), true);
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

TEST_F(Table, BeginsWithWhatNeedsAttention)
{
    Module().supplies.output[1].present = "not present";
    Module().supplies.output[1].pwrGood = "not power good";
    Module().supplies.output[0].pwrGood = "not power good";
    Module().supplies.output[0].epow = "trigger";
    Module().supplies.output[0].throttle = "trigger";
    Module().fans[1].status = "Abnormal";
    Module().fans[0].status = "Unknown";
    Module().nodes[2].status.output.powerState = "Power Fault";
    Module().nodes[3].status.output.powerState = "No Permission";
    EXPECT_THAT(Show(), HasSubstr(R"(Health
  PSU1              Power              not power good
  PSU1              Power-off warning  trigger
  PSU1              Throttling         trigger
  PSU2              Present            not present
  PSU1              Fans               Unknown
  PSU2              Fans               Abnormal
  Node 3            Power state        Power Fault
  Node 4            Power state        No Permission

Identity)"));
}

TEST_F(Table, PassesOverASwitchedOffNodeAndAnEmptyFanBay)
{
    Module().nodes[0].status.output.powerState = "Power OFF";
    Module().fans[1].status = "Not Present";
    EXPECT_THAT(Show(), HasSubstr("Health\n  good\n"));
}

TEST_F(Table, PassesOverASupplyThatTheModuleHasNoBitsFor)
{
    PSUStatus zeroBits = Module().supplies.output[0];
    zeroBits.present = "not present";
    zeroBits.pwrGood = "not power good";
    Module().supplies.output.resize(8, Module().supplies.output[0]);
    Module().supplies.output.push_back(zeroBits);
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr("Health\n  good\n"));
    EXPECT_THAT(table, HasSubstr("PSU9  not present  not power good  not trigger        "
                                 "not trigger  no\n"));
}

TEST_F(Table, SaysWhatWasNotReadWhereItWouldStand)
{
    Module().serialNumber.result = VKT_INVENTORY_FAILED;
    Module().chassisCap.result = VKT_INVENTORY_NO_DATA;
    Module().supplies.result = VKT_INVENTORY_CONNECT_FAILED;
    Module().nodes[1].status.result = VKT_INVENTORY_FAILED;
    Module().nodes[2].power.result = VKT_INVENTORY_TRANSPORT_ERROR;
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr("Health\n  not fully known: some queries failed\n"));
    EXPECT_THAT(table, HasSubstr("  Serial number     not read: refused, or no usable answer\n"));
    EXPECT_THAT(table, HasSubstr("Chassis power caps\n  not read: the module reports nothing\n"));
    EXPECT_THAT(table, HasSubstr("Power supply status\n  not read: no connection\n"));
    EXPECT_THAT(table, HasSubstr(R"(
     2  not read     -           -           -        90      120      180
     3  Power ON     Half        1           2  not read        -        -
)"));
}

TEST_F(Table, KeepsTheFansThatWereReadBeforeAFailure)
{
    Module().fans.pop_back();
    Module().fansResult = VKT_INVENTORY_CONNECT_FAILED;
    EXPECT_THAT(Show(), HasSubstr(R"(
  PSU1  Normal    10000          5        -          -
  not read: no connection
)"));
}

TEST_F(Table, NamesAnEmptyListAsSuch)
{
    Module().fans.clear();
    EXPECT_THAT(Show(), HasSubstr("Power supply fans\n  none\n"));
}

TEST_F(Table, TellsDefaultsFromAnAnswer)
{
    Module().moduleStatus.reset();
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr("  Management module  Defaults assumed  yes\n"));
    EXPECT_THAT(table, HasSubstr("  Platform          0xfe\n  Power supplies    2\n"));
}

TEST_F(Table, StaysWithinEightyColumnsWhateverTheModuleReports)
{
    Module().name.output = std::string(300, 'n');
    Module().serialNumber.output = std::string(61, 's');
    Module().firmware.output[0].manufacturer = std::string("PSU\0\x1b\xff\x9c", 7) + "ffff";
    Module().firmware.output[0].version = "ff.ff";
    Module().fans[0].speedA = Module().fans[0].speedB = "65535";
    Module().nodes[0].status.output.powerState = "No Permission";
    Module().nodes[0].status.output.width = Module().nodes[0].status.output.height = "254";
    EXPECT_EQ(WidestLine(Show()), 80U);
}

TEST_F(Table, BreaksALongTextBelowItsBeginning)
{
    Module().name.output = std::string(60, 'a') + std::string(10, 'b');
    EXPECT_THAT(Show(), HasSubstr("  Name              " + std::string(60, 'a') + "\n" +
                                  std::string(20, ' ') + std::string(10, 'b') + "\n"));
}

TEST_F(Table, LetsNoControlCharacterReachTheTerminal)
{
    Module().name.output = "\x1b[2J\r\x07\x7f\x9b";
    Module().firmware.output[0].manufacturer = std::string("PSU\0\n\xc3\xa4", 7);
    const std::string table = Show();
    EXPECT_THAT(table, HasSubstr(R"(\x1b[2J\x0d\x07\x7f\x9b)"));
    EXPECT_THAT(table, HasSubstr(R"(PSU\x00\x0a\xc3\xa4)"));
    EXPECT_TRUE(std::all_of(table.begin(), table.end(), [](unsigned char byte) {
        return byte == '\n' || (byte >= 0x20 && byte <= 0x7E);
    }));
}

struct ColourCase
{
    const char* what;
    void (*spoil)(FakeModule&);
    const char* expected;
};

constexpr const char* kRed = "\033[1;31m";
constexpr const char* kYellow = "\033[33m";

class Coloured : public Table, public testing::WithParamInterface<ColourCase>
{
};

TEST_P(Coloured, MarksABadState)
{
    GetParam().spoil(Module());
    EXPECT_THAT(ShowColoured(), HasSubstr(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    States, Coloured,
    testing::Values(
        ColourCase{"NoPower",
                   [](FakeModule& m) { m.supplies.output[0].pwrGood = "not power good"; },
                   "\033[1;31mnot power good\033[0m"},
        ColourCase{"PowerFault",
                   [](FakeModule& m) { m.nodes[0].status.output.powerState = "Power Fault"; },
                   "\033[1;31mPower Fault\033[0m"},
        ColourCase{"Fault", [](FakeModule& m) { m.nodes[0].status.output.powerState = "Fault"; },
                   "\033[1;31mFault\033[0m"},
        ColourCase{"Fans", [](FakeModule& m) { m.fans[0].status = "Abnormal"; },
                   "\033[1;31mAbnormal\033[0m"},
        ColourCase{"Missing", [](FakeModule& m) { m.supplies.output[0].present = "not present"; },
                   "\033[33mnot present\033[0m"},
        ColourCase{"NotRead", [](FakeModule& m) { m.name.result = VKT_INVENTORY_FAILED; },
                   "\033[1;31mnot read"}),
    [](const auto& tested) { return tested.param.what; });

TEST_F(Table, ColoursNothingThatIsWell)
{
    EXPECT_THAT(ShowColoured(), Not(HasSubstr("\033")));
}

TEST_F(Table, ColoursNothingWhereOutputIsNoTerminal)
{
    Module().fans[0].status = "Abnormal";
    EXPECT_THAT(Show(), Not(HasSubstr(kRed)));
    EXPECT_THAT(Show(), Not(HasSubstr(kYellow)));
}

TEST_F(Table, ShowsOneNode)
{
    Module().nodes[1].power.output.avg = "N/A";
    EXPECT_EQ(RunConnected({"node", "2"}).out, R"(Health
  good

Nodes
  Node  Power state  Width  Height  Permission  Minimum  Average  Maximum
     2  Power ON     Half        1           2       90      N/A      180
)");
}

TEST_F(Table, ConfirmsASelection)
{
    EXPECT_EQ(RunConnected({"select-psu", "2"}).out,
              "Power supply selection\n  PSU2              accepted by the module\n");
    EXPECT_EQ(Module().selectedSupply, 2);
}

}  // namespace
}  // namespace Tulvo::Test
