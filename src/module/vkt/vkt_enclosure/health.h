// SPDX-License-Identifier: Apache-2.0
/// @file
/// What an enclosure's readings mean for whoever looks after it.
#ifndef MODULE_VKT_VKT_ENCLOSURE_HEALTH_H
#define MODULE_VKT_VKT_ENCLOSURE_HEALTH_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/platform/export.h"
#include "module/vkt/vkt_enclosure/enclosure.h"

namespace Tulvo::Enclosures {

/// Ordered from best to worst: what could not be read may hide anything but what was found.
enum class Health : std::uint8_t
{
    kOk,
    kWarning,
    kUnknown,
    kCritical,
};

/// What the enclosure should have; unset where nothing is expected.
struct Expectations
{
    std::optional<std::uint8_t> powerSupplies = {};  ///< Present ones.
    /// Bays that hold a node: those with a width or a height.
    std::optional<std::uint8_t> nodes = {};
};

struct Finding
{
    Health severity = Health::kWarning;  ///< Never kOk.
    std::string object;                  ///< "Module", "Chassis", "PSU5", "Node 4".
    std::optional<std::uint8_t> powerSupply;
    std::optional<std::uint8_t> node;
    std::string field;    ///< Of the catalogue, such as "powerGood".
    std::string message;  ///< A sentence without its object: "has no good power".
};

struct Judgement
{
    Health status = Health::kUnknown;  ///< The worst of the findings; kOk without any.
    std::vector<Finding> findings;     ///< Worst first, then in the order of the record.
};

/// Judges what was read, and what is missing though it was asked. An enclosure of which nothing
/// that tells about health was asked is unknown.
VKT_EXPORT Judgement Judge(const Enclosure& enclosure, const Expectations& expectations = {});

}  // namespace Tulvo::Enclosures

#endif
