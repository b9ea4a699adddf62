// SPDX-License-Identifier: Apache-2.0
/// @file
/// Queries that ask one power supply after the other.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_PSU_QUERIES_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_PSU_QUERIES_H

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "module/vkt/vkt_inventory/impl/decode_answer.h"
#include "module/vkt/vkt_inventory/vkt_inventory_records.h"

namespace Tulvo {

/// A text a slot, for the slots that have one.
using SlotTexts = std::map<std::int32_t, std::string>;

/// How a walk over the slots ended. What a query makes of it differs from query to query.
struct SlotWalk
{
    /// The exchange that ended the walk, or SUCCESS when every slot was asked.
    VKTInventoryErrorCode transport = VKT_INVENTORY_SUCCESS;
    /// The decoder's result for the slot asked last; without a slot there is no data.
    VKTInventoryErrorCode lastDecode = VKT_INVENTORY_NO_DATA;

    VKTInventoryErrorCode TransportElseLastDecode() const
    {
        return transport != VKT_INVENTORY_SUCCESS ? transport : lastDecode;
    }
};

/// Asks every slot from 1 on and keeps what can be decoded; a slot whose answer cannot is left
/// out. The first exchange that fails ends the walk.
/// @param ask    (slot, answer) -> result of the exchange.
/// @param decode (slot, answer, output) -> result of the decoder; the output comes empty.
/// @param keep   (slot, output), for every output that was decoded.
template <class Output, class Ask, class DecodeSlot, class Keep>
SlotWalk WalkSlots(std::uint64_t slotCount, Ask ask, DecodeSlot decode, Keep keep)
{
    SlotWalk walk;
    for (std::uint64_t slot = 1; slot <= slotCount; ++slot) {
        Answer answer;
        walk.transport = ask(slot, answer);
        if (walk.transport != VKT_INVENTORY_SUCCESS) {
            break;
        }
        Output output;
        walk.lastDecode = decode(slot, answer, output);
        if (walk.lastDecode == VKT_INVENTORY_SUCCESS) {
            keep(slot, std::move(output));
        }
    }
    return walk;
}

template <class Ask>
SlotWalk WalkFans(const VKTInventoryParseResponse& parser, std::uint64_t slotCount, Ask ask,
                  std::vector<PSUFanSpeed>& fanSpeeds)
{
    const auto decode = [&parser](std::uint64_t slot, const Answer& answer, PSUFanSpeed& record) {
        return Decode(parser, &VKTInventoryParseResponse::ParsePSUFanSpeed, answer,
                      static_cast<std::int32_t>(slot), record);
    };
    const auto keep = [&fanSpeeds](std::uint64_t, PSUFanSpeed&& record) {
        fanSpeeds.push_back(std::move(record));
    };
    return WalkSlots<PSUFanSpeed>(slotCount, ask, decode, keep);
}

/// Reads the same register of every supply.
template <class Parse, class Ask>
SlotWalk WalkRegister(const VKTInventoryParseResponse& parser, Parse parse, std::uint64_t slotCount,
                      Ask ask, SlotTexts& texts)
{
    const auto decode = [&parser, parse](std::uint64_t, const Answer& answer, std::string& text) {
        return Decode(parser, parse, answer, text);
    };
    const auto keep = [&texts](std::uint64_t slot, std::string&& text) {
        texts[static_cast<std::int32_t>(slot)] = std::move(text);
    };
    return WalkSlots<std::string>(slotCount, ask, decode, keep);
}

/// What the registers of all supplies say.
struct PSURegisters
{
    SlotTexts versions;
    SlotTexts manufacturers;
    SlotTexts positions;
};

/// The record of a slot that told all three.
std::optional<PSUFwInfo> FwInfoOf(const PSURegisters& registers, std::uint64_t slot);

/// Inserts all that a record says, for its trace.
struct FwInfoTrace
{
    const PSUFwInfo& info;
};

std::ostream& operator<<(std::ostream& stream, const FwInfoTrace& trace);

/// Runs three reads, each `SlotTexts& -> result`, and appends a record for every slot that told all
/// three. The first read that fails ends it with nothing appended.
/// @param traceJoined  (record), for every record that was appended.
/// @param traceMissing (slot), for every slot that has none.
template <class ReadVersions, class ReadManufacturers, class ReadPositions, class TraceJoined,
          class TraceMissing>
VKTInventoryErrorCode JoinPSUFwInfo(ReadVersions readVersions, ReadManufacturers readManufacturers,
                                    ReadPositions readPositions, std::uint64_t slotCount,
                                    std::vector<PSUFwInfo>& firmware, TraceJoined traceJoined,
                                    TraceMissing traceMissing)
{
    PSURegisters registers;
    VKTInventoryErrorCode result = readVersions(registers.versions);
    if (result == VKT_INVENTORY_SUCCESS) {
        result = readManufacturers(registers.manufacturers);
    }
    if (result == VKT_INVENTORY_SUCCESS) {
        result = readPositions(registers.positions);
    }
    if (result != VKT_INVENTORY_SUCCESS) {
        return result;
    }
    for (std::uint64_t slot = 1; slot <= slotCount; ++slot) {
        if (std::optional<PSUFwInfo> info = FwInfoOf(registers, slot)) {
            traceJoined(firmware.emplace_back(std::move(*info)));
        } else {
            traceMissing(slot);
        }
    }
    return VKT_INVENTORY_SUCCESS;
}

}  // namespace Tulvo

#endif
