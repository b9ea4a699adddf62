// SPDX-License-Identifier: Apache-2.0
/// @file
/// The two things that can be asked of an enclosure. Each call is one conversation: one log-in, all
/// requests, one log-out, within one deadline. It blocks its thread, and starts none but to look a
/// host's name up. Calls for different targets, or the same, may run side by side in any number of
/// threads and share nothing. Nothing is thrown but std::bad_alloc.
/// Log records of a call name the target's host, and its port unless it is the transport's own, as
/// LogRecord::target.
#ifndef MODULE_VKT_VKT_ENCLOSURE_READ_ENCLOSURE_H
#define MODULE_VKT_VKT_ENCLOSURE_READ_ENCLOSURE_H

#include <optional>

#include "common/platform/export.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Enclosures {

/// What to read.
struct Scope
{
    Sections sections = kEverything;  ///< Those that are asked for.
    /// Of the nodes only this one (from 1); 0 for all. One that the enclosure does not have leaves
    /// Enclosure::nodes empty.
    std::uint8_t node = 0;
};

/// Reads an enclosure. What could not be read says why in its place.
/// @param target whom to ask.
/// @param scope  what to ask for.
/// @param limits how long, and when to stop.
/// @return the record, with every part in it whatever happened.
VKT_EXPORT Enclosure ReadEnclosure(const Target& target, const Scope& scope, const Limits& limits);

/// What became of a selection.
struct Selection
{
    std::optional<Failure> failure = {};  ///< Nothing: the module has selected the supply.
    /// The slots that the enclosure has; a number beyond them is refused without being sent.
    Reading<std::uint8_t> powerSupplyCount = {};
    Source source = {};  ///< Who was asked.
    Cost cost = {};      ///< What it took.
};

/// Selects a power supply on the module. The request is never sent over a second session: whether
/// the first has carried it would not be known.
/// @param target whom to ask.
/// @param number of the supply, from 1.
/// @param limits how long, and when to stop.
/// @return whether it was done, and if not, why.
[[nodiscard]] VKT_EXPORT Selection SelectSupply(const Target& target, std::uint8_t number,
                                                const Limits& limits);

}  // namespace Tulvo::Enclosures

#endif
