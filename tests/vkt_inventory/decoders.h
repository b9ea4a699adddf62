// SPDX-License-Identifier: Apache-2.0
/// @file
/// The thirteen decoders behind one call, so that tests can treat them as a table.
#ifndef TESTS_VKT_INVENTORY_DECODERS_H
#define TESTS_VKT_INVENTORY_DECODERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"
#include "tests/vkt_inventory/bytes.h"

namespace Tulvo {

using Fields = std::vector<std::string>;

/// What a decode gave: every field of the output in its order, numbers in decimal. Before the
/// call, texts held kBefore and numbers kNumberBefore.
struct Outcome
{
    VKTInventoryErrorCode result;
    Fields fields;
};

inline constexpr const char* kBefore = "before";
inline constexpr std::int32_t kNumberBefore = -77;

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

/// The fields of an output that was left alone.
Fields Untouched(std::size_t texts);

}  // namespace Tulvo

#endif
