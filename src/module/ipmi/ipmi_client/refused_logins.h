// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// Log-ins of this process that a module has just refused for their user or password. Whoever makes
/// a client for each request would send a wrong password with each, and modules lock accounts after
/// a few.
#ifndef MODULE_IPMI_IPMI_CLIENT_REFUSED_LOGINS_H
#define MODULE_IPMI_IPMI_CLIENT_REFUSED_LOGINS_H

#include <optional>

#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/login_settings.h"
#include "module/ipmi/ipmi_client/waits.h"

namespace Tulvo::Rmcp {

/// The refusal of the same log-in (address, port, user, password, cipher suite and privilege) in
/// the last 20 seconds, if there was one.
std::optional<Failure> EarlierRefusal(const Credentials& credentials, const LoginSettings& settings,
                                      Clock::time_point now = Clock::now());

/// Keeps a refusal if Failure::accountRefused; the latest 64 are kept. Of the password no more than
/// a digest with a random number that this process alone knows.
void KeepRefusal(const Credentials& credentials, const LoginSettings& settings,
                 const Failure& failure, Clock::time_point now = Clock::now());

/// For tests of what a module does with refused log-ins.
void ForgetRefusals();

}  // namespace Tulvo::Rmcp

#endif
