// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoders.h"

#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

namespace Tulvo::Tests {

namespace {

/// Calls a routine of a decoder for modules of the answer's type. `number` is the input that some
/// routines take between completion code and output.
template <class Output, auto routine, class... Number>
Outcome Call(const Answer& answer, Number... number)
{
    VKTInventoryParseResponse decoder;
    decoder.vktType = answer.vktType;
    return OutcomeOf<Output>([&](Output& output) {
        return (decoder.*routine)(answer.response, answer.completionCode, number..., output);
    });
}

using Routines = VKTInventoryParseResponse;

}  // namespace

Outcome DecodeMachineType(const Answer& answer)
{
    return Call<std::string, &Routines::ParseMachineType>(answer);
}

Outcome DecodeSerialNumber(const Answer& answer)
{
    return Call<std::string, &Routines::ParseGetSerialNumber>(answer);
}

Outcome DecodeFirmwareVersion(const Answer& answer)
{
    return Call<std::string, &Routines::ParseGetFirmwareVersion>(answer);
}

Outcome DecodeName(const Answer& answer)
{
    return Call<std::string, &Routines::ParseName>(answer);
}

Outcome DecodeChassisPowerConsumption(const Answer& answer)
{
    return Call<ChassisPowerCon, &Routines::ParseChassisPowerConsumption>(answer);
}

Outcome DecodeChassisPowerCap(const Answer& answer)
{
    return Call<ChassisPowerCap, &Routines::ParseChassisPowerCap>(answer);
}

Outcome DecodeNodePowerConsumption(const Answer& answer)
{
    return Call<ChassisPowerCon, &Routines::ParseNodePowerConsumption>(answer);
}

Outcome DecodePSUFanSpeed(const Answer& answer)
{
    return Call<PSUFanSpeed, &Routines::ParsePSUFanSpeed>(answer,
                                                          static_cast<std::int32_t>(answer.number));
}

Outcome DecodePSUVersion(const Answer& answer)
{
    return Call<std::string, &Routines::ParsePSUVersion>(answer);
}

Outcome DecodePSUManufacture(const Answer& answer)
{
    return Call<std::string, &Routines::ParsePSUManufacture>(answer);
}

Outcome DecodePSUPosition(const Answer& answer)
{
    return Call<std::string, &Routines::ParsePSUPosition>(answer);
}

Outcome DecodePSUStatus(const Answer& answer)
{
    return Call<std::vector<PSUStatus>, &Routines::ParsePSUStatus>(answer, answer.number);
}

Outcome DecodeNodeStatus(const Answer& answer)
{
    return Call<NodeStatus, &Routines::ParseNodeStatus>(answer);
}

Outcome DecodeVKTStatus(const Answer& answer)
{
    return Call<VKTStatus, &Routines::ParseVKTStatusImp>(answer);
}

}  // namespace Tulvo::Tests
