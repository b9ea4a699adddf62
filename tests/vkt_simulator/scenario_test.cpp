// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tests/support/temporary_directory.h"

namespace Tulvo::Simulator {
namespace {

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

json ShippedScenario(const std::string& name)
{
    std::ifstream file(std::string(SCENARIO_FOLDER) + '/' + name + ".json");
    return json::parse(file);
}

json Power(int minimum, int average, int maximum)
{
    return {{"minimum", minimum}, {"average", average}, {"maximum", maximum}};
}

// Written member by member here, so that reading it back proves which member goes where.
json Vkt2Scenario()
{
    const json node = {{"powerState", "on"},
                       {"width", 1},
                       {"height", 2},
                       {"permission", 3},
                       {"power", Power(4, 5, 6)}};
    const json supply = {{"present", true},
                         {"powerGood", true},
                         {"earlyPowerWarning", false},
                         {"throttle", true},
                         {"fanStatus", "abnormal"},
                         {"fans", {{{"speed", 1}, {"pattern", 2}}, {{"speed", 3}, {"pattern", 4}}}},
                         {"firmware", {{"major", 5}, {"minor", 6}}},
                         {"manufacturer", "ACME"},
                         {"position", 7}};
    return {
        {"description", "A test"},
        {"credentials", {{"user", "admin"}, {"password", "secret"}, {"privilege", "operator"}}},
        {"module",
         {{"generation", "vkt2"},
          {"platformId", "0xFE"},
          {"generationCode", 3},
          {"machineType", "7X2Z"},
          {"serialNumber", "J30"},
          {"name", "Chassis"},
          {"firmware", {{"build", "ABC123"}, {"major", 1}, {"minor", 10}}}}},
        {"chassis",
         {{"power", Power(10, 11, 12)},
          {"powerCap",
           {{"minimum", 20}, {"maximum", 21}, {"protective", 22}, {"user", 23}, {"thermal", 24}}}}},
        {"nodes", {node, node, node, node}},
        {"supplies", {supply, supply}}};
}

std::string MessageOf(const std::string& text)
{
    try {
        ParseScenario(text, "file.json");
        return "no failure";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

// The scenario above with the value at a JSON pointer replaced.
std::string MessageWith(const std::string& pointer, const json& value)
{
    json scenario = Vkt2Scenario();
    scenario[json::json_pointer(pointer)] = value;
    return MessageOf(scenario.dump());
}

std::string MessageWithout(const std::string& parent, const std::string& name)
{
    json scenario = Vkt2Scenario();
    scenario[json::json_pointer(parent)].erase(name);
    return MessageOf(scenario.dump());
}

TEST(Scenario, PutsEveryMemberInItsPlace)
{
    const Scenario scenario = ParseScenario(Vkt2Scenario().dump(), "file.json");
    EXPECT_EQ(scenario.description, "A test");
    EXPECT_EQ(scenario.credentials.user, "admin");
    EXPECT_EQ(scenario.credentials.password, "secret");
    EXPECT_EQ(scenario.credentials.privilege, 3);
    EXPECT_EQ(scenario.sessions, 63U);
    EXPECT_TRUE(scenario.faults.empty());
    const EnclosureState& state = scenario.enclosure;
    EXPECT_EQ(state.generation, Generation::kVkt2);
    EXPECT_EQ(state.platformId, 0xFE);
    EXPECT_EQ(state.generationCode, 3);
    EXPECT_EQ(state.machineType, "7X2Z");
    EXPECT_EQ(state.serialNumber, "J30");
    EXPECT_EQ(state.name, "Chassis");
    EXPECT_EQ(state.firmware.build, "ABC123");
    EXPECT_EQ(state.firmware.major, 1);
    EXPECT_EQ(state.firmware.minor, 10);
    EXPECT_EQ(state.power.minimum, 10);
    EXPECT_EQ(state.power.average, 11);
    EXPECT_EQ(state.power.maximum, 12);
    EXPECT_EQ(state.caps.minimum, 20);
    EXPECT_EQ(state.caps.maximum, 21);
    EXPECT_EQ(state.caps.protective, 22);
    EXPECT_EQ(state.caps.user, 23);
    EXPECT_EQ(state.caps.thermal, 24);
}

TEST(Scenario, PutsEveryMemberOfANodeInItsPlace)
{
    const Scenario scenario = ParseScenario(Vkt2Scenario().dump(), "file.json");
    ASSERT_EQ(scenario.enclosure.nodes.size(), 4U);
    const Node& node = scenario.enclosure.nodes[3];
    EXPECT_EQ(node.powerState, 0x80);
    EXPECT_EQ(node.width, 1);
    EXPECT_EQ(node.height, 2);
    EXPECT_EQ(node.permission, 3);
    EXPECT_EQ(node.power.minimum, 4);
    EXPECT_EQ(node.power.average, 5);
    EXPECT_EQ(node.power.maximum, 6);
}

TEST(Scenario, PutsEveryMemberOfASupplyInItsPlace)
{
    const Scenario scenario = ParseScenario(Vkt2Scenario().dump(), "file.json");
    ASSERT_EQ(scenario.enclosure.supplies.size(), 2U);
    const PowerSupply& supply = scenario.enclosure.supplies[1];
    EXPECT_TRUE(supply.present);
    EXPECT_TRUE(supply.powerGood);
    EXPECT_FALSE(supply.earlyPowerWarning);
    EXPECT_TRUE(supply.throttle);
    EXPECT_EQ(supply.fanStatus, 1);
    EXPECT_EQ(supply.fans[0].speed, 1);
    EXPECT_EQ(supply.fans[0].pattern, 2);
    EXPECT_EQ(supply.fans[1].speed, 3);
    EXPECT_EQ(supply.fans[1].pattern, 4);
    EXPECT_EQ(supply.firmwareMajor, 5);
    EXPECT_EQ(supply.firmwareMinor, 6);
    EXPECT_EQ(supply.manufacturer, "ACME");
    EXPECT_EQ(supply.position, 7);
}

TEST(Scenario, ReadsFaults)
{
    json document = Vkt2Scenario();
    document["sessions"] = 4;
    document["crashAtRequest"] = 17;
    document["faults"] = json::parse(R"([
        {"netFn": 50, "command": 176, "data": "050B", "kind": "latency", "milliseconds": 40},
        {"netFn": 50, "command": 168, "kind": "drop", "times": 2, "after": 3},
        {"netFn": 50, "command": 168, "kind": "truncate", "keep": 5},
        {"netFn": 6, "command": 82, "kind": "completionCode", "completionCode": 193,
         "keepData": true},
        {"kind": "loginLatency", "milliseconds": 50, "after": 6}])");
    const Scenario scenario = ParseScenario(document.dump(), "file.json");
    EXPECT_EQ(scenario.sessions, 4U);
    EXPECT_EQ(scenario.crashAtRequest, 17U);
    ASSERT_EQ(scenario.faults.size(), 5U);
    EXPECT_EQ(scenario.faults[0].netFn, 0x32);
    EXPECT_EQ(scenario.faults[0].command, 0xB0);
    EXPECT_EQ(scenario.faults[0].dataPrefix, (std::vector<std::uint8_t>{0x05, 0x0B}));
    EXPECT_EQ(scenario.faults[0].kind, FaultKind::kLatency);
    EXPECT_EQ(scenario.faults[0].latency, std::chrono::milliseconds(40));
    EXPECT_EQ(scenario.faults[0].schedule.times, std::nullopt);
    EXPECT_EQ(scenario.faults[1].kind, FaultKind::kDrop);
    EXPECT_EQ(scenario.faults[0].schedule.after, 0U);
    EXPECT_EQ(scenario.faults[1].schedule.times, 2U);
    EXPECT_EQ(scenario.faults[1].schedule.after, 3U);
    EXPECT_EQ(scenario.faults[2].kind, FaultKind::kTruncate);
    EXPECT_EQ(scenario.faults[2].keptBytes, 5U);
    EXPECT_EQ(scenario.faults[3].kind, FaultKind::kCompletionCode);
    EXPECT_EQ(scenario.faults[3].completionCode, 0xC1);
    EXPECT_TRUE(scenario.faults[3].keepData);
    EXPECT_EQ(scenario.faults[4].kind, FaultKind::kLoginLatency);
    EXPECT_EQ(scenario.faults[4].latency, std::chrono::milliseconds(50));
    EXPECT_EQ(scenario.faults[4].schedule.after, 6U);
}

TEST(Scenario, ReadsWhatIsWrongWithHttps)
{
    json document = Vkt2Scenario();
    const HttpsBehaviour none = ParseScenario(document.dump(), "file.json").https;
    EXPECT_FALSE(none.expiredCertificate);
    EXPECT_EQ(none.sessionLifetime, std::nullopt);
    EXPECT_TRUE(none.faults.empty());
    document["https"] = json::parse(R"({
        "expiredCertificate": true, "sessionLifetimeRequests": 5, "faults": [
            {"kind": "latency", "milliseconds": 40},
            {"kind": "status", "status": 503, "times": 2, "after": 4},
            {"kind": "garbage"}, {"kind": "close"}]})");
    const HttpsBehaviour https = ParseScenario(document.dump(), "file.json").https;
    EXPECT_TRUE(https.expiredCertificate);
    EXPECT_EQ(https.sessionLifetime, 5U);
    ASSERT_EQ(https.faults.size(), 4U);
    EXPECT_EQ(https.faults[0].kind, HttpsFaultKind::kLatency);
    EXPECT_EQ(https.faults[0].latency, std::chrono::milliseconds(40));
    EXPECT_EQ(https.faults[0].schedule.times, std::nullopt);
    EXPECT_EQ(https.faults[1].kind, HttpsFaultKind::kStatus);
    EXPECT_EQ(https.faults[1].status, 503);
    EXPECT_EQ(https.faults[1].schedule.times, 2U);
    EXPECT_EQ(https.faults[1].schedule.after, 4U);
    EXPECT_EQ(https.faults[2].kind, HttpsFaultKind::kGarbage);
    EXPECT_EQ(https.faults[3].kind, HttpsFaultKind::kClose);
}

TEST(Scenario, NamesPlaceAndReasonOfABadHttpsMember)
{
    const struct
    {
        const char* https;
        const char* message;
    } cases[] = {
        {"[]", "/https: must be an object, not array"},
        {R"({"expiredCertificate": 1})", "/https/expiredCertificate: must be true or false"},
        {R"({"sessionLifetimeRequests": 0})", "/https/sessionLifetimeRequests: must be an integer"},
        {R"({"faults": {}})", "/https/faults: must be an array, not object"},
        {R"({"port": 443})", "/https/port: there is no such member"},
        {R"({"faults": [{"kind": "drop"}]})",
         R"(/https/faults/0/kind: "drop" is not one of "latency", "status", "garbage", "close")"},
        {R"({"faults": [{"kind": "status"}]})",
         "/https/faults/0: the member \"status\" is missing"},
        {R"({"faults": [{"kind": "status", "status": 399}]})",
         "/https/faults/0/status: must be an integer from 400 to 599, not 399"},
        {R"({"faults": [{"kind": "latency", "milliseconds": 60001}]})",
         "/https/faults/0/milliseconds: must be an integer from 0 to 60000, not 60001"},
        {R"({"faults": [{"kind": "close", "status": 500}]})",
         "/https/faults/0/status: there is no such member"},
        {R"({"faults": [{"kind": "close", "times": 0}]})", "/https/faults/0/times: must be"},
        {R"({"faults": [{"kind": "close", "after": 0}]})", "/https/faults/0/after: must be"},
    };
    for (const auto& bad : cases) {
        EXPECT_THAT(MessageWith("/https", json::parse(bad.https)),
                    StartsWith("file.json: " + std::string(bad.message)));
    }
}

TEST(Scenario, TranslatesWordsForStates)
{
    const struct
    {
        json word;
        std::uint8_t powerState;
    } states[] = {{"off", 0x00}, {"noPermission", 0x20}, {"fault", 0x40}, {"on", 0x80}, {16, 0x10}};
    for (const auto& state : states) {
        json scenario = Vkt2Scenario();
        scenario["nodes"][2]["powerState"] = state.word;
        EXPECT_EQ(ParseScenario(scenario.dump(), "").enclosure.nodes[2].powerState,
                  state.powerState)
            << state.word;
    }
}

TEST(Scenario, NamesFileAndPlaceAndReasonOfABadValue)
{
    const struct
    {
        const char* pointer;
        json value;
        const char* reason;
    } cases[] = {
        {"/nodes/3/width", 256, "must be an integer from 0 to 255, not 256"},
        {"/nodes/3/width", -1, "must be an integer from 0 to 255, not -1"},
        {"/nodes/3/width", 1.5, "must be an integer from 0 to 255, not 1.5"},
        {"/nodes/3/width", "1", "must be an integer from 0 to 255, not \"1\""},
        {"/nodes/3/width", nullptr, "must be an integer from 0 to 255, not null"},
        {"/nodes/0/powerState", "burning",
         "\"burning\" is not one of \"off\", \"noPermission\", \"fault\", \"on\""},
        {"/nodes/0/powerState", 256, "must be an integer from 0 to 255, not 256"},
        {"/nodes/0/power/average", 65536, "must be an integer from 0 to 65535, not 65536"},
        {"/nodes/1", 7, "must be an object, not number"},
        {"/nodes/1/colour", "red", "there is no such member"},
        {"/nodes", json::array(), "must have 4 elements, not 0: the platform decides"},
        {"/nodes", "none", "must be an array, not string"},
        {"/supplies/0/present", 1, "must be true or false"},
        {"/supplies/0/fanStatus", "off", "is not one of \"notPresent\", \"abnormal\", \"normal\""},
        {"/supplies/0/fans", json::array(), "must have 2 elements, not 0: a supply of a VKT2"},
        {"/supplies/0/manufacturer", "ACMEX", "must be 4 printable ASCII characters"},
        {"/supplies/0/position", 65536, "must be an integer from 0 to 65535"},
        {"/supplies", json::array({1}), "must have 2 elements, not 1: the platform and its"},
        {"/credentials/user", "sixteencharacter", "must be 1 to 15 printable ASCII characters"},
        {"/credentials/user", "two words", "must not contain blanks or double quotes"},
        {"/credentials/password", "12345678901234567890", "must be 1 to 19 printable"},
        {"/credentials/password", 12345, "must be a text, not number"},
        {"/credentials/privilege", "root", "is not one of \"user\", \"operator\", \"admin"},
        {"/module/generation", "third", "\"third\" is not one of \"first\", \"vkt2\""},
        {"/module/platformId", "0xFB", "\"0xFB\" is not one of \"0xFC\", \"0xFD\", \"0xFE\""},
        {"/module/platformId", 252, "must be a text, not number"},
        {"/module/generationCode", 32, "must be an integer from 0 to 31, not 32"},
        {"/module/firmware/build", "ABC1234", "must be 0 to 6 printable ASCII characters"},
        {"/module/name", "caf\xC3\xA9", "must be 0 to 32 printable ASCII characters"},
        {"/module/serialNumber", std::string(33, 'S'), "must be 0 to 32 printable ASCII"},
        {"/description", "", "must be 1 to 100 printable ASCII characters"},
        {"/sessions", 64, "must be an integer from 0 to 63, not 64"},
        {"/crashAtRequest", 0, "must be an integer from 1 to 1000000, not 0"},
        {"/tilde~0and~1slash", 1, "there is no such member"},
        {"/faults", 1, "must be an array, not number"},
    };
    for (const auto& bad : cases) {
        const std::string message = MessageWith(bad.pointer, bad.value);
        EXPECT_THAT(message, StartsWith("file.json: " + std::string(bad.pointer) + ": "));
        EXPECT_THAT(message, HasSubstr(bad.reason));
    }
}

TEST(Scenario, NamesPlaceAndReasonOfABadFault)
{
    const json good = {{"netFn", 50}, {"command", 176}, {"kind", "drop"}};
    const struct
    {
        json patch;
        const char* message;
    } cases[] = {
        {{{"netFn", 63}}, "/faults/0/netFn: must be an integer from 0 to 62, not 63"},
        {{{"command", 256}}, "/faults/0/command: must be an integer from 0 to 255, not 256"},
        {{{"data", "050"}}, "/faults/0/data: must be pairs of hexadecimal digits"},
        {{{"data", "0x05"}}, "/faults/0/data: must be pairs of hexadecimal digits"},
        {{{"kind", "explode"}}, "/faults/0/kind: \"explode\" is not one of \"latency\", \"drop\""},
        {{{"kind", "latency"}}, "/faults/0: the member \"milliseconds\" is missing"},
        {{{"kind", "truncate"}}, "/faults/0: the member \"keep\" is missing"},
        {{{"kind", "completionCode"}}, "/faults/0: the member \"completionCode\" is missing"},
        {{{"keep", 3}}, "/faults/0/keep: there is no such member"},
        {{{"times", 0}}, "/faults/0/times: must be an integer from 1 to 1000000, not 0"},
        {{{"after", 0}}, "/faults/0/after: must be an integer from 1 to 1000000, not 0"},
        {{{"kind", "loginLatency"}}, "/faults/0: the member \"milliseconds\" is missing"},
        {{{"kind", "loginLatency"}, {"milliseconds", 5}},
         "/faults/0/command: there is no such member"},
    };
    for (const auto& bad : cases) {
        json fault = good;
        fault.update(bad.patch);
        EXPECT_THAT(MessageWith("/faults", json::array({fault})), HasSubstr(bad.message));
    }
}

TEST(Scenario, NamesAMissingMember)
{
    const struct
    {
        const char* parent;
        const char* name;
        const char* message;
    } cases[] = {
        {"", "credentials", "file.json: the member \"credentials\" is missing"},
        {"/module", "name", "file.json: /module: the member \"name\" is missing"},
        {"/module", "platformId", "file.json: /module: the member \"platformId\" is missing"},
        {"/nodes/2", "power", "file.json: /nodes/2: the member \"power\" is missing"},
        {"/supplies/1/firmware", "minor",
         "file.json: /supplies/1/firmware: the member \"minor\" is missing"},
    };
    for (const auto& bad : cases) {
        EXPECT_EQ(MessageWithout(bad.parent, bad.name), bad.message);
    }
}

TEST(Scenario, NamesLineAndColumnOfWhatIsNoJson)
{
    EXPECT_THAT(MessageOf("{\n  \"description\": ,\n}"),
                HasSubstr("parse error at line 2, column"));
    EXPECT_THAT(MessageOf(""), HasSubstr("parse error at line 1, column 1"));
    EXPECT_THAT(MessageOf("{} {}"), HasSubstr("parse error at line 1, column 4"));
    EXPECT_EQ(MessageOf("[]"), "file.json: must be an object, not array");
}

TEST(Scenario, SaysWhatIsWrongInOneReadableLine)
{
    EXPECT_EQ(MessageWith("/a\033[31m\x7f\n\u00e9", 1),
              R"(file.json: /a\x1b[31m\x7f\x0a\xc3\xa9: there is no such member)");
    EXPECT_THAT(MessageOf("{\n  \x7f}"), Not(HasSubstr("\x7f")));
    EXPECT_EQ(MessageWith("/" + std::string(100000, 'a'), 1),
              "file.json: /" + std::string(299, 'a') + "...");
    EXPECT_THAT(MessageWith("/sessions", std::string(100000, 'a')), EndsWith("..."));
}

TEST(Scenario, RefusesAnyDepthOfNesting)
{
    constexpr std::size_t kDepth = 200000;
    const std::string document =
        R"({"sessions": )" + std::string(kDepth, '[') + std::string(kDepth, ']') + "}";
    EXPECT_THROW(ParseScenario(document, "file.json"), std::runtime_error);

    std::string text = Vkt2Scenario().dump();
    text.replace(text.rfind('}'), 1, "," + document.substr(1));
    EXPECT_EQ(MessageOf(text), "file.json: /sessions: must be an integer from 0 to 63, not array");
}

TEST(Scenario, RefusesTwoMembersOfOneName)
{
    EXPECT_EQ(MessageOf(R"({"a": {"x": 1}, "b": [{"x": 2}, {"x": 3, "y": {"x": 4}, "x": 5}]})"),
              "file.json: the member \"x\" is there twice");
    EXPECT_EQ(MessageOf(R"({"x": [{}], "x": 1})"), "file.json: the member \"x\" is there twice");
}

TEST(Scenario, RefusesVkt2MembersForAFirstGeneration)
{
    json scenario = ShippedScenario("healthy-first");
    scenario["module"]["platformId"] = "0xFE";
    EXPECT_THAT(MessageOf(scenario.dump()), HasSubstr("/module/platformId: there is no such"));
}

TEST(Scenario, RefusesAFirstGenerationThatLooksLikeAVkt2)
{
    for (const int major : {0xFC, 0xFD, 0xFE}) {
        json scenario = ShippedScenario("healthy-first");
        scenario["module"]["firmware"]["major"] = major;
        EXPECT_THAT(MessageOf(scenario.dump()), HasSubstr("/module/firmware/major: 252 to 254"));
    }
}

TEST(Scenario, LetsAFirstGenerationHaveALongerBuildNameAndOneFan)
{
    json scenario = ShippedScenario("healthy-first");
    scenario["module"]["firmware"]["build"] = "ABC1234";
    EXPECT_EQ(MessageOf(scenario.dump()), "no failure");
    scenario["module"]["firmware"]["build"] = "ABC12345";
    EXPECT_THAT(MessageOf(scenario.dump()), HasSubstr("must be 0 to 7 printable"));
    scenario = ShippedScenario("healthy-first");
    scenario["supplies"][0]["fans"] = json::array();
    EXPECT_THAT(MessageOf(scenario.dump()), HasSubstr("a supply of the first generation has one"));
}

TEST(Scenario, SaysThatAFileCannotBeRead)
{
    const TemporaryDirectory folder;
    for (const std::string& path : {(folder / "missing.json").string(), folder.Path().string()}) {
        try {
            ReadScenarioFile(path);
            ADD_FAILURE() << path;
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), StartsWith(path + ": cannot be read"));
        }
    }
}

TEST(Scenario, AllThatComeWithTheSimulatorAreGood)
{
    const std::vector<std::string> expected = {
        "busy",
        "dropped",
        "faulty-first",
        "faulty-vkt2",
        "healthy-first",
        "healthy-vkt2-fc-6",
        "healthy-vkt2-fc-9",
        "healthy-vkt2-fd-6",
        "healthy-vkt2-fd-9",
        "healthy-vkt2-fe-2",
        "https-closed",
        "https-error",
        "https-expired-certificate",
        "https-garbage",
        "https-short-sessions",
        "https-slow",
        "https-unauthorized",
        "https-unavailable",
        "no-status",
        "slow",
        "truncated",
        "wrong-completion-codes",
    };
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(SCENARIO_FOLDER)) {
        found.push_back(entry.path().stem().string());
        EXPECT_EQ(MessageOf(ReadScenarioFile(entry.path().string())), "no failure") << entry.path();
    }
    EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
}

}  // namespace
}  // namespace Tulvo::Simulator
