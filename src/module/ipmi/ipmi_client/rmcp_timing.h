// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// When a copy of a message is sent. Fixed intervals would clog a slow module, which serves every
/// copy; so they follow the slowest answer of the session, and double.
#ifndef MODULE_IPMI_IPMI_CLIENT_RMCP_TIMING_H
#define MODULE_IPMI_IPMI_CLIENT_RMCP_TIMING_H

#include <algorithm>
#include <chrono>
#include <memory>

#include "module/ipmi/ipmi_client/ipmi_transport.h"
#include "module/ipmi/ipmi_client/rmcp_transport.h"
#include "module/ipmi/ipmi_client/waits.h"

namespace Tulvo::Rmcp {

struct RmcpTiming
{
    using Span = std::chrono::milliseconds;

    Span beforeAnyAnswer{1000};
    Span shortest{250};
    Span longest{5000};
    Span loginStep{3000};
    /// Modules leave their session's id out when they refuse. To wait for a better reply as long as
    /// for a copy would delay whoever is refused for good.
    Span doubt{500};

    /// From a request to its first copy.
    /// @param slowest answer with a value of the session; 0 before any.
    constexpr Span CopyInterval(Span slowest) const
    {
        return slowest == Span::zero() ? beforeAnyAnswer
                                       : std::clamp(kTimesSlowest * slowest, shortest, longest);
    }
    /// How long the later steps of a log-in are waited for at a slow module: two copies, and as
    /// long as the first interval after the last; at a quick one half as long, which is one copy. A
    /// log-in that a module has lost is then begun anew in good time.
    constexpr Span LaterStepLimit() const { return 4 * loginStep; }
};

/// As Tulvo::MakeRmcpTransport(), with other times.
std::unique_ptr<IpmiTransport> MakeRmcpTransport(const RmcpSettings& settings,
                                                 const RmcpTiming& timing);

}  // namespace Tulvo::Rmcp

#endif
