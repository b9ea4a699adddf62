// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the bytes of a good answer say: numbers, codes and raw text. Nothing here writes records,
/// matches words or allocates more than a text. The formats are described in docs/wire-format.md.
///
/// Whether an answer is good, and where its first byte stands, says its framing
/// (response_framing.h); a reader here gets what is left, at least as long as the framing wants.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_RESPONSE_VALUES_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_RESPONSE_VALUES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "module/vkt/vkt_info/vkt_info.h"
#include "module/vkt/vkt_inventory/impl/byte_view.h"
#include "module/vkt/vkt_inventory/impl/response_framing.h"

namespace Tulvo::Values {

/// The answer with completion code 0 as a first-generation module would have sent it, or nothing
/// when it is too short.
std::optional<ByteView> Framed(const ResponseFraming& framing, VKTIype vktType, ByteView answer);

/// Nothing when the four characters are no letters and digits.
std::optional<std::string_view> MachineType(ByteView bytes);

/// The printable characters from `start` up to the first byte that is not one.
std::string_view PrintableRun(ByteView bytes, std::size_t start);

/// Sets `text` to what reads like "ABC123-1.0a".
void ReadFirmwareVersion(ByteView bytes, std::string& text);

struct Consumption
{
    std::uint16_t minimum;
    std::uint16_t average;
    std::uint16_t maximum;
};
Consumption ReadConsumption(ByteView bytes);

struct PowerCaps
{
    std::uint16_t lowest;
    std::uint16_t highest;
    std::uint16_t protective;
    std::uint16_t user;
    std::uint16_t thermal;
};
PowerCaps ReadPowerCaps(ByteView bytes);

struct NodeState
{
    std::uint8_t powerState;
    std::uint8_t width;
    std::uint8_t height;
    std::uint8_t permission;
};
NodeState ReadNodeState(ByteView bytes);

struct Fans
{
    std::uint16_t speedA;
    std::uint8_t patternA;
    std::uint16_t speedB;  ///< 0 of a first generation, which has one fan a supply; so the pattern.
    std::uint8_t patternB;
    std::uint8_t status;
};

/// How a generation tells of a supply's fans: unlike other answers, a shorter one is none even
/// before its leading byte is dropped.
struct FanFormat
{
    std::size_t minimumLength;
    Fans (*read)(ByteView answer);
};
const FanFormat& FanFormatOf(VKTIype vktType);

// Registers of a supply, by the answer as it comes.
inline constexpr std::size_t kPsuVersionMinimumLength = 2;
inline constexpr std::size_t kPsuPositionMinimumLength = 2;
inline constexpr std::size_t kPsuManufacturerMinimumLength = 5;

/// "1.03".
std::string PsuVersion(ByteView answer);
/// "10a".
std::string PsuPosition(ByteView answer);
/// Nothing on a module of unknown generation.
std::optional<std::string_view> PsuManufacturer(VKTIype vktType, ByteView answer);

inline constexpr std::size_t kModuleStatusMinimumLength = 14;

struct ModuleStatus
{
    std::uint8_t moduleType;
    std::uint8_t generationCode;
};
ModuleStatus ReadModuleStatus(ByteView answer);

/// What a large platform's generation code says; other platforms have 2 supplies.
std::uint8_t PsuCountOfLargePlatform(std::uint8_t generationCode);

}  // namespace Tulvo::Values

#endif
