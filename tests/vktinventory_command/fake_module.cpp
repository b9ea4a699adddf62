// SPDX-License-Identifier: Apache-2.0
#include "tests/vktinventory_command/fake_module.h"

#include "common/config/global_config.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_impl.h"

namespace Tulvo {

using Test::FakeModule;

namespace {

FakeModule& Module()
{
    return FakeModule::Current();
}

ChassisPowerCon Power(const char* min, const char* avg, const char* max)
{
    ChassisPowerCon power;
    power.min = min;
    power.avg = avg;
    power.max = max;
    return power;
}

ChassisPowerCap PowerCap()
{
    ChassisPowerCap cap;
    cap.min = "N/A";
    cap.max = "1200";
    cap.protectiveCap = "N/A";
    cap.userCap = "1000";
    cap.thermalCap = "65535";
    return cap;
}

PSUStatus GoodSupply()
{
    PSUStatus status;
    status.epow = status.throttle = "not trigger";
    status.present = "present";
    status.pwrGood = "power good";
    return status;
}

PSUFanSpeed Fan(const std::string& slot)
{
    PSUFanSpeed fan;
    fan.psu = "PSU" + slot;
    fan.speedA = "10000";
    fan.patA = "5";
    fan.status = "Normal";
    return fan;
}

PSUFwInfo Firmware(const std::string& slot)
{
    PSUFwInfo firmware;
    firmware.psu = "PSU" + slot;
    firmware.manufacturer = "PSUACME10a";
    firmware.version = "1.03";
    firmware.slot = slot;
    firmware.name = "Power Supply " + slot;
    return firmware;
}

Test::FakeNode Node()
{
    Test::FakeNode node;
    node.status.output.powerState = "Power ON";
    node.status.output.width = "Half";
    node.status.output.height = "1";
    node.status.output.permissionState = 2;
    node.power.output = Power("90", "120", "180");
    return node;
}

}  // namespace

FakeModule& FakeModule::Current()
{
    static FakeModule module;
    return module;
}

FakeModule FakeModule::Healthy()
{
    FakeModule module;
    module.machineType.output = "7X58";
    module.serialNumber.output = "J30ABC12";
    module.firmwareVersion.output = "ABC123-1.0a";
    module.name.output = "Chassis A";
    module.chassisPower.output = Power("300", "400", "500");
    module.chassisCap.output = PowerCap();
    module.fans = {Fan("1"), Fan("2")};
    module.firmware.output = {Firmware("1"), Firmware("2")};
    module.supplies.output = {GoodSupply(), GoodSupply()};
    module.nodes = {Node(), Node(), Node(), Node()};
    module.moduleStatus = VKTStatus();
    return module;
}

VKTInventory::VKTInventory(const TulvoConnection::ConnectionInfo& connectionInfo)
{
    Module().asked = connectionInfo;
    Module().onConstruction();
}
VKTInventory::~VKTInventory() = default;

VKTInventoryErrorCode VKTInventory::GetMachineType(std::string& text)
{
    return Module().machineType.Give(text);
}

VKTInventoryErrorCode VKTInventory::GetSerialNumber(std::string& text)
{
    Module().onSerialNumber();
    return Module().serialNumber.Give(text);
}

VKTInventoryErrorCode VKTInventory::GetFirmwareVersion(std::string& text)
{
    return Module().firmwareVersion.Give(text);
}

VKTInventoryErrorCode VKTInventory::GetName(std::string& text)
{
    return Module().name.Give(text);
}

VKTInventoryErrorCode VKTInventory::GetChassisPowerConsumption(ChassisPowerCon& consumption)
{
    return Module().chassisPower.Give(consumption);
}

VKTInventoryErrorCode VKTInventory::GetChassisPowerCap(ChassisPowerCap& cap)
{
    return Module().chassisCap.Give(cap);
}

/// Like the library: what was read before a failure stays.
VKTInventoryErrorCode VKTInventory::GetPSUFanSpeed(std::vector<PSUFanSpeed>& fans)
{
    fans = Module().fans;
    Module().unanswered += Module().fansUnanswered;
    return Module().fansResult;
}

VKTInventoryErrorCode VKTInventory::GetPSUFwInfo(std::vector<PSUFwInfo>& firmware)
{
    return Module().firmware.Give(firmware);
}

/// Like the library: sized before anything is read.
VKTInventoryErrorCode VKTInventory::GetPSUStatus(std::vector<PSUStatus>& statuses)
{
    statuses.resize(Module().supplySlots);
    return Module().supplies.Give(statuses);
}

VKTInventoryErrorCode VKTInventory::GetNodeStatus(std::uint64_t node, NodeStatus& status)
{
    return Module().nodes.at(node - 1).status.Give(status);
}

VKTInventoryErrorCode VKTInventory::GetNodePowerConsumption(std::uint64_t node,
                                                            ChassisPowerCon& consumption)
{
    return Module().nodes.at(node - 1).power.Give(consumption);
}

std::uint64_t VKTInventory::GetNodeNub()
{
    return Module().nodes.size();
}

VKTInventoryErrorCode VKTInventory::GetVKTStatus(VKTStatus& status)
{
    if (Module().moduleResult == VKT_INVENTORY_SUCCESS && Module().moduleStatus) {
        status = *Module().moduleStatus;
    }
    return Module().moduleResult;
}

VKTInventoryErrorCode VKTInventory::SelectPSU(int psu)
{
    Module().selectedSupply = psu;
    return Module().selectResult;
}

struct IpmiClient::Session
{
};

IpmiClientInterface::~IpmiClientInterface() = default;

IpmiClient::IpmiClient(const std::string& address, const std::string& userName,
                       const std::string& password, const std::string& port,
                       std::uint64_t cipherSuite)
{
    Module().ipmiTried =
        address + "|" + userName + "|" + password + "|" + port + "|" + std::to_string(cipherSuite);
}
IpmiClient::~IpmiClient() = default;

CONNECTIONSTATE IpmiClient::connect()
{
    Module().openSessions += Module().ipmiState == CONNECTION_CONNECTED ? 1 : 0;
    return Module().ipmiState;
}

void IpmiClient::disconnect()
{
    Module().openSessions = 0;
}

std::int32_t IpmiClient::send(const IPMICOMMAND&, std::vector<std::uint8_t>& response,
                              std::uint8_t& completionCode)
{
    response = Module().statusAnswer;
    completionCode = Module().completionCode;
    return 0;
}

void IpmiClient::setBlockLength(std::uint16_t)
{
}

std::string IpmiClient::lastError() const
{
    return Module().transportError;
}

std::uint64_t IpmiClient::unansweredRequests()
{
    return Module().unanswered;
}

void IpmiClient::interruptAll()
{
}

bool IpmiClient::waitUntilAllClosed(std::uint32_t)
{
    return true;
}

void VKTHttps::InterruptAll()
{
}

bool VKTHttps::WaitUntilAllClosed(std::uint32_t)
{
    return true;
}

struct VKTHttps::Transport
{
};

VKTHttps::VKTHttps(const TulvoConnection::ConnectionInfo& connectionInfo)
{
    Module().httpsTried = connectionInfo;
}

VKTHttpsErrorCode VKTHttps::SendIpmiCmdOverHttps(const IPMICOMMAND&,
                                                 std::vector<std::uint8_t>& response,
                                                 std::uint8_t& completionCode)
{
    response = Module().statusAnswer;
    completionCode = Module().completionCode;
    return Module().httpsResult;
}

std::string VKTHttps::LastError() const
{
    return Module().transportError;
}

int GetGlobalConfigValue(const std::string& key, int defaultValue)
{
    const auto found = Module().numbersSet.find(key);
    return found == Module().numbersSet.end() ? defaultValue : found->second;
}

ConfigSetting<std::string> FindGlobalConfigText(const std::string& key)
{
    const auto found = Module().textsConfigured.find(key);
    return found == Module().textsConfigured.end() ? ConfigSetting<std::string>() : found->second;
}

void SetGlobalConfigValue(const std::string& key, int value)
{
    Module().numbersSet[key] = value;
}

void SetGlobalConfigText(const std::string& key, const std::string& text)
{
    Module().textsSet[key] = text;
}

}  // namespace Tulvo
