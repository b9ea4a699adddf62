// SPDX-License-Identifier: Apache-2.0
/// @file
/// What one read of an enclosure found: numbers as numbers, states as enumerations, a reason for
/// whatever is missing. Readings of power and fans are in the module's own unit, which it does not
/// name. Texts hold what the module says: where a range is given it was checked, elsewhere make
/// them printable before a person sees them.
///
/// All are plain values: they may be copied, and handed to other threads. Members and enumerators
/// may be added with a minor version, so name members where you make one, and give a switch a
/// default.
#ifndef MODULE_VKT_VKT_ENCLOSURE_ENCLOSURE_H
#define MODULE_VKT_VKT_ENCLOSURE_ENCLOSURE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/platform/export.h"
#include "module/vkt/vkt_enclosure/reading.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Enclosures {

/// Of management modules.
enum class Generation : std::uint8_t
{
    kFirst,  ///< The first one.
    kVkt2,   ///< The second one.
};

/// What the module is and manages; every part of it hangs on the one status answer.
struct Module
{
    Reading<Generation> generation = {};          ///< Of the module.
    Reading<std::uint8_t> platformId = {};        ///< 0xFC, 0xFD or 0xFE.
    Reading<std::uint8_t> nodeCount = {};         ///< 4 or 12.
    Reading<std::uint8_t> powerSupplyCount = {};  ///< Slots: 2, 6 or 9.
};

/// What tells the enclosure from others.
struct Identity
{
    Reading<std::string> machineType = {};  ///< Four letters or digits; absent when there are none.
    Reading<std::string> serialNumber = {};  ///< Printable ASCII; may be empty.
    /// "ABC123-1.0a": build name, major and minor version.
    Reading<std::string> firmwareVersion = {};
    Reading<std::string> name = {};  ///< Printable ASCII; may be empty.
};

/// Of the chassis or of a node. Absent: 65535, and a node's 0.
struct Consumption
{
    Reading<std::uint16_t> minimum = {};  ///< Lowest.
    Reading<std::uint16_t> average = {};  ///< On average.
    Reading<std::uint16_t> maximum = {};  ///< Highest.
};

/// Caps of the chassis. Absent: 0.
struct PowerCaps
{
    Reading<std::uint16_t> lowest = {};      ///< That can be set.
    Reading<std::uint16_t> highest = {};     ///< That can be set.
    Reading<std::uint16_t> protective = {};  ///< Protects the chassis.
    Reading<std::uint16_t> user = {};        ///< That the user has set.
    Reading<std::uint16_t> thermal = {};     ///< For the temperature's sake.
};

/// Of all fans of a supply.
enum class FanState : std::uint8_t
{
    kNotPresent,  ///< The module says that there are none.
    kAbnormal,    ///< Not well.
    kNormal,      ///< Well.
    kUnknown,     ///< A code that has no name; SupplyFans::code has it.
};

/// Absent: 0, and fan B of a first-generation module, which has one fan a supply.
struct Fan
{
    Reading<std::uint16_t> speed = {};   ///< 1 to 65535.
    Reading<std::uint8_t> pattern = {};  ///< Speed pattern that it follows, 1 to 255.
};

/// The fans of one supply, which one answer tells.
struct SupplyFans
{
    FanState state = FanState::kUnknown;  ///< Of both.
    std::uint8_t code = 0;                ///< Of the state, as the module gave it.
    Fan a = {};                           ///< The first.
    Fan b = {};                           ///< The second.
};

/// One slot, and all of the supply in it. What hangs on a supply that is not there is absent.
struct PowerSupply
{
    std::uint8_t number = 0;  ///< From 1.
    /// The module has status bits for eight supplies. Whether the ninth is present is told by its
    /// fans and registers; its other bits are absent.
    Reading<bool> present = {};
    Reading<bool> powerGood = {};        ///< Whether it has good power.
    Reading<bool> powerOffWarning = {};  ///< Early power-off warning.
    Reading<bool> throttling = {};       ///< Whether it makes the nodes throttle.
    Reading<SupplyFans> fans = {};       ///< Both fans.
    Reading<std::string> version = {};   ///< "1.03".
    /// Four characters, as the supply gives them: any byte.
    Reading<std::string> manufacturer = {};
    Reading<std::string> position = {};  ///< Hexadecimal: "10a".
};

/// Of a node's power.
enum class PowerState : std::uint8_t
{
    kOff,           ///< Off.
    kNoPermission,  ///< As the module calls it: No Permission.
    kFault,         ///< A power fault.
    kOn,            ///< On.
    kUnknown,       ///< A code that has no name; NodeState::code has it.
};

/// Of a node.
enum class NodeWidth : std::uint8_t
{
    kHalf,     ///< Half as wide as the enclosure.
    kFull,     ///< As wide as the enclosure.
    kUnknown,  ///< A code that has no name; NodeState::widthCode has it.
};

/// What one answer tells of a node.
struct NodeState
{
    PowerState powerState = PowerState::kUnknown;  ///< Whether it is on.
    std::uint8_t code = 0;                         ///< Of the power state, as the module gave it.
    Reading<NodeWidth> width = {};                 ///< Absent: 255.
    std::uint8_t widthCode = 0;                    ///< As the module gave it.
    Reading<std::uint8_t> height = {};             ///< In bays; absent: 255.
    std::uint8_t permission = 0;                   ///< As the module gave it.
};

/// One bay, and the node in it.
struct Node
{
    std::uint8_t number = 0;  ///< From 1.
    /// Power, size, permission. A bay without a size holds no node.
    Reading<NodeState> state = {};
    Reading<Consumption> power = {};  ///< What it consumes.
};

/// From whom it was read, and how.
struct Source
{
    std::string host = {};                         ///< As the target named it.
    std::uint16_t port = 0;                        ///< That was asked; never 0 after a read.
    bool overHttps = false;                        ///< Else over RMCP+.
    std::optional<std::uint8_t> cipherSuite = {};  ///< RMCP+: agreed on, else asked for last.
    std::optional<Privilege> privilege = {};       ///< RMCP+: the session's ceiling.
};

/// What the read cost the module and the network.
struct Cost
{
    std::uint64_t requests = 0;           ///< Of IPMI; a copy is no request.
    std::uint64_t datagramsSent = 0;      ///< RMCP+ only.
    std::uint64_t datagramsReceived = 0;  ///< RMCP+ only.
    std::uint64_t copies = 0;             ///< Of requests that had no answer in time.
    std::uint64_t logIns = 0;             ///< Proofs of the password that were sent.
    /// Log-ins in which the module refused user or password. Over RMCP+ no proof has left when it
    /// shows at once that it has others.
    std::uint64_t logInsRefused = 0;
    std::uint64_t tlsHandshakes = 0;      ///< HTTPS only: begun ones.
    std::chrono::milliseconds elapsed{};  ///< From the call to its return.
};

/// Which values a read asks for; combine with |. Each costs the requests that are said with it.
using Sections = std::uint32_t;
inline constexpr Sections kIdentity = 1U << 0U;      ///< Enclosure::identity: 3.
inline constexpr Sections kConsumption = 1U << 1U;   ///< Enclosure::consumption: 1.
inline constexpr Sections kCaps = 1U << 2U;          ///< Enclosure::caps: 1.
inline constexpr Sections kSupplyStatus = 1U << 3U;  ///< The four bits of all supplies: 1.
inline constexpr Sections kSupplyFans = 1U << 4U;    ///< PowerSupply::fans: 1 a supply.
inline constexpr Sections kSupplyFirmware =
    1U << 5U;                                      ///< Version, manufacturer, position: 3 a supply.
inline constexpr Sections kNodeStates = 1U << 6U;  ///< Node::state: 1 a bay.
inline constexpr Sections kNodePower = 1U << 7U;   ///< Node::power: 1 a bay.

inline constexpr Sections kModuleOnly = 0;  ///< Enclosure::module, which every read asks for: 1.
inline constexpr Sections kPower = kConsumption | kCaps;  ///< All power of the chassis.
/// All of the supplies. Those that their status bits call not present are not asked for the rest.
inline constexpr Sections kSupplies = kSupplyStatus | kSupplyFans | kSupplyFirmware;
inline constexpr Sections kNodes = kNodeStates | kNodePower;  ///< All of the nodes.
/// With the fewest requests all that a judgement needs.
inline constexpr Sections kHealth = kSupplyStatus | kSupplyFans | kNodeStates | kPower;
/// All that there is.
inline constexpr Sections kEverything = kIdentity | kPower | kSupplies | kNodes;

/// One read of one enclosure. Whatever happened, every part is there.
struct Enclosure
{
    std::chrono::system_clock::time_point time = {};  ///< When the read began.
    Source source = {};                               ///< Who was asked.
    Sections asked = kModuleOnly;                     ///< The module's own status is always asked.
    /// Why there was no conversation, or why it ended early; nothing when it ran to its end, though
    /// single values may be missing then, too: NotRead() tells.
    std::optional<Failure> error = {};
    Module module = {};                     ///< What it is and manages.
    Identity identity = {};                 ///< What tells it from others.
    Reading<Consumption> consumption = {};  ///< Of the chassis.
    Reading<PowerCaps> caps = {};           ///< Of the chassis.
    /// One a slot, in their order; empty when the module did not tell, or no section of them was
    /// asked.
    std::vector<PowerSupply> powerSupplies = {};
    /// One a bay, in their order, or only Scope::node: Node::number tells which one it is; empty
    /// when the module did not tell, or no section of them was asked.
    std::vector<Node> nodes = {};
    Cost cost = {};  ///< What it took.
};

/// Something that was asked and not read.
struct Missing
{
    std::string object = {};                       ///< "Module", "Chassis", "PSU3", "Node 4".
    std::optional<std::uint8_t> powerSupply = {};  ///< Its number, of a supply.
    std::optional<std::uint8_t> node = {};         ///< Its number, of a node.
    /// The value's name in JSON, such as "powerGood", or that of all that one answer tells at once:
    /// "consumption", "caps", "fans", "powerState" (with width, height, permission), "power".
    std::string field = {};
    Failure failure = {};  ///< Why.
};

/// Everything that was asked and not read, in the order of the record. Empty: the read is complete.
[[nodiscard]] VKT_EXPORT std::vector<Missing> NotRead(const Enclosure& enclosure);

/// The cause as one word, the same as in the command's JSON: "timedOut".
VKT_EXPORT std::string_view KeyOf(Cause cause);

}  // namespace Tulvo::Enclosures

#endif
