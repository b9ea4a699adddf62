// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// Keeps a recorded packet from being taken twice.
#ifndef MODULE_IPMI_IPMI_CLIENT_SEQUENCE_WINDOW_H
#define MODULE_IPMI_IPMI_CLIENT_SEQUENCE_WINDOW_H

#include <cstdint>

namespace Tulvo::Rmcp {

/// Accepts each sequence number once, and none that is 16 or more behind the highest: datagrams may
/// overtake each other, but not by more.
class SequenceWindow
{
public:
    bool Accept(std::uint32_t number)
    {
        const std::uint32_t ahead = number - highest_;
        if (ahead != 0 && ahead < kHalf) {
            seen_ = ahead < kWidth ? (seen_ << ahead) | 1U : 1U;
            highest_ = number;
            return true;
        }
        const std::uint32_t behind = highest_ - number;
        if (behind >= kWidth || (seen_ >> behind & 1U) != 0) {
            return false;
        }
        seen_ |= 1U << behind;
        return true;
    }

private:
    static constexpr std::uint32_t kHalf = 0x80000000;  // numbers wrap around
    static constexpr std::uint32_t kWidth = 16;

    std::uint32_t highest_ = 0;
    std::uint32_t seen_ = 1;  // 0 is no number of a signed packet
};

}  // namespace Tulvo::Rmcp

#endif
