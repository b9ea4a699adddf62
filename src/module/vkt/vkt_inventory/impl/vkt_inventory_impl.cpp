// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_impl.h"

#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

namespace Tulvo {

void VKTInventoryImpl::ReadModule(VKTInfo& info, VKTInventoryParseResponse& parser)
{
    // A module that does not tell its type is decoded by the type that the backend started with.
    (void)info.GetVktType(vktType);
    parser.vktType = vktType;
    if (GetVKTStatus(status) != VKT_INVENTORY_SUCCESS) {
        return;
    }
    psuSlotCount = static_cast<std::uint64_t>(std::int64_t{status.psuCount});
    parser.ParseNodeCount(status, nodeCount);
}

std::uint64_t VKTInventoryImpl::GetNodeNub()
{
    return nodeCount;
}

std::ostream& operator<<(std::ostream& stream, const WrongNode& wrong)
{
    return stream << "node " << wrong.node << "is wrong: need 1-" << wrong.nodeCount;
}

}  // namespace Tulvo
