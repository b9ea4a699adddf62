// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the page's overview shows of an enclosure, taken from the JSON of a reading.
#ifndef APPS_VKTINVENTORY_PAGE_ENTRY_H
#define APPS_VKTINVENTORY_PAGE_ENTRY_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Cli {

/// From best to worst.
enum class Status : std::uint8_t
{
    kOk,
    kWarning,
    kUnknown,
    kCritical,
};

/// As the JSON and the page call it.
std::string_view WordFor(Status status);

/// So many of all.
struct Share
{
    std::size_t part = 0;
    std::size_t whole = 0;
};

struct Entry
{
    std::string host;
    std::string time;  ///< ISO 8601, UTC; sorts as a text.
    Status status = Status::kUnknown;
    std::size_t worstFindings = 0;  ///< So many findings are as bad as the status.
    std::string group;              ///< Empty: none.
    std::string labels;
    std::string name;
    std::string serialNumber;
    std::vector<std::string> attention;  ///< A sentence each, the worst first.
    std::optional<std::int64_t> averagePower;
    std::optional<std::int64_t> lowestCap;  ///< Of those that bind.
    std::optional<Share> suppliesPresent;   ///< None when supplies were not read.
    std::optional<Share> nodesOn;
    std::string json;  ///< The whole reading on one line, in ASCII and without "<".
};

/// @param document what `--format json` printed of one enclosure; other versions' members are kept.
/// @throws BadInput when it is something else; the message names no place.
Entry EntryOf(const nlohmann::ordered_json& document);

}  // namespace Tulvo::Cli

#endif
