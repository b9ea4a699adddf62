// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_ipmi_impl.h"

#include <new>

#include "common/config/global_config.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "module/vkt/vkt_info/vkt_info.h"
#include "module/vkt/vkt_inventory/impl/byte_dump.h"
#include "module/vkt/vkt_inventory/impl/log_statement.h"
#include "module/vkt/vkt_inventory/impl/number_text.h"
#include "module/vkt/vkt_inventory/impl/retried_query.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

namespace Tulvo {

namespace {

using Parser = VKTInventoryParseResponse;

constexpr std::uint64_t kCipherSuite = 3;  // SHA1 and AES-128: what every module offers
constexpr std::uint8_t kNoAnswer = 0xFF;

/// Tries again while the module says that a later try may succeed.
CONNECTIONSTATE Connect(IpmiClient& client)
{
    const int attempts = GetGlobalConfigValue("IPMI_CONNECT_RETRY_TIMES", 3);
    CONNECTIONSTATE state = CONNECTION_TRY_AGAIN;
    for (int attempt = 0; attempt < attempts && state == CONNECTION_TRY_AGAIN; ++attempt) {
        state = client.connect();
    }
    return state;
}

void TraceExchange(const IPMICOMMAND& request, const std::vector<std::uint8_t>& response)
{
    VKT_LOG(kLogTrace) << "Send impi cmd suceess: "
                       << "FN=0x" << AsHex{request.netFn} << " cmd=0x" << AsHex{request.cmd}
                       << " data=" << HexDump{request.data};
    VKT_LOG(kLogTrace) << "Response=" << CharacterDump{response};
    VKT_LOG(kLogTrace) << "Response=" << HexDump{response};
}

/// Versions and manufacturers; a position that cannot be asked is left to SendIpmiCmd's record.
void LogFailedRead(VKTInventoryErrorCode transport)
{
    if (transport != VKT_INVENTORY_SUCCESS) {
        VKT_LOG(kLogFailure) << "Failed to send IPMI command with returns "
                             << static_cast<int>(transport);
    }
}

}  // namespace

VKTInventoryIpmiImpl::VKTInventoryIpmiImpl(const TulvoConnection::ConnectionInfo& info)
    : VKTInventoryImpl(info), parser_(std::make_unique<Parser>())
{
    const std::unique_ptr<IpmiClient> client(new (std::nothrow) IpmiClient(
        connectionInfo.address, connectionInfo.userName, connectionInfo.password,
        std::to_string(connectionInfo.port), kCipherSuite));
    VKTInfo vktInfo(client.get());  // ends before the client, which it does not own
    ReadModule(vktInfo, *parser_);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::SendIpmiCmd(const IPMICOMMAND& request,
                                                        std::vector<std::uint8_t>& response,
                                                        std::uint8_t& completionCode) const
{
    IpmiClient client(connectionInfo.address, connectionInfo.userName, connectionInfo.password,
                      std::to_string(connectionInfo.port), kCipherSuite);
    const CONNECTIONSTATE state = Connect(client);
    if (state != CONNECTION_CONNECTED) {
        response.clear();
        completionCode = kNoAnswer;
        VKT_LOG(kLogFailure) << "connect failed with error:" << static_cast<int>(state);
        return VKT_INVENTORY_CONNECT_FAILED;
    }
    // A failed send needs no branch: it leaves an empty response, which every decoder checks.
    (void)client.send(request, response, completionCode);
    client.disconnect();
    TraceExchange(request, response);
    return VKT_INVENTORY_SUCCESS;
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::SendIpmiCmd(const IPMICOMMAND& request,
                                                        Answer& answer) const
{
    return SendIpmiCmd(request, answer.response, answer.completionCode);
}

template <class Parse, class... Arguments>
VKTInventoryErrorCode VKTInventoryIpmiImpl::Query(const IPMICOMMAND& request, Parse parse,
                                                  Arguments&&... arguments) const
{
    Answer answer;
    const VKTInventoryErrorCode transport = SendIpmiCmd(request, answer);
    return transport != VKT_INVENTORY_SUCCESS ? transport
                                              : Decode(*parser_, parse, answer, arguments...);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetMachineType(std::string& machineType)
{
    return Query(Requests::MachineType(), &Parser::ParseMachineType, machineType);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetSerialNumber(std::string& serialNumber)
{
    return Query(Requests::SerialNumber(), &Parser::ParseGetSerialNumber, serialNumber);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetFirmwareVersion(std::string& firmwareVersion)
{
    return Query(Requests::FirmwareVersion(), &Parser::ParseGetFirmwareVersion, firmwareVersion);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetName(std::string& name)
{
    return Query(Requests::Name(), &Parser::ParseName, name);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetChassisPowerConsumption(ChassisPowerCon& consumption)
{
    return Query(Requests::ChassisPowerConsumption(status.platformId),
                 &Parser::ParseChassisPowerConsumption, consumption);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetChassisPowerCap(ChassisPowerCap& cap)
{
    return Query(Requests::ChassisPowerCap(status.platformId), &Parser::ParseChassisPowerCap, cap);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetPSUFanSpeed(std::vector<PSUFanSpeed>& fanSpeeds)
{
    const auto ask = [this](std::uint64_t slot, Answer& answer) {
        return SendIpmiCmd(Requests::PSUFanSpeed(slot), answer);
    };
    return WalkFans(*parser_, psuSlotCount, ask, fanSpeeds).transport;
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetPSUFwInfo(std::vector<PSUFwInfo>& firmware)
{
    return JoinPSUFwInfo([this](SlotTexts& texts) { return QueryPSUVersion(texts); },
                         [this](SlotTexts& texts) { return QueryPSUManufacture(texts); },
                         [this](SlotTexts& texts) { return QueryPSUPosition(texts); }, psuSlotCount,
                         firmware,
                         [](const PSUFwInfo& info) { VKT_LOG(kLogTrace) << FwInfoTrace{info}; },
                         [](std::uint64_t slot) {
                             VKT_LOG(kLogTrace) << "PSU slot " << slot << " has no PSU module.";
                         });
}

template <class Request, class Parse>
SlotWalk VKTInventoryIpmiImpl::ReadRegister(Request request, Parse parse, SlotTexts& texts) const
{
    const auto ask = [this, request](std::uint64_t slot, Answer& answer) {
        return SendIpmiCmd(request(vktType, slot), answer);
    };
    return WalkRegister(*parser_, parse, psuSlotCount, ask, texts);
}

/// A version that cannot be decoded only leaves its slot out, also the last slot's.
VKTInventoryErrorCode VKTInventoryIpmiImpl::QueryPSUVersion(SlotTexts& versions) const
{
    const SlotWalk walk = ReadRegister(Requests::PSUVersion, &Parser::ParsePSUVersion, versions);
    LogFailedRead(walk.transport);
    return walk.transport;
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::QueryPSUManufacture(SlotTexts& manufacturers) const
{
    const SlotWalk walk =
        ReadRegister(Requests::PSUManufacture, &Parser::ParsePSUManufacture, manufacturers);
    LogFailedRead(walk.transport);
    return walk.TransportElseLastDecode();
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::QueryPSUPosition(SlotTexts& positions) const
{
    return ReadRegister(Requests::PSUPosition, &Parser::ParsePSUPosition, positions)
        .TransportElseLastDecode();
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetPSUStatus(std::vector<PSUStatus>& statuses)
{
    return Query(Requests::PSUStatus(), &Parser::ParsePSUStatus, psuSlotCount, statuses);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetNodeStatus(std::uint64_t node,
                                                          NodeStatus& nodeStatus)
{
    if (!HasNode(node)) {
        VKT_LOG(kLogFailure) << WrongNode{node, nodeCount};
        return VKT_INVENTORY_FAILED;
    }
    return Query(Requests::NodeStatus(node), &Parser::ParseNodeStatus, nodeStatus);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetNodePowerConsumption(std::uint64_t node,
                                                                    ChassisPowerCon& consumption)
{
    if (!HasNode(node)) {
        VKT_LOG(kLogFailure) << WrongNode{node, nodeCount};
        return VKT_INVENTORY_FAILED;
    }
    return Query(Requests::NodePowerConsumption(node), &Parser::ParseNodePowerConsumption,
                 consumption);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::GetVKTStatus(VKTStatus& vktStatus)
{
    Answer answer;
    TrySixTimes([this, &answer](int number) {
        VKT_LOG(kLogNotice) << "Try to get VKT status, retry " << Times{number};
        (void)SendIpmiCmd(Requests::VKTStatus(), answer);
        if (!IsStatus(answer)) {
            return Try::kUnanswered;
        }
        VKT_LOG(kLogNotice) << "Succeeded get VKT Status";
        return Try::kAnswered;
    });
    return Decode(*parser_, &Parser::ParseVKTStatusImp, answer, vktStatus);
}

VKTInventoryErrorCode VKTInventoryIpmiImpl::SelectPSU(std::int32_t psu)
{
    const IPMICOMMAND request = Requests::SelectPSU(vktType, status.platformId, psu);
    Answer answer;
    TrySixTimes([this, &request, &answer](int number) {
        // Speaks of the status; readers of logs search for it.
        VKT_LOG(kLogNotice) << "Try to get PSU status, start retry " << Times{number};
        if (SendIpmiCmd(request, answer) != VKT_INVENTORY_SUCCESS) {
            VKT_LOG(kLogFailure) << "SendIpmiCmd failed ";
        }
        if (!IsConfirmation(answer)) {
            return Try::kUnanswered;
        }
        VKT_LOG(kLogNotice) << "Succeeded select PSU ";
        return Try::kAnswered;
    });
    if (IsSelected(answer)) {
        return VKT_INVENTORY_SUCCESS;
    }
    VKT_LOG(kLogWarning) << "response is empty or completionCode: "
                         << static_cast<char>(answer.completionCode);
    return VKT_INVENTORY_NO_DATA;
}

}  // namespace Tulvo
