// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// What a module's refusal during a log-in means.
#ifndef MODULE_IPMI_IPMI_CLIENT_RMCP_STATUS_H
#define MODULE_IPMI_IPMI_CLIENT_RMCP_STATUS_H

#include <cstdint>

#include "module/ipmi/ipmi_client/login.h"
#include "module/ipmi/ipmi_client/outcome.h"

namespace Tulvo {

/// Statuses that this side, too, comes to: the other one proves not to know the password, or offers
/// other algorithms than it was asked for.
inline constexpr std::uint8_t kInvalidIntegrityCheckValue = 0x0F;
inline constexpr std::uint8_t kNoCipherSuiteMatch = 0x11;

/// The outcome for an RMCP+ status code; good for 0.
Outcome OutcomeOfStatus(std::uint8_t status, const LoginSettings& settings);

/// The outcome for a module that does not grant the privilege.
Outcome PrivilegeRefused(const LoginSettings& settings);

}  // namespace Tulvo

#endif
