// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <iostream>

#include "common/connection/connection_values.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"

int main(int, char** argv)
{
    Tulvo::TulvoConnection::ConnectionInfo module;
    module.connectionType = Tulvo::TulvoConnection::kConnectOverRmcpPlus;
    module.address = argv[1];
    module.port = static_cast<std::uint16_t>(std::atoi(argv[2]));
    module.userName = argv[3];
    module.password = std::getenv("IPMI_PASSWORD");
    Tulvo::VKTInventory enclosure(module);  // already talks to the module
    std::string type;
    if (enclosure.GetMachineType(type) != Tulvo::VKT_INVENTORY_SUCCESS)
        return 1;
    std::cout << type << ", " << enclosure.GetNodeNub() << " nodes\n";
}
