// SPDX-License-Identifier: Apache-2.0
// The command as a plug-in of a monitoring system.
#include "apps/vktinventory/check/check.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr double kHuge = 1e300;

struct RangeCase
{
    const char* text;
    std::vector<double> fine;
    std::vector<double> alerting;
};

class Ranges : public testing::TestWithParam<RangeCase>
{
};

TEST_P(Ranges, AlertAsTheGuidelinesSay)
{
    const auto range = Cli::ParseRange(GetParam().text);
    ASSERT_TRUE(range) << GetParam().text;
    for (const double value : GetParam().fine) {
        EXPECT_FALSE(range->Alerts(value)) << value;
    }
    for (const double value : GetParam().alerting) {
        EXPECT_TRUE(range->Alerts(value)) << value;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, Ranges,
    testing::Values(RangeCase{"10", {0, 5, 10}, {-1, 10.5, 11, kHuge}},
                    RangeCase{"0", {0}, {-1, 1}}, RangeCase{"10:", {10, 11, kHuge}, {9.9, 0, -10}},
                    RangeCase{"~:10", {-kHuge, 0, 10}, {10.1, kHuge}},
                    RangeCase{"10:20", {10, 15, 20}, {9, 21}}, RangeCase{"10:10", {10}, {9, 11}},
                    RangeCase{"-20:-10", {-20, -15, -10}, {-21, -9, 0}},
                    RangeCase{"1.5:2.5", {1.5, 2, 2.5}, {1.4, 2.6}},
                    RangeCase{"~:", {-kHuge, 0, kHuge}, {}},
                    RangeCase{"@10:20", {9, 21}, {10, 15, 20}}, RangeCase{"@10", {-1, 11}, {0, 10}},
                    RangeCase{"@~:10", {11}, {-5, 10}}, RangeCase{"@10:", {9}, {10, kHuge}}));

TEST(Ranges, ThatAreNoneAreRefused)
{
    for (const char* const text :
         {"",     "@",        ":",    ":10",  "~",   "~10",   "20:10", "a",
          "10:b", "10:20:30", "@@10", "0x10", "1e3", "nan",   "inf",   "-inf:10",
          "10:~", " 10",      "10 ",  "+10",  "--1", "1.2.3", "10,5"}) {
        EXPECT_FALSE(Cli::ParseRange(text)) << text;
    }
}

class Check : public testing::Test
{
protected:
    Check() { FakeEnclosure::Current() = FakeEnclosure::Healthy(); }

    static FakeEnclosure& Fake() { return FakeEnclosure::Current(); }
    static Enclosures::Enclosure& Record() { return Fake().record; }

    static Ran RunCheck(std::vector<std::string> words = {})
    {
        words.insert(words.begin(), "check");
        return RunConnected(words);
    }
    static void Expect(const Ran& ran, int code, const std::string& start)
    {
        EXPECT_EQ(static_cast<int>(ran.code), code);
        EXPECT_THAT(ran.out, StartsWith(start));
        EXPECT_EQ(ran.error, "");
    }
};

TEST_F(Check, OfAHealthyEnclosureIsOneGoodLineWithNumbers)
{
    EXPECT_EQ(RunCheck().out,
              "VKT OK - 2 power supplies, 4 nodes | power_minimum=300;;;; power_average=400;;;; "
              "power_maximum=500;;;; power_cap_lowest=U;;;; power_cap_highest=1200;;;; "
              "power_cap_protective=U;;;; power_cap_user=1000;;;; power_cap_thermal=65535;;;; "
              "psu1_fan_speed_a=10000;;;; psu2_fan_speed_a=10000;;;; psu1_fan_speed_b=U;;;; "
              "psu2_fan_speed_b=U;;;;\n");
    Expect(RunCheck(), 0, "VKT OK - ");
}

TEST_F(Check, AsksForNoMoreThanItJudges)
{
    RunCheck();
    EXPECT_EQ(Fake().scope.sections, kHealth);
    RunCheck({"-w", "node_power_average=200"});
    EXPECT_EQ(Fake().scope.sections, kHealth | kNodePower);
}

TEST_F(Check, TakesTenSecondsUnlessToldOtherwise)
{
    using std::chrono::seconds;
    const std::vector<std::pair<std::vector<std::string>, seconds>> cases = {
        {{}, seconds(10)},
        {{"-t", "3"}, seconds(3)},
        {{"--timeout", "40"}, seconds(40)},
        {{"--timeout", "40", "-t", "3"}, seconds(3)}};
    for (const auto& [words, expected] : cases) {
        RunCheck(words);
        EXPECT_EQ(Fake().limits.deadline, expected);
    }
}

TEST_F(Check, SaysTheWorstFirstAndEverythingBelow)
{
    Record().powerSupplies[1].throttling = true;
    Record().nodes[2].state = Unread(Cause::kTimedOut, "no answer");
    Record().powerSupplies[0].powerGood = false;
    const Ran ran = RunCheck();
    Expect(ran, 2,
           "VKT CRITICAL - PSU1 has no good power; Node 3 power state could not be read: no "
           "answer; PSU2 "
           "throttles | ");
    EXPECT_THAT(
        ran.out,
        HasSubstr("\ncritical: PSU1 has no good power\nunknown: Node 3 power state could not "
                  "be read: no answer\nwarning: PSU2 throttles\n"));
}

TEST_F(Check, CallsWhatCouldNotBeReadUnknownRatherThanWarning)
{
    Record().powerSupplies[1].throttling = true;
    Expect(RunCheck(), 1, "VKT WARNING - PSU2 throttles | ");
    Record().consumption = Unread(Cause::kTimedOut, "no answer");
    const Ran ran = RunCheck();
    Expect(ran, 3,
           "VKT UNKNOWN - Chassis consumption could not be read: no answer; PSU2 throttles | ");
    EXPECT_THAT(ran.out, HasSubstr(" power_average=U;;;; "));
}

TEST_F(Check, ComparesNumbersWithRanges)
{
    Expect(RunCheck({"-w", "power_average=300", "-c", "power_average=500"}), 1,
           "VKT WARNING - Chassis has a power_average of 400, outside 300 | ");
    const Ran ran = RunCheck({"-w", "power_average=300", "-c", "power_average=@400:"});
    Expect(ran, 2,
           "VKT CRITICAL - Chassis has a power_average of 400, within @400:; Chassis has a "
           "power_average of 400, outside 300 | ");
    EXPECT_THAT(ran.out, HasSubstr(" power_average=400;300;@400:;; "));
    Expect(RunCheck({"-w", "power_average=400:400", "-c", "psu_fan_speed_a=9000:"}), 0, "VKT OK");
    Expect(RunCheck({"-c", "node_power_average=@120"}), 2,
           "VKT CRITICAL - Node 1 has a node_power_average of 120, within @120; Node 2 ");
    Expect(RunCheck({"-w", "node_count=12:"}), 1, "VKT WARNING - Module has a node_count of 4");
}

TEST_F(Check, CannotJudgeANumberThatNothingTells)
{
    Expect(RunCheck({"-w", "power_cap_lowest=10"}), 3,
           "VKT UNKNOWN - Module tells no power_cap_lowest, for which there is a threshold | ");
    Expect(RunCheck({"-w", "psu_fan_speed_b=10"}), 3, "VKT UNKNOWN - Module tells no psu_fan_");
    // Of an empty slot alone it is nothing to worry about.
    PowerSupply& supply = Record().powerSupplies[1];
    supply.present = false;
    supply.powerGood = supply.powerOffWarning = supply.throttling = Reading<bool>::Absent();
    supply.fans = Reading<SupplyFans>::Absent();
    const Ran ran = RunCheck({"-c", "psu_fan_speed_a=9000:", "--ignore", "PSU2"});
    Expect(ran, 0, "VKT OK - 1 power supplies, 4 nodes | ");
    EXPECT_THAT(ran.out, Not(HasSubstr("psu2_")));
}

TEST_F(Check, IgnoresWhatItIsToldTo)
{
    Record().powerSupplies[1].throttling = true;
    NodeState fault;
    fault.powerState = PowerState::kFault;
    Record().nodes[3].state = fault;
    Expect(RunCheck({"--ignore", "Node 4"}), 1, "VKT WARNING - PSU2 throttles | ");
    Expect(RunCheck({"--ignore", "node4", "--ignore", "psu2"}), 0, "VKT OK");
    Expect(RunCheck({"--ignore", "PSU2", "--ignore", "Node 4", "-w", "node_power_average=@120"}), 1,
           "VKT WARNING - Node 1 has a node_power_average of 120, within @120; Node 2 has a "
           "node_power_average of 120, within @120; Node 3 has a node_power_average of 120, within "
           "@120 | ");
}

TEST_F(Check, ComparesWithWhatIsExpected)
{
    Expect(RunCheck({"--expect-psus", "2", "--expect-nodes", "4"}), 0, "VKT OK");
    Expect(RunCheck({"--expect-psus", "3"}), 2,
           "VKT CRITICAL - Chassis has 2 power supplies where 3 are expected | ");
    Expect(RunCheck({"--expect-nodes", "3"}), 1,
           "VKT WARNING - Chassis has 4 nodes where 3 are expected | ");
}

struct NoConnectionCase
{
    Cause cause;
    bool isNoConnection;
};

TEST_F(Check, WithoutAConnectionIsCriticalOrWhatIsAskedFor)
{
    const NoConnectionCase cases[] = {
        {Cause::kUnreachable, true},  {Cause::kTimedOut, true},        {Cause::kBusy, true},
        {Cause::kNoSuchModule, true}, {Cause::kMalformedAnswer, true}, {Cause::kRefused, false},
        {Cause::kNotTrusted, false},  {Cause::kCompletionCode, false}, {Cause::kLocal, false}};
    for (const NoConnectionCase& tested : cases) {
        Fake() = FakeEnclosure::Healthy();
        Fake().Refuse({tested.cause, "nobody | answers", "look there", {}});
        const std::pair<const char*, int> states[] = {
            {"ok", 0}, {"warning", 1}, {"critical", 2}, {"UNKNOWN", 3}};
        for (const auto& [state, code] : states) {
            const Ran ran = RunCheck({"--unreachable", state});
            EXPECT_EQ(static_cast<int>(ran.code), tested.isNoConnection ? code : 3);
            EXPECT_THAT(ran.out, MatchesRegex("VKT [A-Z]+ - nobody / answers; look there\n"));
        }
        EXPECT_EQ(static_cast<int>(RunCheck().code), tested.isNoConnection ? 2 : 3);
    }
}

TEST_F(Check, TellsWrongUsageOnStandardOutput)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"-w", "power_avrage=1"},
         "there is no number \"power_avrage\" (did you mean \"power_average\"?)"},
        {{"-w", "serial_number=1"}, "there is no number \"serial_number\""},
        {{"-w", "power_average"},
         "\"power_average\" is no METRIC=RANGE, such as power_average=2000"},
        {{"-c", "power_average=20:10"}, "\"20:10\" is no range: 10, 10:, ~:10, 10:20 or @10:20"},
        {{"-c", "power_average=1", "-c", "power_average=2"},
         "two ranges for power_average; give one"},
        {{"--ignore", "fan"}, "--ignore takes PSU5, \"Node 4\", Chassis or Module, not \"fan\""},
        {{"-w"}, "-w, --warning needs METRIC=RANGE behind it"},
        {{"--expect-psus", "10"}, "--expect-psus: \"10\" is no number from 1 to 9"},
        {{"-t", "0"}, "-t: \"0\" is no number from 1 to 86400"},
        {{"--unreachable", "bad"},
         "--unreachable: \"bad\" is none of ok, warning, critical, unknown"},
        {{"--frobnicate"}, "there is no flag --frobnicate"},
        {{"-f", "/no/such/file"}, "--password and --password-file"},
    };
    for (const auto& [words, reason] : cases) {
        Fake().asked.reset();
        const Ran ran = RunCheck(words);
        Expect(ran, 3, "VKT UNKNOWN - ");
        EXPECT_THAT(ran.out, HasSubstr(reason));
        EXPECT_EQ(std::count(ran.out.begin(), ran.out.end(), '\n'), 1);
        EXPECT_FALSE(Fake().asked) << reason;
    }
    Expect(RunCommand({"check", "-H", "h", "-f", "/no/such/file"}), 3,
           "VKT UNKNOWN - the password file /no/such/file cannot be opened");
    Expect(RunCommand({"check"}), 3, "VKT UNKNOWN - -H HOST is missing");
    EXPECT_EQ(RunCommand({"-U", "check", "show"}).code, Cli::ExitCode::kWrongUsage);
}

/// The guidelines' grammar: 'label'=value[UOM];[warn];[crit];[min];[max], separated by blanks.
TEST_F(Check, GivesNumbersInTheGrammarOfTheGuidelines)
{
    Record().consumption = Unread(Cause::kTimedOut, "no | answer");
    const Ran ran = RunCheck({"-w", "psu_fan_speed_a=~:9000", "-c", "node_power_average=@1.5:2"});
    const std::string line = ran.out.substr(0, ran.out.find('\n'));
    ASSERT_EQ(std::count(line.begin(), line.end(), '|'), 1);
    std::istringstream numbers(line.substr(line.find('|') + 1));
    const std::string range = "(@?((-?[0-9.]+|~)?:)?(-?[0-9.]+)?)?";
    const std::regex grammar("([^ ='|]+)=(U|-?[0-9.]+);" + range + ";" + range +
                             ";[0-9.]*;[0-9.]*");
    std::vector<std::string> labels;
    for (std::string number; numbers >> number;) {
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(number, parts, grammar)) << number;
        EXPECT_THAT(labels, Not(testing::Contains(parts[1].str())));
        labels.push_back(parts[1]);
    }
    EXPECT_THAT(labels, testing::IsSupersetOf({"power_average", "psu2_fan_speed_a",
                                               "node4_power_average", "power_cap_user"}));
}

}  // namespace
}  // namespace Tulvo::Test
