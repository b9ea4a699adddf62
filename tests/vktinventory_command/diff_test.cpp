// SPDX-License-Identifier: Apache-2.0
// What has changed between two readings.
#include "apps/vktinventory/diff/diff.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/temporary_directory.h"
#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using Cli::ExitCode;
using testing::HasSubstr;
using Json = nlohmann::ordered_json;

/// What `show` prints of the healthy enclosure, changed as a test says.
Json Shown(const std::string& host, const std::function<void(FakeEnclosure&)>& change)
{
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    change(FakeEnclosure::Current());
    return Json::parse(RunCommand({"-H", host, "-P", "x", "--format", "json", "show"}).out);
}

Json Healthy(const std::string& host = "enc1")
{
    return Shown(host, [](FakeEnclosure&) {});
}

class Diff : public testing::Test
{
protected:
    std::string Put(const std::string& name, const std::string& text)
    {
        const auto path = std::filesystem::path(folder_.Path()) / name;
        std::ofstream(path) << text;
        return path;
    }

    Ran Compare(const std::string& before, const std::string& after)
    {
        return RunCommand({"diff", Put("before", before), Put("after", after)});
    }
    Ran Compare(const Json& before, const Json& after)
    {
        return Compare(before.dump(2), after.dump());
    }

    static void Expect(const Ran& ran, ExitCode code, const std::string& lines)
    {
        EXPECT_EQ(ran.code, code);
        EXPECT_EQ(ran.out, lines);
        EXPECT_EQ(ran.error, "");
    }

    void ExpectTrouble(const Ran& ran, const std::string& reason)
    {
        EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
        EXPECT_EQ(ran.out, "");
        EXPECT_THAT(ran.error, HasSubstr(reason));
    }

private:
    TemporaryDirectory folder_;
};

TEST_F(Diff, OfADocumentWithItselfIsNothing)
{
    const std::string file = Put("both", Healthy().dump());
    FakeEnclosure::Current().asked.reset();
    Expect(RunCommand({"diff", file, file}), ExitCode::kEverythingRead, "");
    EXPECT_FALSE(FakeEnclosure::Current().asked);
}

TEST_F(Diff, NamesHostObjectAndFieldWithOldAndNewValue)
{
    const Json after = Shown("enc1", [](FakeEnclosure& fake) {
        fake.record.identity.serialNumber = std::string("J30-\xe4");
        fake.record.consumption =
            Consumption{std::uint16_t{300}, std::uint16_t{410}, Reading<std::uint16_t>::Absent()};
        fake.record.powerSupplies[1].powerGood = false;
        NodeState off = *fake.record.nodes[2].state.Get();
        off.powerState = PowerState::kOff;
        fake.record.nodes[2].state = off;
    });
    Expect(Compare(Healthy(), after), ExitCode::kSomeQueriesFailed,
           "enc1 identity.serialNumber: \"J30ABC12\" -> \"J30-\\u00e4\"\n"
           "enc1 power.consumption.average: 400 -> 410\n"
           "enc1 power.consumption.maximum: 500 -> absent\n"
           "enc1 PSU2 powerGood: true -> false\n"
           "enc1 Node 3 powerState: \"on\" -> \"off\"\n");
}

TEST_F(Diff, TellsTheCodeOfAStateOnlyWhereTheWordIsTheSame)
{
    const auto node = [](const char* state, int code) {
        Json json = Healthy();
        json["nodes"][0]["powerState"] = state;
        json["nodes"][0]["code"] = code;
        return json;
    };
    Expect(Compare(node("on", 3), node("off", 0)), ExitCode::kSomeQueriesFailed,
           "enc1 Node 1 powerState: \"on\" -> \"off\"\n");
    Expect(Compare(node("unknown", 8), node("unknown", 9)), ExitCode::kSomeQueriesFailed,
           "enc1 Node 1 code: 8 -> 9\n");
}

TEST_F(Diff, TellsOfHostsInTheirOrder)
{
    std::string before;
    std::string after;
    for (const char* const host : {"enc10", "enc9", "enc1", "enc2"}) {
        Json json = Healthy(host);
        before += json.dump() + "\n";
        json["identity"]["name"] = "moved";
        after.insert(0, json.dump() + "\n");
    }
    const std::string moved = " identity.name: \"Chassis A\" -> \"moved\"\n";
    Expect(Compare(before, after), ExitCode::kSomeQueriesFailed,
           "enc1" + moved + "enc2" + moved + "enc9" + moved + "enc10" + moved);
}

TEST_F(Diff, TellsAPulledSupplyInOneLine)
{
    const Json after = Shown("enc1", [](FakeEnclosure& fake) {
        PowerSupply& supply = fake.record.powerSupplies[1];
        supply.present = false;
        supply.powerGood = supply.powerOffWarning = supply.throttling = Reading<bool>::Absent();
        supply.fans = Reading<SupplyFans>::Absent();
    });
    Expect(Compare(Healthy(), after), ExitCode::kSomeQueriesFailed,
           "enc1 PSU2 present: true -> false\n");
}

TEST_F(Diff, DoesNotCompareWhatWasNotRead)
{
    const Json partly = Shown("enc1", [](FakeEnclosure& fake) {
        const Unread silence(Cause::kTimedOut, "no answer");
        fake.record.consumption = silence;
        fake.record.powerSupplies[0].fans = silence;
        fake.record.identity.name = silence;
    });
    const auto lines = [](const std::string& which) {
        return "enc1 name: not compared, not read in " + which +
               "\nenc1 consumption: not compared, not read in " + which +
               "\nenc1 PSU1 fans: not compared, not read in " + which + "\n";
    };
    Expect(Compare(Healthy(), partly), ExitCode::kEverythingRead, lines("the second"));
    Expect(Compare(partly, Healthy()), ExitCode::kEverythingRead, lines("the first"));
    Expect(Compare(partly, partly), ExitCode::kEverythingRead, lines("either"));
    const Json nothing = Shown("enc1", [](FakeEnclosure& fake) {
        fake.Refuse({Cause::kRefused, "the password is wrong", "", {}});
    });
    Expect(Compare(Healthy(), nothing), ExitCode::kEverythingRead,
           "enc1: not compared, not read in the second\n");
}

TEST_F(Diff, CountsValuesThatWereNotReadWhereTheyAreMany)
{
    const auto partly = [](const std::string& host) {
        return Shown(host, [](FakeEnclosure& fake) {
            const Unread silence(Cause::kTimedOut, "no answer");
            fake.record.consumption = silence;
            fake.record.powerSupplies[0].fans = silence;
            fake.record.powerSupplies[1].fans = silence;
            fake.record.identity.name = silence;
        });
    };
    Json other = partly("enc1");
    other["identity"]["serialNumber"] = "J30ABC13";
    Expect(Compare(Json{Healthy("enc1"), Healthy("enc2"), Healthy("enc3")},
                   Json{other, partly("enc2"), partly("enc3")}),
           ExitCode::kSomeQueriesFailed,
           "enc1 identity.serialNumber: \"J30ABC12\" -> \"J30ABC13\"\n"
           "enc[1-3]: 4 values not compared, not read in the second\n");
}

TEST_F(Diff, FoldsHostsOfWhichTheSameIsToldOfTheWhole)
{
    const auto unread = [](const std::string& host) {
        return Shown(host,
                     [](FakeEnclosure& fake) {
                         fake.Refuse({Cause::kTimedOut, "no answer", "", {}});
                     })
                   .dump() +
               "\n";
    };
    const auto read = [](const std::string& host) { return Healthy(host).dump() + "\n"; };
    const std::string before = unread("enc1") + unread("enc2") + read("enc3") + unread("enc4") +
                               unread("enc5") + read("enc6") + read("enc7");
    Json moved = Healthy("enc3");
    moved["identity"]["name"] = "moved";
    const std::string after = unread("enc1") + unread("enc2") + moved.dump() + "\n" +
                              unread("enc4") + read("enc5") + unread("enc6") + read("enc10") +
                              read("enc12");
    Expect(Compare(before, after), ExitCode::kSomeQueriesFailed,
           "enc[1-2]: not compared, not read in either\n"
           "enc3 identity.name: \"Chassis A\" -> \"moved\"\n"
           "enc4: not compared, not read in either\n"
           "enc5: not compared, not read in the first\n"
           "enc6: not compared, not read in the second\n"
           "enc7: only in the first\n"
           "enc[10,12]: only in the second\n");
}

TEST_F(Diff, TakesObjectsArraysAndLinesAndMatchesThemByHost)
{
    const Json one = Healthy("enc1");
    const Json two = Healthy("enc2");
    const Json changed = Shown(
        "enc2", [](FakeEnclosure& fake) { fake.record.identity.name = std::string("moved"); });
    const std::string lines = two.dump() + "\n" + one.dump() + "\n";
    const std::string line = "enc2 identity.name: \"Chassis A\" -> \"moved\"\n";
    Expect(Compare(lines, Json({one, changed}).dump(2)), ExitCode::kSomeQueriesFailed, line);
    Expect(Compare(Json({one, two}).dump(), lines), ExitCode::kEverythingRead, "");
    Expect(Compare(one.dump(), lines), ExitCode::kSomeQueriesFailed, "enc2: only in the second\n");
    Expect(Compare(lines, one.dump(2)), ExitCode::kSomeQueriesFailed, "enc2: only in the first\n");
}

TEST_F(Diff, MatchesSuppliesAndNodesByNumber)
{
    Json shuffled = Healthy();
    std::swap(shuffled["powerSupplies"][0], shuffled["powerSupplies"][1]);
    Expect(Compare(Healthy(), shuffled), ExitCode::kEverythingRead, "");
    Json fewer = Healthy();
    fewer["nodes"].erase(1);
    Expect(Compare(Healthy(), fewer), ExitCode::kSomeQueriesFailed,
           "enc1 Node 2: only in the first\n");
}

TEST_F(Diff, PassesOverWhatACommandDoesNotAskFor)
{
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    const Json power =
        Json::parse(RunCommand({"-H", "enc1", "-P", "x", "--format", "json", "power"}).out);
    Expect(Compare(Healthy(), power), ExitCode::kEverythingRead, "");
}

TEST_F(Diff, HasTroubleWithOtherSchemaVersions)
{
    Json older = Healthy();
    older["schemaVersion"] = 1;
    ExpectTrouble(Compare(older, Healthy()),
                  "before, line 1, column 1: its \"schemaVersion\" is 1");
    ExpectTrouble(Compare(Healthy(), older), "after, line 1, column 1: its \"schemaVersion\" is 1");
    ExpectTrouble(Compare(older, older), "knows 2");
}

TEST_F(Diff, HasTroubleWithWhatIsNoReading)
{
    const std::string good = Healthy().dump();
    ExpectTrouble(Compare(good.substr(0, good.size() / 2), good), "this is no JSON");
    ExpectTrouble(Compare(good, "{\"a\": 1}"), "after, line 1");
    ExpectTrouble(Compare(good, ""), "holds no enclosure");
    ExpectTrouble(RunCommand({"diff", Put("a", good), "/no/such/file"}),
                  "/no/such/file cannot be read: No such file or directory");
    ExpectTrouble(RunCommand({"diff", Put("a", good)}), "diff needs two readings, A and B");
    ExpectTrouble(RunCommand({"diff"}), "diff needs two readings, A and B");
    ExpectTrouble(RunCommand({"diff", "-", "-"}), "only one of both can be standard input");
}

TEST_F(Diff, SurvivesReadingsThatLie)
{
    const std::string shapes[] = {"null", "[]", "{}", "\"x\"", "-1", "[{\"number\":\"1\"}]", "[1]"};
    for (const char* const member :
         {"notRead", "powerSupplies", "nodes", "power", "module", "error", "identity"}) {
        for (const std::string& shape : shapes) {
            Json lying = Healthy();
            lying[member] = Json::parse(shape);
            const Ran ran = Compare(lying, Healthy());
            EXPECT_LE(static_cast<int>(ran.code), 2) << member << ": " << shape;
        }
    }
}

}  // namespace
}  // namespace Tulvo::Test
