// SPDX-License-Identifier: Apache-2.0
/// @file
/// A module for tests of the command: the inventory library and the two transports, replaced at
/// link time by what a test says. A test fills FakeModule::Current() and runs the command against
/// it.
#ifndef TESTS_VKTINVENTORY_COMMAND_FAKE_MODULE_H
#define TESTS_VKTINVENTORY_COMMAND_FAKE_MODULE_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/config/global_config.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "module/vkt/vkt_https/vkt_https.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace Tulvo::Test {

/// What a query gives: a result and, when it is kept, the output.
template <class T>
struct Scripted
{
    VKTInventoryErrorCode result = VKT_INVENTORY_SUCCESS;
    T output = {};

    VKTInventoryErrorCode Give(T& out) const
    {
        if (result == VKT_INVENTORY_SUCCESS) {
            out = output;
        }
        return result;
    }
};

struct FakeNode
{
    Scripted<NodeStatus> status;
    Scripted<ChassisPowerCon> power;
};

class FakeModule
{
public:
    static FakeModule& Current();

    /// A small first-generation enclosure where all is well: 2 supplies, 4 nodes.
    static FakeModule Healthy();

    // The module answers the command's first exchange like this.
    CONNECTIONSTATE ipmiState = CONNECTION_CONNECTED;
    VKTHttpsErrorCode httpsResult = VKT_HTTPS_SUCCESS;
    std::string transportError;
    std::uint8_t completionCode = 0;
    std::vector<std::uint8_t> statusAnswer{0x01};  ///< Begins with what names the generation.
    std::uint64_t unanswered = 0;                  ///< Requests, until now.

    // And the library's queries like this.
    Scripted<std::string> machineType, serialNumber, firmwareVersion, name;
    Scripted<ChassisPowerCon> chassisPower;
    Scripted<ChassisPowerCap> chassisCap;
    std::vector<PSUFanSpeed> fans;
    VKTInventoryErrorCode fansResult = VKT_INVENTORY_SUCCESS;
    std::uint64_t fansUnanswered = 0;  ///< Supplies that do not answer for their fans.
    Scripted<std::vector<PSUFwInfo>> firmware;
    std::size_t supplySlots = 2;
    Scripted<std::vector<PSUStatus>> supplies;
    std::vector<FakeNode> nodes;
    VKTInventoryErrorCode moduleResult = VKT_INVENTORY_SUCCESS;
    std::optional<VKTStatus> moduleStatus;  ///< Empty: an answer too short to tell.
    VKTInventoryErrorCode selectResult = VKT_INVENTORY_SUCCESS;
    std::function<void()> onConstruction = [] {};  ///< While the library reads the status.
    std::function<void()> onSerialNumber = [] {};

    // What the command did.
    std::optional<TulvoConnection::ConnectionInfo> asked;  ///< By the library.
    std::optional<TulvoConnection::ConnectionInfo> httpsTried;
    std::string ipmiTried;  ///< "address|user|password|port|suite" of the first exchange.
    int openSessions = 0;
    int selectedSupply = 0;
    std::map<std::string, int> numbersSet;  ///< In the global configuration.
    std::map<std::string, std::string> textsSet;
    std::map<std::string, ConfigSetting<std::string>> textsConfigured;
};

}  // namespace Tulvo::Test

#endif
