// SPDX-License-Identifier: Apache-2.0
/// @file
/// The fourteen decoders of answers behind one call, so that tests can treat them as a table.
#ifndef TESTS_VKT_INVENTORY_DECODERS_H
#define TESTS_VKT_INVENTORY_DECODERS_H

#include <cstdint>

#include "module/vkt/vkt_info/vkt_info.h"
#include "tests/vkt_inventory/bytes.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {

/// One answer of the module as a decoder gets it.
struct Answer
{
    VKTIype vktType;
    std::uint8_t completionCode;
    Bytes response;
    std::uint64_t number = 1;  ///< Slot of ParsePSUFanSpeed, slot count of ParsePSUStatus.
};

using Decode = Outcome (*)(const Answer&);

Outcome DecodeMachineType(const Answer& answer);
Outcome DecodeSerialNumber(const Answer& answer);
Outcome DecodeFirmwareVersion(const Answer& answer);
Outcome DecodeName(const Answer& answer);
Outcome DecodeChassisPowerConsumption(const Answer& answer);
Outcome DecodeChassisPowerCap(const Answer& answer);
Outcome DecodeNodePowerConsumption(const Answer& answer);
Outcome DecodePSUFanSpeed(const Answer& answer);
Outcome DecodePSUVersion(const Answer& answer);
Outcome DecodePSUManufacture(const Answer& answer);
Outcome DecodePSUPosition(const Answer& answer);
/// Into a vector that holds one record.
Outcome DecodePSUStatus(const Answer& answer);
Outcome DecodeNodeStatus(const Answer& answer);
Outcome DecodeVKTStatus(const Answer& answer);

}  // namespace Tulvo::Tests

#endif
