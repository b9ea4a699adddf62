// SPDX-License-Identifier: Apache-2.0
// The JSON that programs read, to the letter.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/vktinventory_command/fake_module.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using nlohmann::ordered_json;
using testing::HasSubstr;

class Json : public testing::Test
{
protected:
    Json() { Module() = FakeModule::Healthy(); }

    static FakeModule& Module() { return FakeModule::Current(); }

    static ordered_json Queries(std::vector<std::string> words = {})
    {
        words.insert(words.begin(), {"--format", "json"});
        return ordered_json::parse(RunConnected(words).out).at("queries");
    }
};

TEST_F(Json, ShowsAHealthyEnclosure)
{
    Module().fans.pop_back();
    Module().firmware.output.pop_back();
    Module().supplies.output.pop_back();
    Module().nodes.resize(1);
    EXPECT_EQ(RunConnected({"--format", "json"}).out, R"({
  "schemaVersion": 1,
  "command": "show",
  "module": {
    "interface": "lanplus",
    "address": "10.0.0.5",
    "port": 623
  },
  "moduleStatusRead": true,
  "queries": {
    "machineType": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": "7X58"
    },
    "serialNumber": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": "J30ABC12"
    },
    "firmwareVersion": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": "ABC123-1.0a"
    },
    "name": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": "Chassis A"
    },
    "moduleStatus": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": {
        "platformId": 254,
        "psuCount": 2,
        "nodeCount": 1,
        "defaultsAssumed": false
      }
    },
    "chassisPowerConsumption": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": {
        "min": 300,
        "avg": 400,
        "max": 500
      }
    },
    "chassisPowerCap": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": {
        "min": null,
        "max": 1200,
        "protectiveCap": null,
        "userCap": 1000,
        "thermalCap": 65535
      }
    },
    "psuStatus": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": [
        {
          "psu": "PSU1",
          "present": "present",
          "pwrGood": "power good",
          "epow": "not trigger",
          "throttle": "not trigger",
          "reported": true
        }
      ]
    },
    "psuFanSpeed": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": [
        {
          "psu": "PSU1",
          "status": "Normal",
          "speedA": 10000,
          "patA": 5,
          "speedB": null,
          "patB": null
        }
      ]
    },
    "psuFirmware": {
      "result": "VKT_INVENTORY_SUCCESS",
      "data": [
        {
          "psu": "PSU1",
          "slot": 1,
          "name": "Power Supply 1",
          "version": "1.03",
          "manufacturer": "PSUACME10a"
        }
      ]
    },
    "nodeStatus": [
      {
        "node": 1,
        "result": "VKT_INVENTORY_SUCCESS",
        "data": {
          "powerState": "Power ON",
          "width": "Half",
          "height": 1,
          "permissionState": 2
        }
      }
    ],
    "nodePowerConsumption": [
      {
        "node": 1,
        "result": "VKT_INVENTORY_SUCCESS",
        "data": {
          "min": 90,
          "avg": 120,
          "max": 180
        }
      }
    ]
  }
}
)");
}

TEST_F(Json, CarriesTheResultOfEachQueryByName)
{
    Module().machineType.result = VKT_INVENTORY_NO_DATA;
    Module().serialNumber.result = VKT_INVENTORY_FAILED;
    Module().firmwareVersion.result = VKT_INVENTORY_CONNECT_FAILED;
    Module().name.result = VKT_INVENTORY_TRANSPORT_ERROR;
    const ordered_json queries = Queries({"identity"});
    EXPECT_EQ(queries["machineType"]["result"], "VKT_INVENTORY_NO_DATA");
    EXPECT_EQ(queries["serialNumber"]["result"], "VKT_INVENTORY_FAILED");
    EXPECT_EQ(queries["firmwareVersion"]["result"], "VKT_INVENTORY_CONNECT_FAILED");
    EXPECT_EQ(queries["name"]["result"], "VKT_INVENTORY_TRANSPORT_ERROR");
    for (const ordered_json& query : queries) {
        EXPECT_TRUE(query.at("data").is_null());
    }
}

TEST_F(Json, TellsNothingReadFromNothingThere)
{
    Module().fans.clear();
    Module().supplies.result = VKT_INVENTORY_FAILED;
    const ordered_json queries = Queries({"psu"});
    EXPECT_EQ(queries["psuFanSpeed"]["data"], ordered_json::array());
    EXPECT_TRUE(queries["psuStatus"]["data"].is_null());
}

TEST_F(Json, KeepsTheFansThatWereReadBeforeAFailure)
{
    Module().fans.pop_back();
    Module().fansResult = VKT_INVENTORY_CONNECT_FAILED;
    const ordered_json fans = Queries({"psu"})["psuFanSpeed"];
    EXPECT_EQ(fans["result"], "VKT_INVENTORY_CONNECT_FAILED");
    EXPECT_EQ(fans["data"].size(), 1U);
}

TEST_F(Json, WritesEveryByteAsTheCharacterOfItsNumber)
{
    Module().firmware.output[0].manufacturer = std::string("PSU\0\x1b\x7f\xff\xc3\xa4", 9);
    const std::string text = RunConnected({"--format", "json", "psu"}).out;
    EXPECT_THAT(text, HasSubstr(R"("PSU\u0000\u001b\u007f\u00ff\u00c3\u00a4")"));
    EXPECT_TRUE(ordered_json::accept(text));
}

TEST_F(Json, TakesATextThatLooksAbsentForAText)
{
    Module().name.output = "N/A";
    Module().serialNumber.output.clear();
    const ordered_json queries = Queries({"identity"});
    EXPECT_EQ(queries["name"]["data"], "N/A");
    EXPECT_EQ(queries["serialNumber"]["data"], "");
}

TEST_F(Json, KeepsAWidthCodeApartFromAnAbsentWidth)
{
    Module().nodes[0].status.output.width = "3";
    Module().nodes[1].status.output.width = "N/A";
    Module().nodes[1].status.output.height = "N/A";
    const ordered_json nodes = Queries({"nodes"})["nodeStatus"];
    EXPECT_EQ(nodes[0]["data"]["width"], "3");
    EXPECT_TRUE(nodes[1]["data"]["width"].is_null());
    EXPECT_TRUE(nodes[1]["data"]["height"].is_null());
}

TEST_F(Json, SaysWhenTheModuleStatusWasNotRead)
{
    Module().nodes.clear();
    const auto document = ordered_json::parse(RunConnected({"--format", "json", "nodes"}).out);
    EXPECT_EQ(document["moduleStatusRead"], false);
    EXPECT_EQ(document["queries"]["nodeStatus"], ordered_json::array());
}

TEST_F(Json, SaysWhenTheModuleAnsweredTooShortToTell)
{
    Module().moduleStatus.reset();
    EXPECT_EQ(Queries({"status"})["moduleStatus"]["data"],
              ordered_json::parse(R"({"platformId": 254, "psuCount": 2, "nodeCount": 4,
                                      "defaultsAssumed": true})"));
}

TEST_F(Json, ReportsASelection)
{
    Module().selectResult = VKT_INVENTORY_NO_DATA;
    EXPECT_EQ(Queries({"select-psu", "2"}).dump(),
              R"({"psuSelection":{"number":2,"result":"VKT_INVENTORY_NO_DATA"}})");
}

TEST_F(Json, IsTheSameWithLogging)
{
    const std::string quiet = RunConnected({"--format", "json"}).out;
    EXPECT_EQ(RunConnected({"--format", "json", "-v"}).out, quiet);
    EXPECT_EQ(RunConnected({"--format", "json", "-vv"}).out, quiet);
}

}  // namespace
}  // namespace Tulvo::Test
