// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// Why a log-in or a request failed. Every layer returns it upwards; only IpmiClient writes it to
/// the log, so that one failure is one record.
#ifndef MODULE_IPMI_IPMI_CLIENT_FAILURE_H
#define MODULE_IPMI_IPMI_CLIENT_FAILURE_H

#include <cstdint>
#include <string>

#include "common/failure/failure.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"

namespace Tulvo::Rmcp {

enum class LoginStep : std::uint8_t
{
    kNone,
    kOpenSession,
    kRandomNumbers,  ///< RAKP messages 1 and 2.
    kProof,          ///< RAKP messages 3 and 4.
};

/// Where a log-in stood when it failed, for whoever decides about another one.
struct LoginPoint
{
    LoginStep step = LoginStep::kNone;
    std::uint8_t status = 0;  ///< The module's; 0 when it gave none.
    bool copied = false;      ///< The message of this step was sent more than once.
    bool silent = false;      ///< No reply came.
};

/// One failure, in the order in which a person reads it. Never holds the password.
struct Failure
{
    CONNECTIONSTATE code = CONNECTION_FAILED;
    std::string what{};    ///< What came back, in words of this library only.
    std::string advice{};  ///< What to do about it; may be empty.
    std::string detail{};  ///< What the system says about it; may be empty.
    /// The module itself refused the user or the password, in a reply to this very log-in.
    bool accountRefused = false;
    Cause cause = Cause::kLocal;
    LoginPoint point{};
    bool exhausted = false;  ///< This system lacks descriptors or memory.
};

/// `what (detail); advice` on one line.
std::string Describe(const Failure& failure);

}  // namespace Tulvo::Rmcp

#endif
