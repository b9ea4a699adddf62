// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_https_impl.h"

#include "module/vkt/vkt_info/vkt_info.h"
#include "module/vkt/vkt_inventory/impl/log_statement.h"
#include "module/vkt/vkt_inventory/impl/retried_query.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

namespace Tulvo {

namespace {

using Parser = VKTInventoryParseResponse;

/// The record of a query whose request was not carried; the transport's code follows.
namespace Failure {
constexpr char kMachineType[] = "Failed to get the vkt machine type through https, ret = ";
constexpr char kSerialNumber[] = "Failed to get the vkt serial number through https, ret = ";
constexpr char kFirmwareVersion[] = "Failed to get the vkt firmware version through https, ret = ";
constexpr char kName[] = "Failed to get the vkt name through https, ret = ";
constexpr char kChassisPower[] = "Failed to get the vkt PowerConsumption through https, ret = ";
constexpr char kPowerCap[] = "Failed to get the vkt power cap through https, ret = ";
constexpr char kPsuFanSpeed[] = "Failed to get the vkt PSU fan speed through https, ret = ";
constexpr char kPsuStatus[] = "Failed to get the vkt PSU status through https, ret = ";
constexpr char kNodeStatus[] = "Failed to get the vkt node status through https, ret = ";
constexpr char kNodePower[] = "Failed to get the vkt NodePowerConsumption through https, ret = ";
constexpr const char* kVktStatus = kNodePower;  // shared: readers of logs know it by this text
constexpr char kSelectPsu[] = "Failed to get the vkt SelectPSUImpl through https, ret = ";
constexpr char kPsuVersion[] = "Failed to get the vkt PSU version through https, ret = ";
constexpr char kPsuManufacture[] = "Failed to get the vkt PSUManufacture through https, ret = ";
constexpr char kPsuPosition[] = "Failed to get the vkt PSU position through https, ret = ";
}  // namespace Failure

}  // namespace

VKTInventoryErrorCode ToInventoryErrorCode(VKTHttpsErrorCode code)
{
    switch (code) {
        case VKT_HTTPS_TLS_ERROR:
        case VKT_HTTPS_AUTHENTICATION_FAILED:
        case VKT_HTTPS_TIMEOUT:
        case VKT_HTTPS_HTTP_ERROR:
        case VKT_HTTPS_MALFORMED_REPLY:
            return VKT_INVENTORY_TRANSPORT_ERROR;
        case VKT_HTTPS_CONNECT_FAILED:
            return VKT_INVENTORY_CONNECT_FAILED;
        case VKT_HTTPS_NO_DATA:
            return VKT_INVENTORY_NO_DATA;
        default:  // a replaced transport may know more codes
            return VKT_INVENTORY_FAILED;
    }
}

VKTInventoryHttpsImpl::VKTInventoryHttpsImpl(const TulvoConnection::ConnectionInfo& info)
    : VKTInventoryImpl(info),
      transport_(std::make_unique<VKTHttps>(info)),
      parser_(std::make_unique<Parser>())
{
    VKTInfo vktInfo(transport_.get());
    ReadModule(vktInfo, *parser_);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::Send(const char* failure, const IPMICOMMAND& request,
                                                  Answer& answer) const
{
    const VKTHttpsErrorCode code =
        transport_->SendIpmiCmdOverHttps(request, answer.response, answer.completionCode);
    if (code == VKT_HTTPS_SUCCESS) {
        return VKT_INVENTORY_SUCCESS;
    }
    VKT_LOG(kLogFailure) << failure << static_cast<int>(code);
    return ToInventoryErrorCode(code);
}

template <class Parse, class... Arguments>
VKTInventoryErrorCode VKTInventoryHttpsImpl::Query(const char* failure, const IPMICOMMAND& request,
                                                   Parse parse, Arguments&&... arguments) const
{
    Answer answer;
    const VKTInventoryErrorCode transport = Send(failure, request, answer);
    return transport != VKT_INVENTORY_SUCCESS ? transport
                                              : Decode(*parser_, parse, answer, arguments...);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetMachineType(std::string& machineType)
{
    VKT_LOG(kLogTrace) << "Entering  Tulvo::VKTInventoryHttpsImpl::GetMachineType";
    return Query(Failure::kMachineType, Requests::MachineType(), &Parser::ParseMachineType,
                 machineType);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetSerialNumber(std::string& serialNumber)
{
    VKT_LOG(kLogTrace) << "Entering  Tulvo::VKTInventoryHttpsImpl::GetSerialNumber";
    return Query(Failure::kSerialNumber, Requests::SerialNumber(), &Parser::ParseGetSerialNumber,
                 serialNumber);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetFirmwareVersion(std::string& firmwareVersion)
{
    VKT_LOG(kLogTrace) << "Entering  Tulvo::VKTInventoryHttpsImpl::GetFirmwareVersion";
    return Query(Failure::kFirmwareVersion, Requests::FirmwareVersion(),
                 &Parser::ParseGetFirmwareVersion, firmwareVersion);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetName(std::string& name)
{
    return Query(Failure::kName, Requests::Name(), &Parser::ParseName, name);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetChassisPowerConsumption(
    ChassisPowerCon& consumption)
{
    return Query(Failure::kChassisPower, Requests::ChassisPowerConsumption(status.platformId),
                 &Parser::ParseChassisPowerConsumption, consumption);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetChassisPowerCap(ChassisPowerCap& cap)
{
    return Query(Failure::kPowerCap, Requests::ChassisPowerCap(status.platformId),
                 &Parser::ParseChassisPowerCap, cap);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetPSUFanSpeed(std::vector<PSUFanSpeed>& fanSpeeds)
{
    if (psuSlotCount == 0) {
        return VKT_INVENTORY_SUCCESS;
    }
    const auto ask = [this](std::uint64_t slot, Answer& answer) {
        return Send(Failure::kPsuFanSpeed, Requests::PSUFanSpeed(slot), answer);
    };
    return WalkFans(*parser_, psuSlotCount, ask, fanSpeeds).TransportElseLastDecode();
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetPSUFwInfo(std::vector<PSUFwInfo>& firmware)
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
SlotWalk VKTInventoryHttpsImpl::ReadRegister(const char* failure, Request request, Parse parse,
                                             SlotTexts& texts) const
{
    const auto ask = [this, failure, request](std::uint64_t slot, Answer& answer) {
        return Send(failure, request(vktType, slot), answer);
    };
    return WalkRegister(*parser_, parse, psuSlotCount, ask, texts);
}

/// A version that cannot be decoded only leaves its slot out, also the last slot's.
VKTInventoryErrorCode VKTInventoryHttpsImpl::QueryPSUVersion(SlotTexts& versions) const
{
    return ReadRegister(Failure::kPsuVersion, Requests::PSUVersion, &Parser::ParsePSUVersion,
                        versions)
        .transport;
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::QueryPSUManufacture(SlotTexts& manufacturers) const
{
    return ReadRegister(Failure::kPsuManufacture, Requests::PSUManufacture,
                        &Parser::ParsePSUManufacture, manufacturers)
        .TransportElseLastDecode();
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::QueryPSUPosition(SlotTexts& positions) const
{
    return ReadRegister(Failure::kPsuPosition, Requests::PSUPosition, &Parser::ParsePSUPosition,
                        positions)
        .TransportElseLastDecode();
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetPSUStatus(std::vector<PSUStatus>& statuses)
{
    return Query(Failure::kPsuStatus, Requests::PSUStatus(), &Parser::ParsePSUStatus, psuSlotCount,
                 statuses);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetNodeStatus(std::uint64_t node,
                                                           NodeStatus& nodeStatus)
{
    if (!HasNode(node)) {
        VKT_LOG(kLogFailure) << WrongNode{node, nodeCount};
        return VKT_INVENTORY_FAILED;
    }
    return Query(Failure::kNodeStatus, Requests::NodeStatus(node), &Parser::ParseNodeStatus,
                 nodeStatus);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetNodePowerConsumption(std::uint64_t node,
                                                                     ChassisPowerCon& consumption)
{
    if (!HasNode(node)) {
        VKT_LOG(kLogFailure) << WrongNode{node, nodeCount};
        return VKT_INVENTORY_FAILED;
    }
    return Query(Failure::kNodePower, Requests::NodePowerConsumption(node),
                 &Parser::ParseNodePowerConsumption, consumption);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::GetVKTStatus(VKTStatus& vktStatus)
{
    Answer answer;
    TrySixTimes([this, &answer](int number) {
        VKT_LOG(kLogNotice) << "Try to get VKT status, retry " << Times{number};
        if (Send(Failure::kVktStatus, Requests::VKTStatus(), answer) != VKT_INVENTORY_SUCCESS) {
            return Try::kNotCarried;
        }
        if (!IsStatus(answer)) {
            return Try::kUnanswered;
        }
        VKT_LOG(kLogNotice) << "Succeeded get VKT Status";
        return Try::kAnswered;
    });
    return Decode(*parser_, &Parser::ParseVKTStatusImp, answer, vktStatus);
}

VKTInventoryErrorCode VKTInventoryHttpsImpl::SelectPSU(std::int32_t psu)
{
    const IPMICOMMAND request = Requests::SelectPSU(vktType, status.platformId, psu);
    Answer answer;
    TrySixTimes([this, &request, &answer](int number) {
        // Speaks of the status; readers of logs search for it.
        VKT_LOG(kLogNotice) << "Try to get PSU status, start retry " << Times{number};
        if (Send(Failure::kSelectPsu, request, answer) != VKT_INVENTORY_SUCCESS) {
            return Try::kNotCarried;
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
