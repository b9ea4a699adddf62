// SPDX-License-Identifier: Apache-2.0
/// @file
/// How much of one HTTP request is received, and for how long.
#ifndef APPS_VKT_SIMULATOR_REQUEST_LIMIT_H
#define APPS_VKT_SIMULATOR_REQUEST_LIMIT_H

#include <chrono>
#include <cstddef>
#include <optional>

namespace Tulvo::Simulator {

/// What one connection may still send, counted where it comes in, with all that TLS and the
/// encoding of a body add. The HTTP library itself limits single lines, once it has them in memory.
class RequestLimit
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t kLongestHeader = std::size_t{64} << 10U;
    static constexpr std::size_t kLongestBody = std::size_t{2} << 20U;
    /// From the first byte of the header to the last of the body.
    static constexpr std::chrono::seconds kLongestTime{30};

    /// A TLS handshake or the header of a request is to come next, however late.
    void BeginHeader()
    {
        left_ = kLongestHeader;
        end_.reset();
    }
    /// The header is whole.
    void BeginBody() { left_ = kLongestBody; }

    /// Whether more may be read of this request.
    bool Allows(Clock::time_point now)
    {
        end_ = end_.value_or(now + kLongestTime);
        return left_ > 0 && now < *end_;
    }
    void Count(std::size_t bytes) { left_ -= bytes < left_ ? bytes : left_; }
    /// Whether the last header, or body, was longer than it may be.
    bool IsUsedUp() const { return left_ == 0; }

private:
    std::size_t left_ = kLongestHeader;
    std::optional<Clock::time_point> end_;
};

}  // namespace Tulvo::Simulator

#endif
