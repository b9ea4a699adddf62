// SPDX-License-Identifier: Apache-2.0
/// @file
/// How each answer is framed: what a VKT2 puts before it, how long it must be, what a failure is
/// called.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_RESPONSE_FRAMING_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_RESPONSE_FRAMING_H

#include <cstddef>
#include <cstdint>

namespace Tulvo {

/// When a VKT2's leading bytes are dropped.
enum class Reframing
{
    kAlways,        ///< Of every answer, refused and short ones included.
    kGoodAndLong,   ///< Completion code 0 and at least `reframedLength` bytes.
    kGoodAndExact,  ///< Completion code 0 and exactly `reframedLength` bytes.
};

struct ResponseFraming
{
    const char* routine;  ///< Name in trace records.
    Reframing reframing;
    std::size_t reframedLength;  ///< Of the answer as the module sent it; see Reframing.
    std::size_t leadingBytes;    ///< What a VKT2 puts before the answer.
    std::size_t minimumLength;   ///< Without leading bytes.
    const char* failure;         ///< Record of a refused or short answer; null writes none.
    bool tracesExit;
};

constexpr ResponseFraming kMachineTypeFraming{
    "ParseMachineType", Reframing::kAlways, 0, 2, 4, "Get vkt mt failed with error code:", true};
constexpr ResponseFraming kSerialNumberFraming{"ParseGetSerialNumber",
                                               Reframing::kAlways,
                                               0,
                                               2,
                                               1,
                                               "Get vkt sn failed with error code:",
                                               true};
constexpr ResponseFraming kNameFraming{
    "ParseName", Reframing::kAlways, 0, 2, 1, "Get vkt name failed with error code:", true};
constexpr ResponseFraming kFirmwareVersionFraming{"ParseGetFirmwareVersion",
                                                  Reframing::kAlways,
                                                  0,
                                                  1,
                                                  6,
                                                  "Get vkt version failed with error code:",
                                                  true};
constexpr ResponseFraming kChassisPowerConsumptionFraming{
    "ParseChassisPowerConsumption",
    Reframing::kAlways,
    0,
    1,
    6,
    "Get vkt chassis power consumption failed with error code:",
    true};
constexpr ResponseFraming kChassisPowerCapFraming{
    "ParseChassisPowerCap",
    Reframing::kAlways,
    0,
    1,
    10,
    "Get vkt chassis power cap failed with error code:",
    true};
// The chassis' text stands here too: readers of logs search for it.
constexpr ResponseFraming kNodePowerConsumptionFraming{
    "ParseNodePowerConsumption",
    Reframing::kGoodAndLong,
    7,
    1,
    6,
    "Get vkt chassis power consumption failed with error code:",
    false};
constexpr ResponseFraming kNodeStatusFraming{
    "ParseNodeStatus", Reframing::kGoodAndExact, 5, 1, 4, nullptr, false};

constexpr bool DropsLeadingBytes(const ResponseFraming& framing, std::size_t length,
                                 std::uint8_t completionCode)
{
    switch (framing.reframing) {
        case Reframing::kAlways:
            return true;
        case Reframing::kGoodAndLong:
            return completionCode == 0 && length >= framing.reframedLength;
        case Reframing::kGoodAndExact:
            return completionCode == 0 && length == framing.reframedLength;
    }
    return false;
}

}  // namespace Tulvo

#endif
