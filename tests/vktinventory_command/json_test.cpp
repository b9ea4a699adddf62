// SPDX-License-Identifier: Apache-2.0
// The JSON that programs read, to the letter. That it keeps to its schema is in schema_test.py.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using nlohmann::ordered_json;
using testing::HasSubstr;

class Json : public testing::Test
{
protected:
    Json() { FakeEnclosure::Current() = FakeEnclosure::Healthy(); }

    static Enclosures::Enclosure& Record() { return FakeEnclosure::Current().record; }

    static ordered_json Document(std::vector<std::string> words = {})
    {
        words.insert(words.begin(), {"--format", "json"});
        return ordered_json::parse(RunConnected(words).out);
    }
};

TEST_F(Json, ShowsAHealthyEnclosure)
{
    Record().powerSupplies.pop_back();
    Record().nodes.resize(1);
    EXPECT_EQ(RunConnected({"--format", "json"}).out, R"({
  "schemaVersion": 2,
  "time": "2026-11-21T19:07:03Z",
  "host": "10.0.0.5",
  "group": null,
  "labels": {},
  "module": {
    "interface": "lanplus",
    "address": "10.0.0.5",
    "port": 623,
    "cipherSuite": 17,
    "generation": "first",
    "platformId": 254,
    "powerSupplyCount": 2,
    "nodeCount": 4
  },
  "complete": true,
  "error": null,
  "health": {
    "status": "ok",
    "findings": []
  },
  "notRead": [],
  "identity": {
    "machineType": "7X58",
    "serialNumber": "J30ABC12",
    "firmwareVersion": "ABC123-1.0a",
    "name": "Chassis A"
  },
  "power": {
    "consumption": {
      "minimum": 300,
      "average": 400,
      "maximum": 500
    },
    "caps": {
      "lowest": null,
      "highest": 1200,
      "protective": null,
      "user": 1000,
      "thermal": 65535
    }
  },
  "powerSupplies": [
    {
      "number": 1,
      "present": true,
      "powerGood": true,
      "powerOffWarning": false,
      "throttling": false,
      "fans": {
        "state": "normal",
        "code": 2,
        "a": {
          "speed": 10000,
          "pattern": 5
        },
        "b": {
          "speed": null,
          "pattern": null
        }
      },
      "firmware": {
        "name": "Power Supply 1",
        "version": "1.03",
        "manufacturer": "ACME",
        "position": "10a"
      }
    }
  ],
  "nodes": [
    {
      "number": 1,
      "powerState": "on",
      "code": 3,
      "width": "half",
      "widthCode": 1,
      "height": 1,
      "permission": 2,
      "power": {
        "minimum": 90,
        "average": 120,
        "maximum": 180
      }
    }
  ]
}
)");
}

TEST_F(Json, NamesWhatIsWrong)
{
    Record().powerSupplies[1].powerGood = false;
    EXPECT_EQ(Document()["health"], ordered_json::parse(R"({
      "status": "critical",
      "findings": [{"severity": "critical", "object": "PSU2", "powerSupply": 2, "node": null,
                    "field": "powerGood", "message": "has no good power"}]})"));
}

TEST_F(Json, NamesWhatWasNotReadAndHasItsMembersAllTheSame)
{
    Record().nodes[2].power = Unread(Cause::kTimedOut, "no answer");
    const ordered_json document = Document();
    EXPECT_EQ(document["complete"], false);
    EXPECT_EQ(document["notRead"], ordered_json::parse(R"([
      {"object": "Node 3", "powerSupply": null, "node": 3, "field": "power", "cause": "timedOut",
       "message": "no answer"}])"));
    EXPECT_EQ(document["nodes"][2]["power"],
              ordered_json::parse(R"({"minimum": null, "average": null, "maximum": null})"));
    EXPECT_EQ(document["nodes"][2]["powerState"], "on");
    EXPECT_EQ(document["health"]["status"], "unknown");
}

TEST_F(Json, HasAllPartsWhenNothingWasRead)
{
    FakeEnclosure::Current().Refuse({Cause::kRefused, "the password is wrong", "", {}});
    const ordered_json document = Document();
    EXPECT_EQ(document["error"],
              ordered_json::parse(R"({"cause": "refused", "message": "the password is wrong"})"));
    EXPECT_EQ(document["complete"], false);
    EXPECT_EQ(document["module"]["address"], "10.0.0.5");
    EXPECT_TRUE(document["module"]["platformId"].is_null());
    EXPECT_TRUE(document["power"]["caps"]["user"].is_null());
    EXPECT_EQ(document["powerSupplies"], ordered_json::array());
    EXPECT_EQ(document["nodes"], ordered_json::array());
}

struct PartsCase
{
    std::vector<std::string> words;
    std::vector<std::string> parts;
};

TEST_F(Json, LeavesOutThePartsThatACommandDoesNotRead)
{
    const std::vector<PartsCase> cases = {
        {{"show"}, {"identity", "power", "powerSupplies", "nodes"}},
        {{"health"}, {}},
        {{"identity"}, {"identity"}},
        {{"power"}, {"power"}},
        {{"psu"}, {"powerSupplies"}},
        {{"nodes"}, {"nodes"}},
        {{"node", "2"}, {"nodes"}},
        {{"status"}, {}},
        {{"select-psu", "1"}, {"selection"}},
    };
    for (const PartsCase& tested : cases) {
        std::vector<std::string> parts;
        const ordered_json document = Document(tested.words);
        for (const auto& [key, value] : document.items()) {
            parts.push_back(key);
        }
        ASSERT_GE(parts.size(), 10U);
        parts.erase(parts.begin(), parts.begin() + 10);
        EXPECT_EQ(parts, tested.parts) << tested.words[0];
    }
}

TEST_F(Json, GivesTheOneNode)
{
    const ordered_json nodes = Document({"node", "2"})["nodes"];
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0]["number"], 2);
}

TEST_F(Json, WritesEveryByteAsTheCharacterOfItsNumber)
{
    Record().powerSupplies[0].manufacturer = std::string("\0\x1b\x7f\xff\xc3\xa4", 6);
    const std::string text = RunConnected({"--format", "json", "psu"}).out;
    EXPECT_THAT(text, HasSubstr(R"("\u0000\u001b\u007f\u00ff\u00c3\u00a4")"));
    EXPECT_TRUE(ordered_json::accept(text));
}

TEST_F(Json, TakesATextThatLooksAbsentForAText)
{
    Record().identity.name = std::string("N/A");
    Record().identity.serialNumber = std::string();
    const ordered_json identity = Document({"identity"})["identity"];
    EXPECT_EQ(identity["name"], "N/A");
    EXPECT_EQ(identity["serialNumber"], "");
}

TEST_F(Json, KeepsAnUnknownCodeApartFromAnAbsentValue)
{
    NodeState state = *Record().nodes[0].state.Get();
    state.powerState = PowerState::kUnknown;
    state.code = 9;
    state.width = NodeWidth::kUnknown;
    state.widthCode = 3;
    Record().nodes[0].state = state;
    state.width = Reading<NodeWidth>::Absent();
    state.widthCode = 255;
    state.height = Reading<std::uint8_t>::Absent();
    Record().nodes[1].state = state;
    const ordered_json nodes = Document({"nodes"})["nodes"];
    EXPECT_EQ(nodes[0]["powerState"], "unknown");
    EXPECT_EQ(nodes[0]["code"], 9);
    EXPECT_EQ(nodes[0]["width"], "unknown");
    EXPECT_EQ(nodes[0]["widthCode"], 3);
    EXPECT_TRUE(nodes[1]["width"].is_null());
    EXPECT_TRUE(nodes[1]["height"].is_null());
}

TEST_F(Json, ReportsASelection)
{
    const ordered_json accepted = Document({"select-psu", "2"});
    EXPECT_EQ(accepted["selection"].dump(), R"({"powerSupply":2,"accepted":true})");
    EXPECT_EQ(accepted["complete"], true);
    FakeEnclosure::Current().selectionFailure = Failure{Cause::kTimedOut, "no answer", "", {}};
    const ordered_json refused = Document({"select-psu", "2"});
    EXPECT_EQ(refused["selection"].dump(), R"({"powerSupply":2,"accepted":false})");
    EXPECT_EQ(refused["error"]["cause"], "timedOut");
}

TEST_F(Json, IsTheSameWithLogging)
{
    const std::string quiet = RunConnected({"--format", "json"}).out;
    EXPECT_EQ(RunConnected({"--format", "json", "-v"}).out, quiet);
    EXPECT_EQ(RunConnected({"--format", "json", "-vv"}).out, quiet);
}

}  // namespace
}  // namespace Tulvo::Test
