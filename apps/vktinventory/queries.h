// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the command can ask of the library, as one table.
#ifndef APPS_VKTINVENTORY_QUERIES_H
#define APPS_VKTINVENTORY_QUERIES_H

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "apps/vktinventory/cell.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace Tulvo::Cli {

/// Queries that belong together. A command names the sections that it runs.
enum class Section
{
    kIdentity,
    kModule,
    kPower,
    kSupplies,
    kNodes,
    kSelection,
};

/// What the library answers to a query.
enum class Shape
{
    kText,    ///< One text.
    kRecord,  ///< One record.
    kList,    ///< A record for each power supply.
    kNode,    ///< One record, for the node whose number is asked with.
    kAction,  ///< Nothing but a result.
};

/// The library's answer to one call. `records` is what was read, which after a failure may still be
/// the part before it; `read` tells nothing read from an empty list.
struct Reply
{
    VKTInventoryErrorCode result = VKT_INVENTORY_FAILED;
    bool read = false;
    std::vector<Record> records;
};

struct Query
{
    Section section;
    Shape shape;
    std::string_view key;    ///< In JSON.
    std::string_view label;  ///< In tables and messages.
    /// Asks; `number` is the node or the supply where the shape or the section wants one.
    Reply (*ask)(VKTInventory& inventory, std::uint64_t number);
    /// The record's cells without values: headings, and what stands where nothing was read.
    Record (*columns)();
};

/// All queries, in the order in which they are asked and printed.
std::span<const Query> Queries();

}  // namespace Tulvo::Cli

#endif
