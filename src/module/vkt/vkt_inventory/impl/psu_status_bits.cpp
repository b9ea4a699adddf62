// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/psu_status_bits.h"

namespace Tulvo {

namespace {

/// Where the four bytes stand in the answer.
struct Offsets
{
    std::size_t epow;
    std::size_t throttle;
    std::size_t present;
    std::size_t pwrGood;
};

constexpr Offsets kFirstGeneration{0, 1, 2, 3};
constexpr Offsets kVkt2{0, 2, 4, 6};

// The long answer is first thinned out to its bytes 0, 2, 4, 6, 8 and 9, and kVkt2's offsets then
// count in what is left. The last of them points past it, where byte 6 of the answer still stands.
constexpr std::size_t kLongAnswerLength = 10;
constexpr Offsets kVkt2LongAnswer{0, 4, 8, 6};

const Offsets& OffsetsOf(VKTIype vktType, std::size_t length)
{
    if (vktType != VKT_TYPE_VKT2) {
        return kFirstGeneration;
    }
    return length == kLongAnswerLength ? kVkt2LongAnswer : kVkt2;
}

}  // namespace

PSUStatusBytes ReadPSUStatusBytes(VKTIype vktType, const ByteView& response)
{
    const Offsets& at = OffsetsOf(vktType, response.Size());
    return {response[at.epow], response[at.throttle], response[at.present], response[at.pwrGood]};
}

void FillPSUStatus(const PSUStatusBytes& bytes, std::uint64_t supply, PSUStatus& status)
{
    status.epow = BitOf(bytes.epow, supply) ? "trigger" : "not trigger";
    status.throttle = BitOf(bytes.throttle, supply) ? "trigger" : "not trigger";
    status.present = BitOf(bytes.present, supply) ? "present" : "not present";
    status.pwrGood = BitOf(bytes.pwrGood, supply) ? "power good" : "not power good";
}

std::ostream& operator<<(std::ostream& stream, const PSUStatusTrace& trace)
{
    for (std::uint64_t supply = 0; stream && supply < trace.slotCount; ++supply) {
        stream << "PSU" << supply + 1 << ":"
               << "\n\tPSU EPOW " << int{BitOf(trace.bytes.epow, supply)} << "\n\tPSU THROTTLE "
               << int{BitOf(trace.bytes.throttle, supply)} << "\n\tPSU PRESENT "
               << int{BitOf(trace.bytes.present, supply)} << "\n\tPSU PWR GOOD "
               << int{BitOf(trace.bytes.pwrGood, supply)};
    }
    return stream;
}

}  // namespace Tulvo
