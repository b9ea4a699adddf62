// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoders.h"

namespace Tulvo {

namespace {

VKTInventoryParseResponse DecoderOf(VKTIype type)
{
    VKTInventoryParseResponse decoder;
    decoder.vktType = type;
    return decoder;
}

using TextDecoder = VKTInventoryErrorCode (VKTInventoryParseResponse::*)(const Bytes&, std::uint8_t,
                                                                         std::string&) const;

template <TextDecoder decode>
Outcome DecodeText(const Answer& answer)
{
    std::string text = kBefore;
    const auto result =
        (DecoderOf(answer.vktType).*decode)(answer.response, answer.completionCode, text);
    return {result, {text}};
}

using ConsumptionDecoder = VKTInventoryErrorCode (VKTInventoryParseResponse::*)(
    const Bytes&, std::uint8_t, ChassisPowerCon&) const;

template <ConsumptionDecoder decode>
Outcome DecodeConsumption(const Answer& answer)
{
    ChassisPowerCon record;
    record.min = record.avg = record.max = kBefore;
    const auto result =
        (DecoderOf(answer.vktType).*decode)(answer.response, answer.completionCode, record);
    return {result, {record.min, record.avg, record.max}};
}

}  // namespace

Outcome DecodeMachineType(const Answer& answer)
{
    return DecodeText<&VKTInventoryParseResponse::ParseMachineType>(answer);
}

Outcome DecodeSerialNumber(const Answer& answer)
{
    return DecodeText<&VKTInventoryParseResponse::ParseGetSerialNumber>(answer);
}

Outcome DecodeFirmwareVersion(const Answer& answer)
{
    return DecodeText<&VKTInventoryParseResponse::ParseGetFirmwareVersion>(answer);
}

Outcome DecodeName(const Answer& answer)
{
    return DecodeText<&VKTInventoryParseResponse::ParseName>(answer);
}

Outcome DecodePSUVersion(const Answer& answer)
{
    return DecodeText<&VKTInventoryParseResponse::ParsePSUVersion>(answer);
}

Outcome DecodePSUManufacture(const Answer& answer)
{
    return DecodeText<&VKTInventoryParseResponse::ParsePSUManufacture>(answer);
}

Outcome DecodePSUPosition(const Answer& answer)
{
    return DecodeText<&VKTInventoryParseResponse::ParsePSUPosition>(answer);
}

Outcome DecodeChassisPowerConsumption(const Answer& answer)
{
    return DecodeConsumption<&VKTInventoryParseResponse::ParseChassisPowerConsumption>(answer);
}

Outcome DecodeNodePowerConsumption(const Answer& answer)
{
    return DecodeConsumption<&VKTInventoryParseResponse::ParseNodePowerConsumption>(answer);
}

Outcome DecodeChassisPowerCap(const Answer& answer)
{
    ChassisPowerCap cap;
    cap.min = cap.max = cap.protectiveCap = cap.userCap = cap.thermalCap = kBefore;
    const auto result =
        DecoderOf(answer.vktType).ParseChassisPowerCap(answer.response, answer.completionCode, cap);
    return {result, {cap.min, cap.max, cap.protectiveCap, cap.userCap, cap.thermalCap}};
}

Outcome DecodePSUFanSpeed(const Answer& answer)
{
    PSUFanSpeed fans;
    fans.psu = fans.speedA = fans.patA = fans.speedB = fans.patB = fans.status = kBefore;
    const auto result = DecoderOf(answer.vktType)
                            .ParsePSUFanSpeed(answer.response, answer.completionCode,
                                              static_cast<std::int32_t>(answer.number), fans);
    return {result, {fans.psu, fans.speedA, fans.patA, fans.speedB, fans.patB, fans.status}};
}

Outcome DecodePSUStatus(const Answer& answer)
{
    std::vector<PSUStatus> supplies(1);
    supplies[0].epow = supplies[0].throttle = supplies[0].present = supplies[0].pwrGood = kBefore;
    const auto result =
        DecoderOf(answer.vktType)
            .ParsePSUStatus(answer.response, answer.completionCode, answer.number, supplies);
    Outcome outcome{result, {}};
    for (const PSUStatus& supply : supplies) {
        outcome.fields.insert(outcome.fields.end(),
                              {supply.epow, supply.throttle, supply.present, supply.pwrGood});
    }
    return outcome;
}

Outcome DecodeNodeStatus(const Answer& answer)
{
    NodeStatus node;
    node.powerState = node.width = node.height = kBefore;
    node.permissionState = kNumberBefore;
    const auto result =
        DecoderOf(answer.vktType).ParseNodeStatus(answer.response, answer.completionCode, node);
    return {result,
            {node.powerState, node.width, node.height, std::to_string(node.permissionState)}};
}

Outcome DecodeVKTStatus(const Answer& answer)
{
    VKTStatus status;
    status.platformId = status.psuCount = kNumberBefore;
    const auto result =
        DecoderOf(answer.vktType).ParseVKTStatusImp(answer.response, answer.completionCode, status);
    return {result, {std::to_string(status.platformId), std::to_string(status.psuCount)}};
}

Fields Untouched(std::size_t texts)
{
    return Fields(texts, kBefore);
}

}  // namespace Tulvo
