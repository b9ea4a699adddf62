// SPDX-License-Identifier: Apache-2.0
// Comma-separated values, to the letter.
#include <gmock/gmock.h>

#include "apps/vktinventory/output/csv.h"
#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using Cli::ExitCode;
using testing::HasSubstr;

struct CellCase
{
    std::string text;
    std::string cell;
};

TEST(CsvLine, QuotesWhatWouldBeTakenForMoreThanACell)
{
    const CellCase cases[] = {{"plain", "plain"},
                              {"", ""},
                              {"a,b", "\"a,b\""},
                              {"say \"hi\"", "\"say \"\"hi\"\"\""},
                              {"two\nlines", "\"two\nlines\""},
                              {"return\r", "\"return\r\""},
                              {" blank ", " blank "}};
    for (const CellCase& tested : cases) {
        EXPECT_EQ(Cli::CsvLine({tested.text, "x"}), tested.cell + ",x\n");
        EXPECT_EQ(Cli::CsvLine({"x", tested.text}), "x," + tested.cell + "\n");
    }
}

TEST(CsvText, IsNoFormula)
{
    const CellCase cases[] = {{"=1+1", "'=1+1"}, {"+1", "'+1"},  {"-1", "'-1"},
                              {"@a", "'@a"},     {"1=1", "1=1"}, {"", ""}};
    for (const CellCase& tested : cases) {
        EXPECT_EQ(Cli::CsvText(tested.text), tested.cell);
    }
}

class Csv : public testing::Test
{
protected:
    Csv() { FakeEnclosure::Current() = FakeEnclosure::Healthy(); }

    static Enclosures::Enclosure& Record() { return FakeEnclosure::Current().record; }
    static Ran RunCsv(std::vector<std::string> words)
    {
        words.insert(words.begin(), {"--format", "csv"});
        return RunConnected(words);
    }
};

TEST_F(Csv, OfIdentityIsARowAnEnclosure)
{
    EXPECT_EQ(RunCsv({"identity"}).out,
              "host,group,time,error,machine_type,serial_number,firmware_version,name\n"
              "10.0.0.5,,2026-11-21T19:07:03Z,,7X58,J30ABC12,ABC123-1.0a,Chassis A\n");
}

TEST_F(Csv, OfPowerHasNothingForWhatIsAbsent)
{
    EXPECT_EQ(RunCsv({"power"}).out,
              "host,group,time,error,power_minimum,power_average,power_maximum,power_cap_lowest,"
              "power_cap_highest,power_cap_protective,power_cap_user,power_cap_thermal\n"
              "10.0.0.5,,2026-11-21T19:07:03Z,,300,400,500,,1200,,1000,65535\n");
}

TEST_F(Csv, OfStatusTellsWhatTheModuleIs)
{
    EXPECT_EQ(RunCsv({"status"}).out,
              "host,group,time,error,generation,platform_id,power_supply_count,node_count\n"
              "10.0.0.5,,2026-11-21T19:07:03Z,,first,254,2,4\n");
}

TEST_F(Csv, OfHealthHasStatusAndFindings)
{
    Record().powerSupplies[0].powerGood = false;
    Record().powerSupplies[1].throttling = true;
    EXPECT_EQ(RunCsv({"health"}).out,
              "host,group,time,error,health,findings\n"
              "10.0.0.5,,2026-11-21T19:07:03Z,,critical,PSU1 has no good power; PSU2 throttles\n");
}

TEST_F(Csv, OfSuppliesIsARowEach)
{
    EXPECT_EQ(RunCsv({"psu"}).out,
              "host,group,time,error,psu,psu_present,psu_power_good,psu_power_off_warning,"
              "psu_throttling,psu_fan_state,psu_fan_speed_a,psu_fan_pattern_a,psu_fan_speed_b,"
              "psu_fan_pattern_b,psu_name,psu_version,psu_manufacturer,psu_position\n"
              "10.0.0.5,,2026-11-21T19:07:03Z,,1,true,true,false,false,normal,10000,5,,,"
              "Power Supply 1,1.03,ACME,10a\n"
              "10.0.0.5,,2026-11-21T19:07:03Z,,2,true,true,false,false,normal,10000,5,,,"
              "Power Supply 2,1.03,ACME,10a\n");
}

TEST_F(Csv, OfNodesIsARowEach)
{
    Record().nodes.resize(1);
    EXPECT_EQ(RunCsv({"nodes"}).out,
              "host,group,time,error,node,node_power_state,node_width,node_height,node_permission,"
              "node_power_minimum,node_power_average,node_power_maximum\n"
              "10.0.0.5,,2026-11-21T19:07:03Z,,1,on,half,1,2,90,120,180\n");
}

TEST_F(Csv, HasTheColumnsThatAreAskedForInThatOrder)
{
    EXPECT_EQ(RunCsv({"--fields", "power_average,host", "power"}).out,
              "power_average,host\n400,10.0.0.5\n");
    EXPECT_EQ(RunCsv({"--fields", "psu,platform_id", "psu"}).out,
              "psu,platform_id\n1,254\n2,254\n");
}

TEST_F(Csv, NamesTheColumnsThatThereAre)
{
    const Ran ran = RunCsv({"--fields", "host,colour", "power"});
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.error, HasSubstr("power has no \"colour\"; it has host, group, time, error, "
                                     "power_minimum"));
    EXPECT_THAT(RunCsv({"--fields", "serial_number", "power"}).error, HasSubstr("serial_number"));
}

TEST_F(Csv, IsRefusedWhereRowsWouldBeOfSeveralKinds)
{
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"show"}, {"select-psu", "1"}}) {
        const Ran ran = RunCsv(words);
        EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
        EXPECT_THAT(ran.error, HasSubstr("use jsonl"));
    }
}

TEST_F(Csv, HasARowForWhatCouldNotBeRead)
{
    FakeEnclosure::Current().Refuse({Cause::kTimedOut, "no answer, none at all", "", {}});
    for (const char* command : {"identity", "psu", "nodes"}) {
        EXPECT_THAT(RunCsv({command}).out,
                    HasSubstr("\n10.0.0.5,,2026-11-21T19:07:03Z,\"timedOut: no answer, none at "
                              "all\",,"));
    }
}

TEST_F(Csv, SaysWhatARowLacks)
{
    const Unread silence(Cause::kTimedOut, "no answer");
    Record().powerSupplies[1].fans = silence;
    EXPECT_EQ(RunCsv({"--fields", "psu,error", "psu"}).out,
              "psu,error\n1,\n2,timedOut: no answer\n");
}

TEST_F(Csv, KeepsAModulesTextOnItsLineAndFromBeingAFormula)
{
    Record().identity.name = std::string("=HYPERLINK(\"x\")");
    Record().identity.serialNumber = std::string("a\n\x1b\xff");
    EXPECT_EQ(RunCsv({"--fields", "name,serial_number", "identity"}).out,
              "name,serial_number\n\"'=HYPERLINK(\"\"x\"\")\",a\\x0a\\x1b\\xff\n");
}

}  // namespace
}  // namespace Tulvo::Test
