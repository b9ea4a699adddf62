// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// Why a log-in or a request failed. Every layer returns it upwards; only IpmiClient writes it to
/// the log, so that one failure is one record.
#ifndef MODULE_IPMI_IPMI_CLIENT_FAILURE_H
#define MODULE_IPMI_IPMI_CLIENT_FAILURE_H

#include <string>

#include "module/ipmi/ipmi_client/ipmi_client.h"

namespace Tulvo::Rmcp {

/// One failure, in the order in which a person reads it. Never holds the password.
struct Failure
{
    CONNECTIONSTATE code = CONNECTION_FAILED;
    std::string what{};    ///< What came back, in words of this library only.
    std::string advice{};  ///< What to do about it; may be empty.
    std::string detail{};  ///< What the system says about it; may be empty.
    /// The module itself refused the user or the password, in a reply to this very log-in.
    bool accountRefused = false;
};

/// `what (detail); advice` on one line.
std::string Describe(const Failure& failure);

}  // namespace Tulvo::Rmcp

#endif
