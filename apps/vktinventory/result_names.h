// SPDX-License-Identifier: Apache-2.0
/// @file
/// Names and meanings of the library's result codes.
#ifndef APPS_VKTINVENTORY_RESULT_NAMES_H
#define APPS_VKTINVENTORY_RESULT_NAMES_H

#include <string_view>

#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace Tulvo::Cli {

struct ResultName
{
    VKTInventoryErrorCode code;
    std::string_view name;
    std::string_view meaning;
};

inline constexpr ResultName kResultNames[] = {
    {VKT_INVENTORY_SUCCESS, "VKT_INVENTORY_SUCCESS", "read"},
    {VKT_INVENTORY_TRANSPORT_ERROR, "VKT_INVENTORY_TRANSPORT_ERROR", "HTTPS failed"},
    {VKT_INVENTORY_CONNECT_FAILED, "VKT_INVENTORY_CONNECT_FAILED", "no connection"},
    {VKT_INVENTORY_FAILED, "VKT_INVENTORY_FAILED", "refused, or no usable answer"},
    {VKT_INVENTORY_NO_DATA, "VKT_INVENTORY_NO_DATA", "the module reports nothing"},
};

/// The entry of `code`; of VKT_INVENTORY_FAILED for a number that names no result.
constexpr const ResultName& NameOf(VKTInventoryErrorCode code)
{
    for (const ResultName& name : kResultNames) {
        if (name.code == code) {
            return name;
        }
    }
    return kResultNames[VKT_INVENTORY_FAILED];
}

}  // namespace Tulvo::Cli

#endif
