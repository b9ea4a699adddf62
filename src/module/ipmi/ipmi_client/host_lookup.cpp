// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/host_lookup.h"

#include <utility>

#include "module/ipmi/ipmi_client/exchange.h"

namespace Tulvo::Rmcp {

std::optional<Failure> LookUpHost(const std::string& host, std::uint16_t port, const Waits& waits,
                                  std::vector<Endpoint>& endpoints)
{
    LookUp::Limit limit{waits.Deadline()};
    if (waits.stop != nullptr) {
        limit.isStopped = [&waits] { return waits.IsStopped(); };
    }
    LookUp::Found found = LookUp::Host(host, port, limit);
    if (found.byName && !found.failure.empty() && waits.IsStopped()) {
        return Interrupted();
    }
    if (!found.failure.empty()) {
        Failure failure{CONNECTION_FAILED, "the address cannot be resolved",
                        "check its spelling and the name service", found.failure};
        failure.cause = Cause::kUnreachable;
        return failure;
    }
    endpoints = std::move(found.endpoints);
    return {};
}

}  // namespace Tulvo::Rmcp
