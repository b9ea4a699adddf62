// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_enclosure/paper_enclosure.h"

#include <initializer_list>
#include <string_view>
#include <variant>

#include "module/vkt/vkt_enclosure/catalogue.h"

namespace Tulvo::Enclosures {
namespace {

Bytes operator+(Bytes bytes, const Bytes& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

Bytes Text(std::string_view text)
{
    return {text.begin(), text.end()};
}

Bytes Words(std::initializer_list<int> numbers)
{
    Bytes bytes;
    for (const int number : numbers) {
        bytes.push_back(static_cast<std::uint8_t>(number & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(number >> 8));
    }
    return bytes;
}

std::uint8_t Byte(int number)
{
    return static_cast<std::uint8_t>(number);
}

std::string OfSupply(int number)
{
    return "PSU" + std::to_string(number) + " ";
}

std::string OfNode(int number)
{
    return "Node " + std::to_string(number) + " ";
}

IPMICOMMAND Oem(int command, Bytes data = {})
{
    return {Byte(command), std::move(data), 0x32};
}

IPMICOMMAND Register(bool isVkt2, int slot, int count, int address)
{
    if (isVkt2) {
        return Oem(0x92, {Byte(slot), Byte(count), Byte(address)});
    }
    return {0x52, {Byte(slot == 1 ? 0x0F : 0x0D), 0xD0, Byte(count), Byte(address)}, 0x06};
}

PaperRequest Status(const PaperEnclosure& paper, Sections sections)
{
    // Of a VKT2 the type code, then both the same: major and minor version, three unused, the
    // build name; the generation code at 13.
    Bytes answer = paper.isVkt2 ? Bytes{paper.moduleType} : Bytes{};
    answer = answer + Bytes{0x01, 0x0A, 0x00, 0x00, 0x00} + Text("ABC123");
    answer.resize(13);
    answer = answer + Bytes{paper.generationCode, 0x00};
    const bool large = paper.nodes == 12;
    Values values{{"module.generation", paper.isVkt2 ? "vkt2" : "first"},
                  {"module.platformId", large ? std::to_string(paper.moduleType) : "254"},
                  {"module.powerSupplyCount", std::to_string(paper.supplies)},
                  {"module.nodeCount", std::to_string(paper.nodes)}};
    if ((sections & kIdentity) != 0) {
        values["identity.firmwareVersion"] = "ABC123-1.0a";
    }
    return {Oem(0xA8), answer, values};
}

/// A bit for each supply that is there, and none of the warnings.
PaperRequest StatusBits(const PaperEnclosure& paper)
{
    int present = 0;
    Values values;
    for (int n = 1; n <= std::min(paper.supplies, 8); ++n) {
        const bool there = !paper.emptyBays.contains(n);
        present |= there ? 1 << (n - 1) : 0;
        values[OfSupply(n) + "present"] = there ? "true" : "false";
        values[OfSupply(n) + "powerGood"] = there ? "true" : "absent";
        values[OfSupply(n) + "powerOffWarning"] = there ? "false" : "absent";
        values[OfSupply(n) + "throttling"] = there ? "false" : "absent";
    }
    const std::uint8_t bits = Byte(present);
    const Bytes answer =
        paper.isVkt2 ? Bytes{0, 0, 0, 0, 0, 0, bits, 0, bits, 0} : Bytes{0, 0, bits, bits, 0, 0};
    return {Oem(0x91), answer, values};
}

PaperRequest Fans(const PaperEnclosure& paper, int n)
{
    const Bytes fanA = Words({7000 + n}) + Bytes{5};
    const Bytes fanB = Words({6900 + n}) + Bytes{4};
    const Bytes answer = paper.isVkt2 ? Bytes{0} + fanA + fanB + Bytes{2} : fanA + Bytes{2};
    const std::string fans = OfSupply(n) + "fans.";
    return {Oem(0xA5, {Byte(n)}),
            answer,
            {{fans + "state", "normal"},
             {fans + "code", "2"},
             {fans + "a.speed", std::to_string(7000 + n)},
             {fans + "a.pattern", "5"},
             {fans + "b.speed", paper.isVkt2 ? std::to_string(6900 + n) : "absent"},
             {fans + "b.pattern", paper.isVkt2 ? "4" : "absent"}}};
}

std::vector<PaperRequest> Registers(const PaperEnclosure& paper, int n)
{
    const std::string firmware = OfSupply(n) + "firmware.";
    const Bytes maker = paper.isVkt2 ? Text("ACME") + Bytes{0} : Bytes{4} + Text("ACME");
    Bytes position{0x01, Byte(n)};
    position.resize(0x20);
    return {
        {Register(paper.isVkt2, n, 0x02, 0xFC),
         {Byte(n), 0x02},
         {{firmware + "version", "2.0" + std::to_string(n)}},
         true},
        {Register(paper.isVkt2, n, 0x05, 0x99), maker, {{firmware + "manufacturer", "ACME"}}, true},
        {Register(paper.isVkt2, n, 0x20, 0xF0),
         position,
         {{firmware + "position", "10" + std::to_string(n)}},
         true}};
}

Bytes Lead(const PaperEnclosure& paper, int count = 1)
{
    return paper.isVkt2 ? Bytes(static_cast<std::size_t>(count), 0xEE) : Bytes{};
}

PaperRequest NodeStatus(const PaperEnclosure& paper, int n)
{
    return {Oem(0xA7, {Byte(n)}),
            Lead(paper) + Bytes{0x80, 1, 2, 3},
            {{OfNode(n) + "powerState", "on"},
             {OfNode(n) + "code", "128"},
             {OfNode(n) + "width", "half"},
             {OfNode(n) + "widthCode", "1"},
             {OfNode(n) + "height", "2"},
             {OfNode(n) + "permission", "3"}}};
}

PaperRequest NodePower(const PaperEnclosure& paper, int n)
{
    return {Oem(0x98, {Byte(n)}),
            Lead(paper) + Words({140 + n, 210 + n, 380 + n}),
            {{OfNode(n) + "power.minimum", std::to_string(140 + n)},
             {OfNode(n) + "power.average", std::to_string(210 + n)},
             {OfNode(n) + "power.maximum", std::to_string(380 + n)}}};
}

std::uint8_t ChassisSelector(const PaperEnclosure& paper)
{
    return paper.nodes == 12 ? 0x0D : 0x05;
}

PaperRequest ChassisPower(const PaperEnclosure& paper)
{
    return {Oem(0x98, {ChassisSelector(paper)}),
            Lead(paper) + Words({1200, 1850, 2900}),
            {{"power.consumption.minimum", "1200"},
             {"power.consumption.average", "1850"},
             {"power.consumption.maximum", "2900"}}};
}

PaperRequest Caps(const PaperEnclosure& paper)
{
    return {Oem(0x9D, {ChassisSelector(paper)}),
            Lead(paper) + Words({900, 4400, 4200, 3600, 4000}),
            {{"power.caps.lowest", "900"},
             {"power.caps.highest", "4400"},
             {"power.caps.protective", "4200"},
             {"power.caps.user", "3600"},
             {"power.caps.thermal", "4000"}}};
}

PaperRequest IdentityText(const PaperEnclosure& paper, int item, std::string_view text,
                          const std::string& name)
{
    return {Oem(0xB0, {0x05, Byte(item)}),
            Lead(paper, 2) + Text(text),
            {{"identity." + name, std::string(text)}}};
}

const std::vector<std::string> kFieldsOfSupplies{
    "present",          "powerGood",      "powerOffWarning",  "throttling",
    "fans.state",       "fans.code",      "fans.a.speed",     "fans.a.pattern",
    "fans.b.speed",     "fans.b.pattern", "firmware.version", "firmware.manufacturer",
    "firmware.position"};
const std::vector<std::string> kFieldsOfNodes{"powerState",    "code",          "width",
                                              "widthCode",     "height",        "permission",
                                              "power.minimum", "power.average", "power.maximum"};
const std::vector<std::string> kFieldsOfEnclosure{
    "identity.machineType",      "identity.serialNumber",
    "identity.firmwareVersion",  "identity.name",
    "power.consumption.minimum", "power.consumption.average",
    "power.consumption.maximum", "power.caps.lowest",
    "power.caps.highest",        "power.caps.protective",
    "power.caps.user",           "power.caps.thermal"};

Sections SectionOfSupplys(const std::string& field)
{
    if (field.starts_with("fans.")) {
        return kSupplyFans;
    }
    return field.starts_with("firmware.") ? kSupplyFirmware : kSupplyStatus;
}

bool IsUnread(const std::string& text)
{
    return text == "absent" || text == "not asked" || text.starts_with("not read");
}

/// What of a supply is told by more than one answer, or by none.
void Settle(const PaperEnclosure& paper, int n, Sections sections, Values& values)
{
    const std::string supply = OfSupply(n);
    const std::string version = values[supply + "firmware.version"];
    const std::string maker = values[supply + "firmware.manufacturer"];
    const std::string position = values[supply + "firmware.position"];
    const std::string fans = values[supply + "fans.state"];
    const bool noRegister = IsUnread(version) && IsUnread(maker) && IsUnread(position);
    values[supply + "number"] = std::to_string(n);
    if (n > 8) {
        for (const char* const bit : {"powerGood", "powerOffWarning", "throttling"}) {
            values[supply + bit] = (sections & kSupplyStatus) != 0 ? "absent" : "not asked";
        }
        values[supply + "present"] = IsUnread(fans) && noRegister ? fans : "true";
    }
    if (paper.emptyBays.contains(n)) {
        for (const std::string& field : kFieldsOfSupplies) {
            values[supply + field] =
                (sections & SectionOfSupplys(field)) != 0 ? "absent" : "not asked";
        }
        values[supply + "present"] = "false";
    }
    values[supply + "firmware.name"] =
        IsUnread(values[supply + "firmware.version"]) && (noRegister || paper.emptyBays.contains(n))
            ? values[supply + "firmware.version"]
            : "Power Supply " + std::to_string(n);
}

std::string Joined(std::initializer_list<std::string_view> parts)
{
    std::string text;
    for (const std::string_view part : parts) {
        text += part;
    }
    return text;
}

struct TextOf
{
    std::string operator()(NotAsked) const { return "not asked"; }
    std::string operator()(Absent) const { return "absent"; }
    std::string operator()(const Failure* failure) const
    {
        return "not read: " + std::string(KeyOf(failure->cause));
    }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(bool flag) const { return flag ? "true" : "false"; }
    std::string operator()(const StateWord* word) const { return std::string(word->key); }
};

}  // namespace

std::vector<PaperRequest> PaperEnclosure::Requests(Sections sections) const
{
    std::vector<PaperRequest> requests{Status(*this, sections)};
    const auto add = [&](Sections section, const PaperRequest& request) {
        if ((sections & section) != 0) {
            requests.push_back(request);
        }
    };
    add(kSupplyStatus, StatusBits(*this));
    for (int n = 1; n <= supplies; ++n) {
        if (emptyBays.contains(n) && n <= 8 && (sections & kSupplyStatus) != 0) {
            continue;
        }
        add(kSupplyFans, Fans(*this, n));
        for (const PaperRequest& request : Registers(*this, n)) {
            add(kSupplyFirmware, request);
        }
    }
    for (int n = 1; n <= nodes; ++n) {
        add(kNodeStates, NodeStatus(*this, n));
        add(kNodePower, NodePower(*this, n));
    }
    add(kConsumption, ChassisPower(*this));
    add(kCaps, Caps(*this));
    add(kIdentity, IdentityText(*this, 0x00, "7X2Z", "machineType"));
    add(kIdentity, IdentityText(*this, 0x01, "J30ABC12", "serialNumber"));
    add(kIdentity, IdentityText(*this, 0x0B, "Chassis A", "name"));
    return requests;
}

void PaperEnclosure::Teach(ScriptedModule& module) const
{
    const IPMICOMMAND getDeviceId{0x01, {}, 0x06};
    module.Give(getDeviceId, {0x20, 1, 1, 0, 2, 0xBF, 0, 0, 0, 0, 0});
    for (const PaperRequest& request : Requests()) {
        module.Give(request.request, request.answer);
    }
}

Values PaperEnclosure::Expected(Sections sections,
                                const std::map<std::string, std::string>& lost) const
{
    Values values{{"module.interface", "lanplus"},
                  {"module.address", ""},
                  {"module.port", "623"},
                  {"module.cipherSuite", "17"}};
    const std::vector<PaperRequest> requests = Requests(sections);
    const bool known = !lost.contains(Fakes::RequestName(requests.front().request));
    for (const std::string& field : kFieldsOfEnclosure) {
        values[field] = "not asked";
    }
    for (int n = 1; known && (sections & kSupplies) != 0 && n <= supplies; ++n) {
        for (const std::string& field : kFieldsOfSupplies) {
            values[OfSupply(n) + field] = "not asked";
        }
    }
    for (int n = 1; known && (sections & kNodes) != 0 && n <= nodes; ++n) {
        values[OfNode(n) + "number"] = std::to_string(n);
        for (const std::string& field : kFieldsOfNodes) {
            values[OfNode(n) + field] = "not asked";
        }
    }
    for (const PaperRequest& request : requests) {
        const auto loss = lost.find(Fakes::RequestName(request.request));
        for (const auto& [field, value] : request.values) {
            const bool listed = known || (!field.starts_with("PSU") && !field.starts_with("Node"));
            if (listed) {
                values[field] = loss == lost.end() ? value : loss->second;
            }
        }
    }
    for (int n = 1; known && (sections & kSupplies) != 0 && n <= supplies; ++n) {
        Settle(*this, n, sections, values);
    }
    return values;
}

std::vector<PaperEnclosure> PaperEnclosures()
{
    return {{"First", false, 0x01, 0x00, 2, 4},
            {"Vkt2FE", true, 0xFE, 0x00, 2, 4},
            {"Vkt2FD", true, 0xFD, 0x02, 6, 12},
            {"Vkt2FC", true, 0xFC, 0x03, 9, 12}};
}

std::vector<std::string> Differences(const Values& expected, const Enclosure& record)
{
    std::vector<std::string> differences;
    const Values values = ValuesOf(record);
    for (const auto& [name, value] : expected) {
        const auto found = values.find(name);
        const std::string is = found == values.end() ? "missing" : found->second;
        if (is != value) {
            differences.push_back(Joined({name, " is ", is, " and should be ", value}));
        }
    }
    for (const auto& [name, value] : values) {
        if (!expected.contains(name)) {
            differences.push_back(Joined({name, " is ", value, " and should not be there"}));
        }
    }
    return differences;
}

Values ValuesOf(const Enclosure& enclosure)
{
    Values values;
    for (const Object& object : ObjectsOf(enclosure)) {
        for (const Field& field : Fields()) {
            if (field.object == object.Kind() && (field.places & kInJson) != 0) {
                const bool nested = object.Kind() != ObjectKind::kEnclosure;
                values[(nested ? NameOf(object, field) + " " : "") + std::string(field.path)] =
                    std::visit(TextOf(), field.get(object));
            }
        }
    }
    return values;
}

}  // namespace Tulvo::Enclosures
