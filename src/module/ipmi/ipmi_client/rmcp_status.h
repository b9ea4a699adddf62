// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// What a module's refusal during a log-in means.
#ifndef MODULE_IPMI_IPMI_CLIENT_RMCP_STATUS_H
#define MODULE_IPMI_IPMI_CLIENT_RMCP_STATUS_H

#include <cstdint>
#include <optional>

#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/login_settings.h"

namespace Tulvo::Rmcp {

/// The failure that an RMCP+ status code stands for; none for 0.
std::optional<Failure> FailureOfStatus(std::uint8_t status, const LoginSettings& settings);

/// Whether the answer to the first message of a log-in says that the cipher suite is not to be had.
bool RefusesSuite(std::uint8_t status);

/// Whether a completion code says that the module cannot answer now.
bool IsBusy(std::uint8_t completionCode);

/// The failure of a log-in at a module that does not grant the privilege.
Failure PrivilegeRefused(const LoginSettings& settings);

}  // namespace Tulvo::Rmcp

#endif
