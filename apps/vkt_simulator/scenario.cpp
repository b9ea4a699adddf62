// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/scenario.h"

#include <fstream>
#include <stdexcept>
#include <string_view>

#include "apps/vkt_simulator/json_members.h"

namespace Tulvo::Simulator {

namespace {

template <typename Value>
using Words = std::vector<std::pair<std::string_view, Value>>;

std::uint8_t WordOrByte(const JsonValue& value, const Words<std::uint8_t>& words)
{
    return value.IsText() ? value.Word<std::uint8_t>(words) : value.NumberAs<std::uint8_t>();
}

// ipmi_sim's configuration has no way to write other words.
std::string ReadWord(const JsonValue& value, std::size_t longest)
{
    std::string word = value.Text(1, longest);
    if (word.find_first_of(" \"") != std::string::npos) {
        value.Fail("must not contain blanks or double quotes");
    }
    return word;
}

Credentials ReadCredentials(const JsonValue& value)
{
    static const Words<int> kPrivileges = {{"user", 2}, {"operator", 3}, {"administrator", 4}};
    JsonMembers members(value);
    Credentials credentials;
    credentials.user = ReadWord(members["user"], 15);
    credentials.password = ReadWord(members["password"], 19);
    credentials.privilege = members["privilege"].Word<int>(kPrivileges);
    members.RejectOthers();
    return credentials;
}

PowerReading ReadPower(const JsonValue& value)
{
    JsonMembers members(value);
    PowerReading power;
    power.minimum = members["minimum"].NumberAs<std::uint16_t>();
    power.average = members["average"].NumberAs<std::uint16_t>();
    power.maximum = members["maximum"].NumberAs<std::uint16_t>();
    members.RejectOthers();
    return power;
}

PowerCaps ReadCaps(const JsonValue& value)
{
    JsonMembers members(value);
    PowerCaps caps;
    caps.minimum = members["minimum"].NumberAs<std::uint16_t>();
    caps.maximum = members["maximum"].NumberAs<std::uint16_t>();
    caps.protective = members["protective"].NumberAs<std::uint16_t>();
    caps.user = members["user"].NumberAs<std::uint16_t>();
    caps.thermal = members["thermal"].NumberAs<std::uint16_t>();
    members.RejectOthers();
    return caps;
}

Firmware ReadFirmware(const JsonValue& value, Generation generation)
{
    JsonMembers members(value);
    Firmware firmware;
    firmware.build = members["build"].Text(0, MaxBuildLength(generation));
    const JsonValue major = members["major"];
    firmware.major = major.NumberAs<std::uint8_t>();
    firmware.minor = members["minor"].NumberAs<std::uint8_t>();
    members.RejectOthers();
    // The byte of a first generation's major version is where a VKT2 shows its type code.
    if (generation == Generation::kFirst && firmware.major >= 0xFC && firmware.major <= 0xFE) {
        major.Fail("252 to 254 would make this first-generation module a VKT2");
    }
    return firmware;
}

void ReadModule(const JsonValue& value, EnclosureState& state)
{
    static const Words<Generation> kGenerations = {{"first", Generation::kFirst},
                                                   {"vkt2", Generation::kVkt2}};
    static const Words<std::uint8_t> kPlatforms = {{"0xFC", 0xFC}, {"0xFD", 0xFD}, {"0xFE", 0xFE}};
    // Above this, the code would continue a printable text that stands before it.
    constexpr std::uint8_t kHighestGenerationCode = 31;
    JsonMembers members(value);
    state.generation = members["generation"].Word<Generation>(kGenerations);
    if (state.generation == Generation::kVkt2) {
        state.platformId = members["platformId"].Word<std::uint8_t>(kPlatforms);
        state.generationCode =
            static_cast<std::uint8_t>(members["generationCode"].Number(0, kHighestGenerationCode));
    }
    state.machineType = members["machineType"].Text(0, kMaxTextLength);
    state.serialNumber = members["serialNumber"].Text(0, kMaxTextLength);
    state.name = members["name"].Text(0, kMaxTextLength);
    state.firmware = ReadFirmware(members["firmware"], state.generation);
    members.RejectOthers();
}

void ReadChassis(const JsonValue& value, EnclosureState& state)
{
    JsonMembers members(value);
    state.power = ReadPower(members["power"]);
    state.caps = ReadCaps(members["powerCap"]);
    members.RejectOthers();
}

Node ReadNode(const JsonValue& value)
{
    static const Words<std::uint8_t> kPowerStates = {
        {"off", 0x00}, {"noPermission", 0x20}, {"fault", 0x40}, {"on", 0x80}};
    JsonMembers members(value);
    Node node;
    node.powerState = WordOrByte(members["powerState"], kPowerStates);
    node.width = members["width"].NumberAs<std::uint8_t>();
    node.height = members["height"].NumberAs<std::uint8_t>();
    node.permission = members["permission"].NumberAs<std::uint8_t>();
    node.power = ReadPower(members["power"]);
    members.RejectOthers();
    return node;
}

Fan ReadFan(const JsonValue& value)
{
    JsonMembers members(value);
    Fan fan;
    fan.speed = members["speed"].NumberAs<std::uint16_t>();
    fan.pattern = members["pattern"].NumberAs<std::uint8_t>();
    members.RejectOthers();
    return fan;
}

std::vector<JsonValue> Exactly(const JsonValue& value, std::size_t count, const char* why)
{
    std::vector<JsonValue> elements = value.Elements();
    if (elements.size() != count) {
        value.Fail("must have " + std::to_string(count) + " elements, not " +
                   std::to_string(elements.size()) + ": " + why);
    }
    return elements;
}

void ReadFans(const JsonValue& value, Generation generation, PowerSupply& supply)
{
    const bool isVkt2 = generation == Generation::kVkt2;
    const char* why =
        isVkt2 ? "a supply of a VKT2 has two fans" : "a supply of the first generation has one fan";
    std::size_t next = 0;
    for (const JsonValue& fan : Exactly(value, isVkt2 ? 2 : 1, why)) {
        supply.fans[next++] = ReadFan(fan);
    }
}

PowerSupply ReadSupply(const JsonValue& value, Generation generation)
{
    static const Words<std::uint8_t> kFanStates = {
        {"notPresent", 0}, {"abnormal", 1}, {"normal", 2}};
    JsonMembers members(value);
    PowerSupply supply;
    supply.present = members["present"].Boolean();
    supply.powerGood = members["powerGood"].Boolean();
    supply.earlyPowerWarning = members["earlyPowerWarning"].Boolean();
    supply.throttle = members["throttle"].Boolean();
    supply.fanStatus = WordOrByte(members["fanStatus"], kFanStates);
    ReadFans(members["fans"], generation, supply);
    JsonMembers firmware(members["firmware"]);
    supply.firmwareMajor = firmware["major"].NumberAs<std::uint8_t>();
    supply.firmwareMinor = firmware["minor"].NumberAs<std::uint8_t>();
    firmware.RejectOthers();
    supply.manufacturer = members["manufacturer"].Text(4, 4);
    supply.position = members["position"].NumberAs<std::uint16_t>();
    members.RejectOthers();
    return supply;
}

std::chrono::milliseconds ReadLatency(JsonMembers& members)
{
    constexpr std::uint32_t kLongestLatency = 60000;
    return std::chrono::milliseconds(members["milliseconds"].Number(0, kLongestLatency));
}

std::optional<std::uint32_t> ReadCount(JsonMembers& members, const char* name)
{
    constexpr std::uint32_t kHighestCount = 1000000;
    if (!members.Has(name)) {
        return std::nullopt;
    }
    return members[name].Number(1, kHighestCount);
}

void ReadFaultKind(JsonMembers& members, Fault& fault)
{
    static const Words<FaultKind> kKinds = {{"latency", FaultKind::kLatency},
                                            {"drop", FaultKind::kDrop},
                                            {"truncate", FaultKind::kTruncate},
                                            {"completionCode", FaultKind::kCompletionCode},
                                            {"loginLatency", FaultKind::kLoginLatency}};
    fault.kind = members["kind"].Word<FaultKind>(kKinds);
    if (fault.kind == FaultKind::kLatency || fault.kind == FaultKind::kLoginLatency) {
        fault.latency = ReadLatency(members);
    }
    if (fault.kind == FaultKind::kTruncate) {
        fault.keptBytes = members["keep"].NumberAs<std::uint8_t>();
    }
    if (fault.kind == FaultKind::kCompletionCode) {
        fault.completionCode = members["completionCode"].NumberAs<std::uint8_t>();
        fault.keepData = members.Has("keepData") && members["keepData"].Boolean();
    }
}

void ReadFaultRequest(JsonMembers& members, Fault& fault)
{
    constexpr std::uint32_t kHighestNetFn = 0x3E;
    constexpr std::size_t kLongestPrefix = 32;
    fault.netFn = static_cast<std::uint8_t>(members["netFn"].Number(0, kHighestNetFn));
    fault.command = members["command"].NumberAs<std::uint8_t>();
    if (members.Has("data")) {
        fault.dataPrefix = members["data"].HexadecimalBytes(kLongestPrefix);
    }
}

FaultSchedule ReadSchedule(JsonMembers& members)
{
    return {ReadCount(members, "after").value_or(0), ReadCount(members, "times")};
}

Fault ReadFault(const JsonValue& value)
{
    JsonMembers members(value);
    Fault fault;
    ReadFaultKind(members, fault);
    if (fault.kind != FaultKind::kLoginLatency) {
        ReadFaultRequest(members, fault);
    }
    fault.schedule = ReadSchedule(members);
    members.RejectOthers();
    return fault;
}

HttpsFault ReadHttpsFault(const JsonValue& value)
{
    static const Words<HttpsFaultKind> kKinds = {{"latency", HttpsFaultKind::kLatency},
                                                 {"status", HttpsFaultKind::kStatus},
                                                 {"garbage", HttpsFaultKind::kGarbage},
                                                 {"close", HttpsFaultKind::kClose}};
    JsonMembers members(value);
    HttpsFault fault;
    fault.kind = members["kind"].Word<HttpsFaultKind>(kKinds);
    if (fault.kind == HttpsFaultKind::kLatency) {
        fault.latency = ReadLatency(members);
    }
    if (fault.kind == HttpsFaultKind::kStatus) {
        fault.status = static_cast<int>(members["status"].Number(400, 599));
    }
    fault.schedule = ReadSchedule(members);
    members.RejectOthers();
    return fault;
}

HttpsBehaviour ReadHttps(const JsonValue& value)
{
    JsonMembers members(value);
    HttpsBehaviour https;
    https.expiredCertificate =
        members.Has("expiredCertificate") && members["expiredCertificate"].Boolean();
    https.sessionLifetime = ReadCount(members, "sessionLifetimeRequests");
    if (members.Has("faults")) {
        for (const JsonValue& fault : members["faults"].Elements()) {
            https.faults.push_back(ReadHttpsFault(fault));
        }
    }
    members.RejectOthers();
    return https;
}

EnclosureState ReadEnclosure(JsonMembers& members)
{
    EnclosureState state;
    ReadModule(members["module"], state);
    ReadChassis(members["chassis"], state);
    for (const JsonValue& node : Exactly(members["nodes"], NodeCount(state.platformId),
                                         "the platform decides how many nodes there are")) {
        state.nodes.push_back(ReadNode(node));
    }
    for (const JsonValue& supply :
         Exactly(members["supplies"], SupplyCount(state.platformId, state.generationCode),
                 "the platform and its generation code decide how many slots there are")) {
        state.supplies.push_back(ReadSupply(supply, state.generation));
    }
    return state;
}

Scenario ReadScenario(const JsonValue& value)
{
    JsonMembers members(value);
    Scenario scenario;
    scenario.description = members["description"].Text(1, 100);
    scenario.credentials = ReadCredentials(members["credentials"]);
    scenario.enclosure = ReadEnclosure(members);
    if (members.Has("faults")) {
        for (const JsonValue& fault : members["faults"].Elements()) {
            scenario.faults.push_back(ReadFault(fault));
        }
    }
    if (members.Has("sessions")) {
        scenario.sessions = members["sessions"].Number(0, kMaxSessions);
    }
    scenario.crashAtRequest = ReadCount(members, "crashAtRequest");
    if (members.Has("https")) {
        scenario.https = ReadHttps(members["https"]);
    }
    members.RejectOthers();
    return scenario;
}

}  // namespace

Scenario ParseScenario(const std::string& text, const std::string& name)
{
    try {
        const nlohmann::json document = ParseJson(text);
        return ReadScenario(JsonValue(document, ""));
    } catch (const JsonError& error) {
        throw std::runtime_error(name + ": " + error.what());
    }
}

std::string ReadScenarioFile(const std::string& file)
{
    constexpr std::size_t kMostBytes = 1 << 20;  // a device may have no end
    std::ifstream stream(file, std::ios::binary);
    std::string text(kMostBytes + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    // A folder can be opened, but nothing comes out of it, as nothing comes out of an empty file.
    if (text.empty() || text.size() > kMostBytes) {
        throw std::runtime_error(file + ": cannot be read; it must be a file with a scenario");
    }
    return text;
}

}  // namespace Tulvo::Simulator
