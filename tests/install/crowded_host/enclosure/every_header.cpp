// SPDX-License-Identifier: Apache-2.0
// Includes every header that is installed, beside the host's own of the same paths, and calls a
// function of each.
#include <common/connection/connection_info.h>
#include <common/log/log.h>
#include <common/platform/export.h>

#include <iostream>

#include "common/config/global_config.h"
#include "common/connection/connection_info.h"
#include "common/connection/connection_values.h"
#include "common/log/log.h"
#include "common/platform/sleep.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "module/ipmi/ipmi_client/rmcp_transport.h"
#include "module/vkt/vkt_enclosure/health.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "module/vkt/vkt_https/https_transport.h"
#include "module/vkt/vkt_https/server_pin.h"
#include "module/vkt/vkt_https/vkt_https.h"
#include "module/vkt/vkt_info/vkt_info.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"

#if !defined HOST_LOG || !defined HOST_EXPORT || !defined HOST_CONNECTION_INFO
#error "The host does not get its own headers"
#endif

// As a host makes them in tests of its own: only the members that matter, and no compiler warns.
namespace made {
using namespace Tulvo::Enclosures;
const Failure kFailure{.cause = Cause::kBusy};
const SupplyFans kFans{.a = {.speed = 1}, .b = {.pattern = 1}};
const NodeState kState{.height = 1};
const Enclosure kEnclosure{
    .source = {.port = 1},
    .asked = kHealth,
    .module = {.nodeCount = 4},
    .identity = {.name = std::string("A")},
    .consumption = Consumption{.average = 1},
    .caps = PowerCaps{.user = 1},
    .powerSupplies = {PowerSupply{.number = 1, .fans = kFans}},
    .nodes = {Node{.number = 1, .state = kState, .power = Consumption{.maximum = 1}}},
    .cost = {.requests = 1}};
const Missing kMissing{.field = "fans"};
const Judgement kJudgement{.findings = {Finding{.severity = Health::kCritical}}};
const Selection kSelection{.failure = kFailure};
const Target kTarget{.host = "", .transport = RmcpPlus{.kg = ""}};
const Target kOverHttps{.host = "", .transport = Https{.trust = TrustAnybody{}}};
const Scope kScope{.node = 1};
const Limits kLimits{.deadline = std::chrono::seconds(1)};
const Expectations kExpectations{.nodes = 1};
}  // namespace made

int main()
{
    Tulvo::SetLogLevel(0);
    Tulvo::Log(1, __FILE__, __LINE__).Stream() << "not written";
    Tulvo::SetGlobalConfigValue("MODULE_TYPE", Tulvo::VKT_TYPE_VKT2);
    Tulvo::Sleep(0);

    Tulvo::TulvoConnection::ConnectionInfo nobody;
    Tulvo::VKTHttps https(nobody);
    Tulvo::IpmiClient ipmi("", "", "", "", 3);
    const Tulvo::VKTInventory inventory(nobody);
    auto moduleType = Tulvo::VKT_TYPE_UNKNOWN;
    const bool typeIsTold =
        Tulvo::VKTInfo(&https).GetVktType(moduleType) == Tulvo::VKT_INFO_SUCCESS;
    std::cout << "type " << moduleType << (typeIsTold ? " told, " : " not told, ")
              << (ipmi.connect() == Tulvo::CONNECTION_CONNECTED ? "connected" : "no connection");
    const Tulvo::CallLimit over{Tulvo::CallLimit::Clock::now()};
    const auto pin = Tulvo::ReadServerPin("", 0, over);
    std::cout << (std::get_if<Tulvo::Failure>(&pin) != nullptr ? ", no pin" : ", a pin");
    const bool opened = !Tulvo::MakeHttpsTransport({})->Open(over).failure ||
                        !Tulvo::MakeRmcpTransport({})->Open(over).failure;
    std::cout << (opened ? ", a session" : ", no session");
    const auto enclosure = ReadEnclosure(made::kTarget, made::kScope, made::kLimits);
    std::cout << ", health " << KeyOf(Judge(enclosure, made::kExpectations).status) << "\n";
}
