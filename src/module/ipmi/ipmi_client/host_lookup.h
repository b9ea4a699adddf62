// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// From a host's name to addresses, in bounded time.
#ifndef MODULE_IPMI_IPMI_CLIENT_HOST_LOOKUP_H
#define MODULE_IPMI_IPMI_CLIENT_HOST_LOOKUP_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/lookup/host_lookup.h"
#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/waits.h"

namespace Tulvo::Rmcp {

using LookUp::Endpoint;

/// As LookUp::Host().
std::optional<Failure> LookUpHost(const std::string& host, std::uint16_t port, const Waits& waits,
                                  std::vector<Endpoint>& endpoints);

}  // namespace Tulvo::Rmcp

#endif
