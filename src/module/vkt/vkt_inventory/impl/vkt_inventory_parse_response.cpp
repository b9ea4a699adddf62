// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

#include <algorithm>
#include <array>
#include <locale>
#include <optional>
#include <string_view>
#include <utility>

#include "module/vkt/vkt_inventory/impl/byte_dump.h"
#include "module/vkt/vkt_inventory/impl/byte_view.h"
#include "module/vkt/vkt_inventory/impl/log_statement.h"
#include "module/vkt/vkt_inventory/impl/number_text.h"
#include "module/vkt/vkt_inventory/impl/platform_table.h"
#include "module/vkt/vkt_inventory/impl/psu_status_bits.h"
#include "module/vkt/vkt_inventory/impl/response_framing.h"
#include "module/vkt/vkt_inventory/impl/response_values.h"

namespace Tulvo {

namespace {

using Response = std::vector<std::uint8_t>;

constexpr std::string_view kClassName = "Tulvo::VKTInventoryParseResponse::";
constexpr char kNotAvailable[] = "N/A";

unsigned Number(std::uint8_t byte)
{
    return byte;
}

char RawCharacter(std::uint8_t byte)
{
    return static_cast<char>(byte);
}

void TraceEntry(const char* routine)
{
    VKT_LOG(kLogTrace) << "Entering  " << kClassName << routine;
}

void TraceExit(const char* routine)
{
    VKT_LOG(kLogTrace) << "Exiting  " << kClassName << routine;
}

VKTInventoryErrorCode Fail(const char* failure, std::uint8_t completionCode)
{
    VKT_LOG(kLogFailure) << failure << Number(completionCode);
    return VKT_INVENTORY_FAILED;
}

/// The answer as a first-generation module would have sent it.
ByteView Reframe(const ResponseFraming& framing, VKTIype vktType, const Response& response,
                 std::uint8_t completionCode)
{
    const ByteView bytes(response);
    if (vktType != VKT_TYPE_VKT2 || !DropsLeadingBytes(framing, bytes.Size(), completionCode)) {
        return bytes;
    }
    VKT_LOG(kLogTrace) << "it is vkt2...";
    const ByteView rest = bytes.Without(framing.leadingBytes);
    VKT_LOG(kLogTrace) << "New response=" << CharacterDump{rest.Bytes()};
    VKT_LOG(kLogTrace) << "New response=" << HexDump{rest.Bytes()};
    return rest;
}

/// The frame of every answer that fails for its completion code or its length: `decode` gets only
/// bytes that are long enough.
template <class Decode>
VKTInventoryErrorCode DecodeFramed(const ResponseFraming& framing, VKTIype vktType,
                                   const Response& response, std::uint8_t completionCode,
                                   Decode decode)
{
    TraceEntry(framing.routine);
    const ByteView bytes = Reframe(framing, vktType, response, completionCode);
    const bool usable = completionCode == 0 && bytes.Size() >= framing.minimumLength;
    const VKTInventoryErrorCode result =
        usable ? decode(bytes) : Fail(framing.failure, completionCode);
    if (framing.tracesExit) {
        TraceExit(framing.routine);
    }
    return result;
}

/// White space is what the host program's locale takes for it.
std::string_view Trimmed(std::string_view text)
{
    const std::locale locale;
    const auto isText = [&locale](char character) { return !std::isspace(character, locale); };
    const auto last = std::find_if(text.rbegin(), text.rend(), isText).base();
    const auto first = std::find_if(text.begin(), last, isText);
    return {first, last};
}

void HideZero(std::string& reading)
{
    if (reading == "0") {
        reading = kNotAvailable;
    }
}

/// A node's absent reading is 0 or 65535.
void HideAbsent(std::string& reading)
{
    constexpr std::string_view kAllBitsSet = "65535";
    if (reading == kAllBitsSet) {
        reading = kNotAvailable;
    }
    HideZero(reading);
}

void TellPowerConsumption(const ByteView& bytes, ChassisPowerCon& consumption)
{
    const Values::Consumption values = Values::ReadConsumption(bytes);
    consumption.min = Decimal(values.minimum);
    consumption.avg = Decimal(values.average);
    consumption.max = Decimal(values.maximum);
    VKT_LOG(kLogTrace) << "Min:" << consumption.min << ",Avg:" << consumption.avg
                       << ",Max:" << consumption.max;
}

struct CodeText
{
    std::uint8_t code;
    const char* text;
};

template <std::size_t size>
const char* TextOf(const std::array<CodeText, size>& table, std::uint8_t code,
                   const char* textOfUnknown)
{
    const auto row = std::find_if(table.begin(), table.end(),
                                  [code](const CodeText& entry) { return entry.code == code; });
    return row == table.end() ? textOfUnknown : row->text;
}

constexpr std::array<CodeText, 3> kFanStatus{{
    {0, "Not Present"},
    {1, "Abnormal"},
    {2, "Normal"},
}};

const char* FanStatus(std::uint8_t code)
{
    return TextOf(kFanStatus, code, "Unknown");
}

constexpr std::array<CodeText, 4> kPowerState{{
    {0x00, "Power OFF"},
    {0x20, "No Permission"},
    {0x40, "Power Fault"},
    {0x80, "Power ON"},
}};

std::string PowerState(std::uint8_t code)
{
    const char* text = TextOf(kPowerState, code, nullptr);
    if (text != nullptr) {
        return text;
    }
    VKT_LOG(kLogFailure) << "Wrong result";
    return "Fault";
}

constexpr std::uint8_t kSizeNotAvailable = 255;

std::string NodeHeight(std::uint8_t code)
{
    return code == kSizeNotAvailable ? kNotAvailable : Decimal(code);
}

/// Only widths have names.
std::string NodeWidth(std::uint8_t code)
{
    constexpr std::array<CodeText, 2> kNamed{{{1, "Half"}, {2, "Full"}}};
    const char* name = TextOf(kNamed, code, nullptr);
    return name != nullptr ? name : NodeHeight(code);
}

void TellFansOfVkt2(const Values::Fans& fans, PSUFanSpeed& record)
{
    record.speedA = Decimal(fans.speedA);
    record.patA = Decimal(fans.patternA);
    record.speedB = Decimal(fans.speedB);
    record.patB = Decimal(fans.patternB);
    record.status = FanStatus(fans.status);
    VKT_LOG(kLogTrace) << "PSU:" << record.psu << ",Speed-A:" << record.speedA
                       << ",Pat-A:" << record.patA << ",Speed-B:" << record.speedB
                       << ",Pat-B:" << record.patB << ",Status:" << record.status;
    HideZero(record.speedB);
    HideZero(record.patB);
}

void TellFanOfFirstGeneration(const Values::Fans& fans, PSUFanSpeed& record)
{
    record.speedA = Decimal(fans.speedA);
    record.patA = Decimal(fans.patternA);
    record.status = FanStatus(fans.status);
    VKT_LOG(kLogTrace) << "PSU:" << record.psu << ",Speed:" << record.speedA
                       << ",Pat:" << record.patA << ",Status:" << record.status;
}

/// What is told of a supply's fans, by generation. The failure texts speak of the power cap; they
/// stay as they are, since readers of logs search for them.
struct FanRecord
{
    const char* failure;
    void (*tell)(const Values::Fans& fans, PSUFanSpeed& record);
};

constexpr FanRecord kFansOfVkt2{"Get vkt2 chassis power cap failed with error code:",
                                TellFansOfVkt2};
constexpr FanRecord kFanOfFirstGeneration{"Get vkt chassis power cap failed with error code:",
                                          TellFanOfFirstGeneration};

VKTInventoryErrorCode DecodeFans(VKTIype vktType, const Response& response,
                                 std::uint8_t completionCode, std::int32_t slot,
                                 PSUFanSpeed& record)
{
    const Values::FanFormat& format = Values::FanFormatOf(vktType);
    const FanRecord& told = vktType == VKT_TYPE_VKT2 ? kFansOfVkt2 : kFanOfFirstGeneration;
    if (completionCode != 0 || response.size() < format.minimumLength) {
        return Fail(told.failure, completionCode);
    }
    record.psu = "PSU" + std::to_string(slot);
    told.tell(format.read(ByteView(response)), record);
    HideZero(record.speedA);
    HideZero(record.patA);
    return VKT_INVENTORY_SUCCESS;
}

constexpr std::uint8_t kGenerationEgs = 4;

void TellModuleStatus(const Values::ModuleStatus& status, VKTStatus& vktStatus)
{
    VKT_LOG(kLogNotice) << "VKT Type: 0x" << AsHex{status.moduleType};
    if (!IsLargePlatform(status.moduleType)) {
        vktStatus = VKTStatus();
        return;
    }
    if (status.generationCode == kGenerationEgs) {
        VKT_LOG(kLogWarning) << "checked VKT2 Type is EGS, For EGS, set default value 6";
    }
    vktStatus.platformId = status.moduleType;
    vktStatus.psuCount = Values::PsuCountOfLargePlatform(status.generationCode);
}

}  // namespace

VKTInventoryErrorCode VKTInventoryParseResponse::ParseMachineType(const Response& response,
                                                                  std::uint8_t completionCode,
                                                                  std::string& machineType) const
{
    const auto decode = [&machineType](const ByteView& bytes) {
        const std::optional<std::string_view> text = Values::MachineType(bytes);
        if (!text) {
            VKT_LOG(kLogWarning) << "[WARN]: VKT machine type is empty";
            return VKT_INVENTORY_NO_DATA;
        }
        machineType = *text;
        return VKT_INVENTORY_SUCCESS;
    };
    return DecodeFramed(kMachineTypeFraming, vktType, response, completionCode, decode);
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParseGetSerialNumber(
    const Response& response, std::uint8_t completionCode, std::string& serialNumber) const
{
    const auto decode = [&serialNumber](const ByteView& bytes) {
        serialNumber = Trimmed(Values::PrintableRun(bytes, 0));
        return VKT_INVENTORY_SUCCESS;
    };
    return DecodeFramed(kSerialNumberFraming, vktType, response, completionCode, decode);
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParseGetFirmwareVersion(
    const Response& response, std::uint8_t completionCode, std::string& firmwareVersion) const
{
    const auto decode = [&firmwareVersion](const ByteView& bytes) {
        Values::ReadFirmwareVersion(bytes, firmwareVersion);
        return VKT_INVENTORY_SUCCESS;
    };
    return DecodeFramed(kFirmwareVersionFraming, vktType, response, completionCode, decode);
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParseName(const Response& response,
                                                           std::uint8_t completionCode,
                                                           std::string& name) const
{
    const auto decode = [&name](const ByteView& bytes) {
        name = Values::PrintableRun(bytes, 0);
        return VKT_INVENTORY_SUCCESS;
    };
    return DecodeFramed(kNameFraming, vktType, response, completionCode, decode);
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParseChassisPowerConsumption(
    const Response& response, std::uint8_t completionCode, ChassisPowerCon& consumption) const
{
    const auto decode = [&consumption](const ByteView& bytes) {
        TellPowerConsumption(bytes, consumption);
        return VKT_INVENTORY_SUCCESS;
    };
    return DecodeFramed(kChassisPowerConsumptionFraming, vktType, response, completionCode, decode);
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParseChassisPowerCap(const Response& response,
                                                                      std::uint8_t completionCode,
                                                                      ChassisPowerCap& cap) const
{
    const auto decode = [&cap](const ByteView& bytes) {
        const Values::PowerCaps values = Values::ReadPowerCaps(bytes);
        cap.min = Decimal(values.lowest);
        cap.max = Decimal(values.highest);
        cap.protectiveCap = Decimal(values.protective);
        cap.userCap = Decimal(values.user);
        cap.thermalCap = Decimal(values.thermal);
        VKT_LOG(kLogTrace) << "Min:" << cap.min << ",Max:" << cap.max
                           << ",ProtectiveCap:" << cap.protectiveCap << ",UserCap:" << cap.userCap
                           << ",ThermalCap:" << cap.thermalCap;
        for (std::string* reading :
             {&cap.min, &cap.max, &cap.protectiveCap, &cap.userCap, &cap.thermalCap}) {
            HideZero(*reading);
        }
        return VKT_INVENTORY_SUCCESS;
    };
    return DecodeFramed(kChassisPowerCapFraming, vktType, response, completionCode, decode);
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParseNodePowerConsumption(
    const Response& response, std::uint8_t completionCode, ChassisPowerCon& consumption) const
{
    const auto decode = [&consumption](const ByteView& bytes) {
        TellPowerConsumption(bytes, consumption);
        for (std::string* reading : {&consumption.min, &consumption.avg, &consumption.max}) {
            HideAbsent(*reading);
        }
        return VKT_INVENTORY_SUCCESS;
    };
    return DecodeFramed(kNodePowerConsumptionFraming, vktType, response, completionCode, decode);
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParsePSUFanSpeed(const Response& response,
                                                                  std::uint8_t completionCode,
                                                                  std::int32_t slot,
                                                                  PSUFanSpeed& record) const
{
    TraceEntry(__func__);
    const VKTInventoryErrorCode result =
        DecodeFans(vktType, response, completionCode, slot, record);
    TraceExit(__func__);
    return result;
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParsePSUVersion(const Response& response,
                                                                 std::uint8_t completionCode,
                                                                 std::string& version) const
{
    TraceEntry(__func__);
    if (completionCode != 0 || response.size() < Values::kPsuVersionMinimumLength) {
        return Fail("Get psu firmware version failed with error code:", completionCode);
    }
    version = Values::PsuVersion(ByteView(response));
    return VKT_INVENTORY_SUCCESS;
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParsePSUManufacture(
    const Response& response, std::uint8_t completionCode, std::string& manufacturer) const
{
    TraceEntry(__func__);
    if (completionCode != 0 || response.size() < Values::kPsuManufacturerMinimumLength) {
        return VKT_INVENTORY_SUCCESS;
    }
    const std::optional<std::string_view> text =
        Values::PsuManufacturer(vktType, ByteView(response));
    if (!text) {
        VKT_LOG(kLogWarning) << "[WARN]: PSU manufacture is empty";
        return VKT_INVENTORY_NO_DATA;
    }
    manufacturer = *text;
    VKT_LOG(kLogTrace) << (vktType == VKT_TYPE_VKT2 ? "PSU  manufacture:"
                                                    : "PSU slot  manufacture:")
                       << manufacturer;
    return VKT_INVENTORY_SUCCESS;
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParsePSUPosition(const Response& response,
                                                                  std::uint8_t completionCode,
                                                                  std::string& position) const
{
    TraceEntry(__func__);
    if (completionCode != 0 || response.size() < Values::kPsuPositionMinimumLength) {
        return Fail("Get psu position id failed with error code:", completionCode);
    }
    position = Values::PsuPosition(ByteView(response));
    return VKT_INVENTORY_SUCCESS;
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParsePSUStatus(
    const Response& response, std::uint8_t completionCode, std::uint64_t slotCount,
    std::vector<PSUStatus>& statuses) const
{
    TraceEntry(__func__);
    statuses.resize(slotCount);
    if (completionCode != 0 || response.size() < kPsuStatusMinimumLength) {
        VKT_LOG(kLogTrace) << kPsuStatusHeading << "\nGet PSU statue failed with completionCode is "
                           << Number(completionCode) << ", response.size() is " << response.size();
        return VKT_INVENTORY_FAILED;
    }
    const PSUStatusBytes bits = ReadPSUStatusBytes(vktType, ByteView(response));
    for (std::uint64_t supply = 0; supply < slotCount; ++supply) {
        FillPSUStatus(bits, supply, statuses[supply]);
    }
    VKT_LOG(kLogTrace) << kPsuStatusHeading << PSUStatusTrace{bits, slotCount};
    return VKT_INVENTORY_SUCCESS;
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParseNodeStatus(const Response& response,
                                                                 std::uint8_t completionCode,
                                                                 NodeStatus& nodeStatus) const
{
    TraceEntry(kNodeStatusFraming.routine);
    const ByteView bytes = Reframe(kNodeStatusFraming, vktType, response, completionCode);
    if (completionCode != 0 || bytes.Size() != kNodeStatusFraming.minimumLength) {
        return VKT_INVENTORY_FAILED;
    }
    const Values::NodeState state = Values::ReadNodeState(bytes);
    nodeStatus.powerState = PowerState(state.powerState);
    nodeStatus.width = NodeWidth(state.width);
    nodeStatus.height = NodeHeight(state.height);
    nodeStatus.permissionState = state.permission;
    return VKT_INVENTORY_SUCCESS;
}

VKTInventoryErrorCode VKTInventoryParseResponse::ParseVKTStatusImp(const Response& response,
                                                                   std::uint8_t completionCode,
                                                                   VKTStatus& vktStatus) const
{
    TraceEntry(__func__);
    VKTInventoryErrorCode result = VKT_INVENTORY_SUCCESS;
    if (response.empty() || completionCode != 0) {
        VKT_LOG(kLogWarning) << "response is empty or completeCode: "
                             << RawCharacter(completionCode);
        result = VKT_INVENTORY_NO_DATA;
    }
    if (response.size() < Values::kModuleStatusMinimumLength) {
        VKT_LOG(kLogWarning) << "VKT Type is 0x" << AsHex{static_cast<std::uint32_t>(vktType)}
                             << "use default value";
        return result;
    }
    TellModuleStatus(Values::ReadModuleStatus(ByteView(response)), vktStatus);
    return result;
}

void VKTInventoryParseResponse::ParseNodeCount(const VKTStatus& vktStatus,
                                               std::uint64_t& nodeCount) const
{
    VKT_LOG(kLogTrace) << " GetVKTStatus success, platformId =0x"
                       << AsHex{static_cast<std::uint32_t>(vktStatus.platformId)};
    nodeCount = NodeCountOf(vktStatus.platformId);
}

}  // namespace Tulvo
