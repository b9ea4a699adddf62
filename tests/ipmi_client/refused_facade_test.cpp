// SPDX-License-Identifier: Apache-2.0
// How often a wrong password is sent by the library, which has a client for every request.
#include <gtest/gtest.h>

#include <atomic>

#include "module/vkt/vkt_inventory/vkt_inventory.h"
#include "tests/ipmi_client/fake_rmcp_module.h"
#include "tests/ipmi_client/fault_injecting_relay.h"

namespace Tulvo {
namespace {

TEST(RefusedFacade, ConstructionAndQueriesSendAWrongPasswordOnce)
{
    FakeRmcpModule module({.answer = GrantPrivilege});
    std::atomic<int> logIns{0};
    const FaultInjectingRelay relay(module.Port(), [&](const Datagram& d) {
        logIns += Carries(d, kRakp1) ? 1 : 0;
        return std::vector<Datagram>{d};
    });
    TulvoConnection::ConnectionInfo connection;
    connection.connectionType = 7;
    connection.address = "127.0.0.1";
    connection.port = relay.Port();
    connection.userName = "admin";
    connection.password = "secreT";
    VKTInventory enclosure(connection);
    std::string name;
    EXPECT_EQ(enclosure.GetName(name), VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(logIns, 1);
}

}  // namespace
}  // namespace Tulvo
