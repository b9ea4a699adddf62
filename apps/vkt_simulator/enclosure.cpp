// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/enclosure.h"

#include <algorithm>
#include <span>

#include "apps/vkt_simulator/answer_bytes.h"

namespace Tulvo::Simulator {

namespace {

using Data = std::span<const std::uint8_t>;

constexpr std::uint8_t kOk = 0x00;
constexpr std::uint8_t kNakOnWrite = 0x83;
constexpr std::uint8_t kInvalidCommand = 0xC1;
constexpr std::uint8_t kWrongLength = 0xC7;
constexpr std::uint8_t kOutOfRange = 0xC9;
constexpr std::uint8_t kCannotReturnThatMany = 0xCA;
constexpr std::uint8_t kNotPresent = 0xCB;
constexpr std::uint8_t kInvalidField = 0xCC;

constexpr std::uint8_t kNetFnApplication = 0x06;
constexpr std::uint8_t kNetFnOem = 0x32;

constexpr std::size_t kGenerationCodeOffset = 13;
constexpr std::size_t kLongestRegisterRead = 0x20;

Answer Refuse(std::uint8_t completionCode)
{
    return {completionCode, {}};
}

Answer Give(const AnswerBytes& bytes)
{
    return {kOk, bytes.Get()};
}

bool IsVkt2(const EnclosureState& state)
{
    return state.generation == Generation::kVkt2;
}

// A VKT2 puts one byte before most answers.
AnswerBytes Lead(const EnclosureState& state)
{
    return IsVkt2(state) ? AnswerBytes({0x00}) : AnswerBytes();
}

template <typename Item>
const Item* Find(const std::vector<Item>& items, std::uint8_t number)
{
    return number >= 1 && number <= items.size() ? &items[number - 1U] : nullptr;
}

std::uint8_t ChassisSelector(const EnclosureState& state)
{
    return state.platformId == 0xFE ? 0x05 : 0x0D;
}

AnswerBytes Consumption(const EnclosureState& state, const PowerReading& power)
{
    return Lead(state).Words({power.minimum, power.average, power.maximum});
}

Answer Identity(EnclosureState& state, Data data)
{
    const std::array<std::pair<std::uint8_t, const std::string*>, 3> items = {
        {{0x00, &state.machineType}, {0x01, &state.serialNumber}, {0x0B, &state.name}}};
    const auto* const item = std::find_if(
        items.begin(), items.end(), [&](const auto& known) { return known.first == data[1]; });
    if (data[0] != 0x05 || item == items.end()) {
        return Refuse(kInvalidField);
    }
    // A VKT2 repeats both bytes that select the item before the text.
    AnswerBytes bytes = IsVkt2(state) ? AnswerBytes({data[0], data[1]}) : AnswerBytes();
    return Give(bytes.Text(*item->second).Byte(0x00));
}

// One answer serves two readers. A first-generation module begins it with its major version; a
// VKT2 puts its type code before that, where a reader of module types looks.
Answer ModuleStatus(EnclosureState& state, Data /*none*/)
{
    AnswerBytes bytes = IsVkt2(state) ? AnswerBytes({state.platformId}) : AnswerBytes();
    bytes.Byte(state.firmware.major).Byte(state.firmware.minor);
    bytes.Byte(0x00).Byte(0x00).Byte(0x00);
    bytes.Text(state.firmware.build).Resize(kGenerationCodeOffset);
    return Give(bytes.Byte(state.generationCode).Byte(0x00));
}

Answer PowerConsumption(EnclosureState& state, Data data)
{
    if (data[0] == ChassisSelector(state)) {
        return Give(Consumption(state, state.power));
    }
    const Node* node = Find(state.nodes, data[0]);
    return node == nullptr ? Refuse(kOutOfRange) : Give(Consumption(state, node->power));
}

Answer PowerCapping(EnclosureState& state, Data data)
{
    if (data[0] != ChassisSelector(state)) {
        return Refuse(kOutOfRange);
    }
    const PowerCaps& caps = state.caps;
    return Give(
        Lead(state).Words({caps.minimum, caps.maximum, caps.protective, caps.user, caps.thermal}));
}

Answer NodeState(EnclosureState& state, Data data)
{
    const Node* node = Find(state.nodes, data[0]);
    if (node == nullptr) {
        return Refuse(kOutOfRange);
    }
    AnswerBytes bytes = Lead(state);
    bytes.Byte(node->powerState).Byte(node->width).Byte(node->height).Byte(node->permission);
    return Give(bytes);
}

Answer SupplyFans(EnclosureState& state, Data data)
{
    const PowerSupply* supply = Find(state.supplies, data[0]);
    if (supply == nullptr) {
        return Refuse(kOutOfRange);
    }
    AnswerBytes bytes = Lead(state);
    const std::size_t fanCount = IsVkt2(state) ? 2 : 1;
    for (std::size_t i = 0; i < fanCount; ++i) {
        bytes.Words({supply->fans[i].speed}).Byte(supply->fans[i].pattern);
    }
    return Give(bytes.Byte(supply->fanStatus));
}

// Bit 0 is the first supply's.
std::uint16_t BitPerSupply(const EnclosureState& state, bool PowerSupply::*field)
{
    unsigned int bits = 0;
    for (std::size_t i = 0; i < state.supplies.size(); ++i) {
        bits |= static_cast<unsigned int>(state.supplies[i].*field) << i;
    }
    return static_cast<std::uint16_t>(bits);
}

// A VKT2 has room for sixteen supplies in five words, the second of them unused; a first
// generation has a byte each and two bytes that are unused.
Answer SupplyStatus(EnclosureState& state, Data /*none*/)
{
    const std::uint16_t warning = BitPerSupply(state, &PowerSupply::earlyPowerWarning);
    const std::uint16_t throttle = BitPerSupply(state, &PowerSupply::throttle);
    const std::uint16_t present = BitPerSupply(state, &PowerSupply::present);
    const std::uint16_t good = BitPerSupply(state, &PowerSupply::powerGood);
    AnswerBytes bytes;
    if (IsVkt2(state)) {
        return Give(bytes.Words({warning, 0, throttle, good, present}));
    }
    for (const std::uint16_t bits : {warning, throttle, present, good}) {
        bytes.Byte(static_cast<std::uint8_t>(bits));
    }
    return Give(bytes.Words({0}));
}

// The registers of a supply on its own bus. Text registers are block reads, which begin with the
// length; a VKT2 takes that byte off before it answers.
Answer ReadRegister(const EnclosureState& state, const PowerSupply& supply, std::uint8_t count,
                    std::uint8_t address)
{
    if (count == 0 || count > kLongestRegisterRead) {
        return Refuse(kCannotReturnThatMany);
    }
    AnswerBytes bytes;
    switch (address) {
        case 0xFC:
            bytes.Byte(supply.firmwareMinor).Byte(supply.firmwareMajor);
            break;
        case 0x99:
            if (!IsVkt2(state)) {
                bytes.Byte(static_cast<std::uint8_t>(supply.manufacturer.size()));
            }
            bytes.Text(supply.manufacturer);
            break;
        case 0xF0:
            bytes.Byte(static_cast<std::uint8_t>(supply.position >> 8U));
            bytes.Byte(static_cast<std::uint8_t>(supply.position & 0xFFU));
            break;
        default:
            return Refuse(kInvalidField);
    }
    return Give(bytes.Resize(count));
}

Answer SupplyRegister(EnclosureState& state, Data data)
{
    const PowerSupply* supply = Find(state.supplies, data[0]);
    if (supply == nullptr) {
        return Refuse(kOutOfRange);
    }
    return supply->present ? ReadRegister(state, *supply, data[1], data[2]) : Refuse(kNotPresent);
}

// The supplies of a first generation stand on two private buses, each at the same address.
Answer MasterWriteRead(EnclosureState& state, Data data)
{
    constexpr std::array<std::uint8_t, 2> kBuses = {0x0F, 0x0D};
    constexpr std::uint8_t kSupplyAddress = 0xD0;
    const auto* const bus = std::find(kBuses.begin(), kBuses.end(), data[0]);
    if (bus == kBuses.end()) {
        return Refuse(kOutOfRange);
    }
    const auto slot = static_cast<std::uint8_t>(bus - kBuses.begin() + 1);
    const PowerSupply* supply = Find(state.supplies, slot);
    if (data[1] != kSupplyAddress || supply == nullptr || !supply->present) {
        return Refuse(kNakOnWrite);
    }
    return ReadRegister(state, *supply, data[2], data[3]);
}

// A first generation takes one number more than it has slots, for both supplies.
Answer SelectSupply(EnclosureState& state, Data data)
{
    if (data[0] != 0x00) {
        return Refuse(kInvalidField);
    }
    if (data.size() == 2) {
        const std::size_t last = IsVkt2(state) ? state.supplies.size() : 3;
        if (data[1] < 1 || data[1] > last) {
            return Refuse(kOutOfRange);
        }
        state.selectedSupply = data[1];
    } else if (!IsVkt2(state)) {
        return Refuse(kWrongLength);
    }
    return Give(AnswerBytes({state.selectedSupply}));
}

enum class Serves
{
    kBoth,
    kFirst,
    kVkt2
};

struct Request
{
    std::uint8_t netFn;
    std::uint8_t command;
    Serves generation;
    std::size_t shortest;  // data bytes
    std::size_t longest;
    Answer (*handler)(EnclosureState&, Data);
};

constexpr std::array<Request, 10> kRequests = {{
    {kNetFnOem, 0xB0, Serves::kBoth, 2, 2, Identity},
    {kNetFnOem, 0xA8, Serves::kBoth, 0, 0, ModuleStatus},
    {kNetFnOem, 0x98, Serves::kBoth, 1, 1, PowerConsumption},
    {kNetFnOem, 0x9D, Serves::kBoth, 1, 1, PowerCapping},
    {kNetFnOem, 0xA5, Serves::kBoth, 1, 1, SupplyFans},
    {kNetFnOem, 0x91, Serves::kBoth, 0, 0, SupplyStatus},
    {kNetFnOem, 0xA7, Serves::kBoth, 1, 1, NodeState},
    {kNetFnOem, 0x92, Serves::kVkt2, 3, 3, SupplyRegister},
    {kNetFnApplication, 0x52, Serves::kFirst, 4, 4, MasterWriteRead},
    {kNetFnOem, 0xF4, Serves::kBoth, 1, 2, SelectSupply},
}};

bool IsServed(const Request& request, Generation generation)
{
    return request.generation == Serves::kBoth ||
           (request.generation == Serves::kVkt2) == (generation == Generation::kVkt2);
}

}  // namespace

std::size_t MaxBuildLength(Generation generation)
{
    return generation == Generation::kVkt2 ? 6 : 7;
}

std::size_t NodeCount(std::uint8_t platformId)
{
    return platformId == 0xFE ? 4 : 12;
}

std::size_t SupplyCount(std::uint8_t platformId, std::uint8_t generationCode)
{
    if (platformId == 0xFE) {
        return 2;
    }
    return generationCode == 3 ? 9 : 6;
}

std::vector<RequestCode> ServedRequests()
{
    std::vector<RequestCode> codes;
    codes.reserve(kRequests.size());
    for (const Request& request : kRequests) {
        codes.push_back({request.netFn, request.command});
    }
    return codes;
}

Answer Enclosure::Serve(std::uint8_t netFn, std::uint8_t command,
                        const std::vector<std::uint8_t>& data)
{
    for (const Request& request : kRequests) {
        if (request.netFn == netFn && request.command == command &&
            IsServed(request, state_.generation)) {
            const bool fits = data.size() >= request.shortest && data.size() <= request.longest;
            return fits ? request.handler(state_, data) : Refuse(kWrongLength);
        }
    }
    return Refuse(kInvalidCommand);
}

}  // namespace Tulvo::Simulator
