// SPDX-License-Identifier: Apache-2.0
// host_program rmcp|https ADDRESS PORT USER [KEY=VALUE]...
// Names an enclosure, like the smallest example, but with its own logger and its own configuration
// in place of the library's. The password comes from the environment's IPMI_PASSWORD.
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "common/connection/connection_values.h"
#include "host_config.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace {

Tulvo::TulvoConnection::ConnectionInfo Module(const std::vector<std::string>& words)
{
    const char* const password = std::getenv("IPMI_PASSWORD");
    Tulvo::TulvoConnection::ConnectionInfo module;
    module.connectionType = words[0] == "https" ? Tulvo::TulvoConnection::kConnectOverHttps
                                                : Tulvo::TulvoConnection::kConnectOverRmcpPlus;
    module.address = words[1];
    module.port = static_cast<std::uint16_t>(std::atoi(words[2].c_str()));
    module.userName = words[3];
    module.password = password == nullptr ? "" : password;
    return module;
}

bool TakeSettings(const std::vector<std::string>& words)
{
    bool good = true;
    for (std::size_t i = 4; i < words.size(); ++i) {
        good = Host::TakeSetting(words[i]) && good;
    }
    return good;
}

void ShowAskedKeys()
{
    for (const std::string& key : Host::AskedKeys()) {
        std::cout << "asked for " << key << '\n';
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() < 4 || !TakeSettings(words)) {
        std::cerr << "usage: host_program rmcp|https ADDRESS PORT USER [KEY=VALUE]...\n";
        return 2;
    }
    Tulvo::VKTInventory enclosure(Module(words));
    std::string type;
    const bool known = enclosure.GetMachineType(type) == Tulvo::VKT_INVENTORY_SUCCESS;
    std::cout << (known ? type : "unknown") << ", " << enclosure.GetNodeNub() << " nodes\n";
    ShowAskedKeys();
    return known ? 0 : 1;
}
