// SPDX-License-Identifier: Apache-2.0
/// @file
/// What an enclosure's readings mean for whoever looks after it.
#ifndef MODULE_VKT_VKT_ENCLOSURE_HEALTH_H
#define MODULE_VKT_VKT_ENCLOSURE_HEALTH_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/platform/export.h"
#include "module/vkt/vkt_enclosure/enclosure.h"

namespace Tulvo::Enclosures {

/// Ordered from best to worst: what could not be read may hide anything but what was found.
enum class Health : std::uint8_t
{
    kOk,        ///< Nothing needs attention.
    kWarning,   ///< Something should be looked after.
    kUnknown,   ///< Something that was asked was not read.
    kCritical,  ///< Something fails.
};

/// What the enclosure should have; unset where nothing is expected.
struct Expectations
{
    std::optional<std::uint8_t> powerSupplies = {};  ///< Present ones.
    /// Bays that hold a node: those with a width or a height.
    std::optional<std::uint8_t> nodes = {};
};

/// One thing that needs attention.
struct Finding
{
    Health severity = Health::kWarning;            ///< Never kOk.
    std::string object = {};                       ///< "Module", "Chassis", "PSU5", "Node 4".
    std::optional<std::uint8_t> powerSupply = {};  ///< Its number, of a supply.
    std::optional<std::uint8_t> node = {};         ///< Its number, of a node.
    std::string field = {};                        ///< As in Missing, such as "powerGood".
    std::string message = {};  ///< A sentence without its object: "has no good power".
};

/// What a read means.
struct Judgement
{
    Health status = Health::kUnknown;    ///< The worst of the findings; kOk without any.
    std::vector<Finding> findings = {};  ///< Worst first, then in the order of the record.
};

/// Judges what was read, and what is missing though it was asked. An enclosure of which nothing
/// that tells about health was asked is unknown, and so is one without the only node that was.
[[nodiscard]] VKT_EXPORT Judgement Judge(const Enclosure& enclosure,
                                         const Expectations& expectations = {});

/// The health as one word, the same as in the command's JSON: "critical".
VKT_EXPORT std::string_view KeyOf(Health health);

}  // namespace Tulvo::Enclosures

#endif
