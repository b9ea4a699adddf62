// SPDX-License-Identifier: Apache-2.0
/// @file
/// Readings as JSON text: an object, an array of them, JSON Lines, or any of these one behind the
/// other.
#ifndef APPS_VKTINVENTORY_PAGE_READINGS_H
#define APPS_VKTINVENTORY_PAGE_READINGS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "apps/vktinventory/page/entry.h"

namespace Tulvo::Cli {

/// Ten thousand enclosures; more is no page.
inline constexpr std::size_t kMostBytes = 64U << 20U;

/// @param name what the text came from, for messages.
/// @throws BadInput when any of it is no reading, or there is none.
std::vector<Entry> ReadingsIn(std::string_view text, const std::string& name);

/// Keeps the newest reading of each host, in the place of its first.
/// @return how many were left out.
std::size_t KeepNewest(std::vector<Entry>& entries);

}  // namespace Tulvo::Cli

#endif
