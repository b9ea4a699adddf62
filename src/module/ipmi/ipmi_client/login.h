// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// The log-in to a module.
///
/// It is led packet by packet, with libfreeipmi's messages, keys and signatures, and not by its
/// ipmi_ctx_open_outofband_2_0(), because that one
///  - walks away from a log-in whose password proves wrong, which leaves the module with a
///    half-open session until it times out (some twenty seconds to a minute): a few dozen wrong
///    passwords lock everybody out,
///  - reports "no session free" and "cipher suite not offered" as one error, of which the first is
///    worth another try and the second is not,
///  - cannot be woken from a wait.
#ifndef MODULE_IPMI_IPMI_CLIENT_LOGIN_H
#define MODULE_IPMI_IPMI_CLIENT_LOGIN_H

#include <memory>
#include <optional>

#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/login_settings.h"
#include "module/ipmi/ipmi_client/session.h"

namespace Tulvo::Rmcp {

/// Logs in once, and leaves the session at the little privilege that it begins with. After a
/// failure no session is left on the module, unless it never answered.
/// @param settings the suite that was agreed on is the only one afterwards, where it is the other.
/// @param connection the open session; untouched on failure.
std::optional<Failure> OpenConnection(const Credentials& credentials, LoginSettings& settings,
                                      std::unique_ptr<Connection>& connection);

/// Logs in once, with the privilege that the settings name. After a failure no session is left on
/// the module, unless it never answered.
/// @param session the open session; untouched on failure.
std::optional<Failure> LogIn(const Credentials& credentials, LoginSettings settings,
                             std::unique_ptr<Session>& session);

}  // namespace Tulvo::Rmcp

#endif
