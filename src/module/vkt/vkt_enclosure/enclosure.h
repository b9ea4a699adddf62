// SPDX-License-Identifier: Apache-2.0
/// @file
/// What one read of an enclosure found: numbers as numbers, states as enumerations, a reason for
/// whatever is missing. Readings of power and fans are in the module's own unit, which it does not
/// name.
#ifndef MODULE_VKT_VKT_ENCLOSURE_ENCLOSURE_H
#define MODULE_VKT_VKT_ENCLOSURE_ENCLOSURE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/platform/export.h"
#include "module/vkt/vkt_enclosure/reading.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Enclosures {

enum class Generation : std::uint8_t
{
    kFirst,
    kVkt2,
};

/// What the module is and manages; every part of it hangs on the one status answer.
struct Module
{
    Reading<Generation> generation;
    Reading<std::uint8_t> platformId;        ///< 0xFC, 0xFD or 0xFE.
    Reading<std::uint8_t> nodeCount;         ///< 4 or 12.
    Reading<std::uint8_t> powerSupplyCount;  ///< Slots: 2, 6 or 9.
};

struct Identity
{
    Reading<std::string> machineType;      ///< Four letters or digits; absent when there are none.
    Reading<std::string> serialNumber;     ///< Printable ASCII; may be empty.
    Reading<std::string> firmwareVersion;  ///< "ABC123-1.0a": build name, major and minor version.
    Reading<std::string> name;             ///< Printable ASCII; may be empty.
};

/// Of the chassis or of a node. Absent: 65535, and a node's 0.
struct Consumption
{
    Reading<std::uint16_t> minimum;
    Reading<std::uint16_t> average;
    Reading<std::uint16_t> maximum;
};

/// Absent: 0.
struct PowerCaps
{
    Reading<std::uint16_t> lowest;   ///< That can be set.
    Reading<std::uint16_t> highest;  ///< That can be set.
    Reading<std::uint16_t> protective;
    Reading<std::uint16_t> user;
    Reading<std::uint16_t> thermal;
};

enum class FanState : std::uint8_t
{
    kNotPresent,
    kAbnormal,
    kNormal,
    kUnknown,  ///< A code that has no name; SupplyFans::code has it.
};

/// Absent: 0, and fan B of a first-generation module, which has one fan a supply.
struct Fan
{
    Reading<std::uint16_t> speed;
    Reading<std::uint8_t> pattern;
};

struct SupplyFans
{
    FanState state = FanState::kUnknown;
    std::uint8_t code = 0;  ///< As the module gave it.
    Fan a;
    Fan b;
};

/// One slot, and all of the supply in it. What hangs on a supply that is not there is absent.
struct PowerSupply
{
    std::uint8_t number = 0;  ///< From 1.
    /// The module has status bits for eight supplies. Whether the ninth is present is told by its
    /// fans and registers; its other bits are absent.
    Reading<bool> present;
    Reading<bool> powerGood;
    Reading<bool> powerOffWarning;  ///< Early power-off warning.
    Reading<bool> throttling;
    Reading<SupplyFans> fans;
    Reading<std::string> version;       ///< "1.03".
    Reading<std::string> manufacturer;  ///< Four characters, as the supply gives them: any byte.
    Reading<std::string> position;      ///< Hexadecimal: "10a".
};

enum class PowerState : std::uint8_t
{
    kOff,
    kNoPermission,
    kFault,
    kOn,
    kUnknown,  ///< A code that has no name; NodeState::code has it.
};

enum class NodeWidth : std::uint8_t
{
    kHalf,
    kFull,
    kUnknown,  ///< A code that has no name; NodeState::widthCode has it.
};

struct NodeState
{
    PowerState powerState = PowerState::kUnknown;
    std::uint8_t code = 0;              ///< Of the power state, as the module gave it.
    Reading<NodeWidth> width = {};      ///< Absent: 255.
    std::uint8_t widthCode = 0;         ///< As the module gave it.
    Reading<std::uint8_t> height = {};  ///< In bays; absent: 255.
    std::uint8_t permission = 0;        ///< As the module gave it.
};

struct Node
{
    std::uint8_t number = 0;  ///< From 1.
    Reading<NodeState> state;
    Reading<Consumption> power;
};

/// From whom it was read, and how.
struct Source
{
    std::string host;  ///< As the target named it.
    std::uint16_t port = 0;
    bool overHttps = false;
    std::optional<std::uint8_t> cipherSuite;  ///< RMCP+: what was agreed on.
    std::optional<Privilege> privilege;       ///< RMCP+: the session's ceiling.
};

/// What the read cost the module and the network.
struct Cost
{
    std::uint64_t requests = 0;
    std::uint64_t datagramsSent = 0;      ///< RMCP+ only.
    std::uint64_t datagramsReceived = 0;  ///< RMCP+ only.
    std::uint64_t copies = 0;             ///< Of requests that had no answer in time.
    std::uint64_t logIns = 0;             ///< Proofs of the password that were sent.
    std::uint64_t tlsHandshakes = 0;      ///< HTTPS only.
    std::chrono::milliseconds elapsed{};
};

/// Which values a read asks for; combine with |.
using Sections = std::uint32_t;
inline constexpr Sections kIdentity = 1U << 0U;
inline constexpr Sections kConsumption = 1U << 1U;
inline constexpr Sections kCaps = 1U << 2U;
inline constexpr Sections kSupplyStatus = 1U << 3U;
inline constexpr Sections kSupplyFans = 1U << 4U;
inline constexpr Sections kSupplyFirmware = 1U << 5U;
inline constexpr Sections kNodeStates = 1U << 6U;
inline constexpr Sections kNodePower = 1U << 7U;

inline constexpr Sections kModuleOnly = 0;
inline constexpr Sections kPower = kConsumption | kCaps;
inline constexpr Sections kSupplies = kSupplyStatus | kSupplyFans | kSupplyFirmware;
inline constexpr Sections kNodes = kNodeStates | kNodePower;
/// With the fewest requests all that a judgement needs.
inline constexpr Sections kHealth = kSupplyStatus | kSupplyFans | kNodeStates | kPower;
inline constexpr Sections kEverything = kIdentity | kPower | kSupplies | kNodes;

/// One read of one enclosure. Whatever happened, every part is there.
struct Enclosure
{
    std::chrono::system_clock::time_point time;  ///< When the read began.
    Source source;
    Sections asked = kModuleOnly;  ///< The module's own status is always asked.
    /// Why there was no conversation, or why it ended early; nothing when it ran to its end.
    std::optional<Failure> error;
    Module module;
    Identity identity;
    Reading<Consumption> consumption;
    Reading<PowerCaps> caps;
    std::vector<PowerSupply> powerSupplies;  ///< One a slot; empty when the module did not tell.
    std::vector<Node> nodes;                 ///< One a bay; empty when the module did not tell.
    Cost cost;
};

/// Something that was asked and not read.
struct Missing
{
    std::string object;  ///< "Module", "Chassis", "PSU3", "Node 4".
    std::optional<std::uint8_t> powerSupply;
    std::optional<std::uint8_t> node;
    /// The value's name in JSON, such as "powerGood", or that of all that one answer tells at once:
    /// "consumption", "caps", "fans", "powerState" (with width, height, permission), "power".
    std::string field;
    Failure failure;
};

/// Everything that was asked and not read, in the order of the record. Empty: the read is complete.
VKT_EXPORT std::vector<Missing> NotRead(const Enclosure& enclosure);

}  // namespace Tulvo::Enclosures

#endif
