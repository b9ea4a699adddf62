// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/response_values.h"

#include <algorithm>
#include <span>

#include "common/text/printable.h"
#include "module/vkt/vkt_inventory/impl/number_text.h"

namespace Tulvo::Values {

namespace {

bool IsLetterOrDigit(std::uint8_t byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= 'a' && byte <= 'z');
}

std::string_view AsText(std::span<const std::uint8_t> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Fans ReadFansOfVkt2(ByteView answer)
{
    const ByteView bytes = answer.Without(1);
    return {.speedA = bytes.LittleEndian16(0),
            .patternA = bytes[2],
            .speedB = bytes.LittleEndian16(3),
            .patternB = bytes[5],
            .status = bytes[6]};
}

Fans ReadFanOfFirstGeneration(ByteView answer)
{
    return {.speedA = answer.LittleEndian16(0),
            .patternA = answer[2],
            .speedB = 0,
            .patternB = 0,
            .status = answer[3]};
}

constexpr FanFormat kFansOfVkt2{8, ReadFansOfVkt2};
constexpr FanFormat kFanOfFirstGeneration{4, ReadFanOfFirstGeneration};

constexpr std::uint8_t kGenerationOfNineSupplies = 3;

}  // namespace

std::optional<ByteView> Framed(const ResponseFraming& framing, VKTIype vktType, ByteView answer)
{
    const bool drops =
        vktType == VKT_TYPE_VKT2 && DropsLeadingBytes(framing, answer.Size(), /*completionCode=*/0);
    const ByteView bytes = drops ? answer.Without(framing.leadingBytes) : answer;
    return bytes.Size() < framing.minimumLength ? std::nullopt : std::optional(bytes);
}

std::optional<std::string_view> MachineType(ByteView bytes)
{
    const auto text = bytes.Bytes().first(kMachineTypeFraming.minimumLength);
    if (!std::all_of(text.begin(), text.end(), IsLetterOrDigit)) {
        return std::nullopt;
    }
    return AsText(text);
}

std::string_view PrintableRun(ByteView bytes, std::size_t start)
{
    const std::string_view text = AsText(bytes.Without(start).Bytes());
    return {text.begin(), std::find_if_not(text.begin(), text.end(), Text::IsPrintableAscii)};
}

void ReadFirmwareVersion(ByteView bytes, std::string& text)
{
    text = PrintableRun(bytes, 5);
    text.append("-").append(Hex(bytes[0]));
    text.append(".").append(HexOfTwoDigits(bytes[1]));
}

Consumption ReadConsumption(ByteView bytes)
{
    return {.minimum = bytes.LittleEndian16(0),
            .average = bytes.LittleEndian16(2),
            .maximum = bytes.LittleEndian16(4)};
}

PowerCaps ReadPowerCaps(ByteView bytes)
{
    return {.lowest = bytes.LittleEndian16(0),
            .highest = bytes.LittleEndian16(2),
            .protective = bytes.LittleEndian16(4),
            .user = bytes.LittleEndian16(6),
            .thermal = bytes.LittleEndian16(8)};
}

NodeState ReadNodeState(ByteView bytes)
{
    return {.powerState = bytes[0], .width = bytes[1], .height = bytes[2], .permission = bytes[3]};
}

const FanFormat& FanFormatOf(VKTIype vktType)
{
    return vktType == VKT_TYPE_VKT2 ? kFansOfVkt2 : kFanOfFirstGeneration;
}

std::string PsuVersion(ByteView answer)
{
    return Hex(answer[1]) + "." + HexOfTwoDigits(answer[0]);
}

std::string PsuPosition(ByteView answer)
{
    return Hex(answer[0]) + HexOfTwoDigits(answer[1]);
}

std::optional<std::string_view> PsuManufacturer(VKTIype vktType, ByteView answer)
{
    constexpr std::size_t kLength = 4;
    switch (vktType) {
        case VKT_TYPE_FIRST_GENERATION:  // byte 0 is the register's length byte
            return AsText(answer.Bytes().subspan(1, kLength));
        case VKT_TYPE_VKT2:
            return AsText(answer.Bytes().first(kLength));
        default:
            return std::nullopt;
    }
}

ModuleStatus ReadModuleStatus(ByteView answer)
{
    return {.moduleType = answer[0], .generationCode = answer[13]};
}

std::uint8_t PsuCountOfLargePlatform(std::uint8_t generationCode)
{
    return generationCode == kGenerationOfNineSupplies ? 9 : 6;
}

}  // namespace Tulvo::Values
