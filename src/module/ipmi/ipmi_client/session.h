// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// An open session: signed and encrypted requests, and its end.
#ifndef MODULE_IPMI_IPMI_CLIENT_SESSION_H
#define MODULE_IPMI_IPMI_CLIENT_SESSION_H

#include <cstdint>
#include <memory>
#include <optional>

#include "module/ipmi/ipmi_client/connection.h"
#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/ipmi/ipmi_client/rmcp_packet.h"
#include "module/ipmi/ipmi_client/waits.h"

namespace Tulvo::Rmcp {

/// Closed on the module, too, at the end of the object.
class Session
{
public:
    /// @param connection has the session's ids and keys.
    Session(std::unique_ptr<Connection> connection, const Waits& waits);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    /// Sends a request and waits for its answer. In a child made by fork() nothing is sent.
    std::optional<Failure> Ask(const IPMICOMMAND& request, IpmiAnswer& answer);

private:
    std::optional<Failure> AskWithin(const Waits& waits, const IPMICOMMAND& request,
                                     IpmiAnswer& answer);
    void Close();

    const std::unique_ptr<Connection> connection_;
    const Waits waits_;
    bool answers_ = false;  ///< The module answered the last request.
    std::uint8_t requestNumber_ = 0;
};

}  // namespace Tulvo::Rmcp

#endif
