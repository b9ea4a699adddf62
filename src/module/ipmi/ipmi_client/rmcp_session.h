// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// One RMCP+ session: log-in, requests, end.
#ifndef MODULE_IPMI_IPMI_CLIENT_RMCP_SESSION_H
#define MODULE_IPMI_IPMI_CLIENT_RMCP_SESSION_H

#include <cstdint>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/ipmi/ipmi_client/login.h"
#include "module/ipmi/ipmi_client/outcome.h"

struct ipmi_ctx;

namespace Tulvo {

/// What came back for a request.
struct Answer
{
    std::uint8_t completionCode = 0xFF;
    std::vector<std::uint8_t> data;
};

/// A session, closed at the end of the object at the latest.
class RmcpSession
{
public:
    RmcpSession() = default;
    RmcpSession(const RmcpSession&) = delete;
    RmcpSession& operator=(const RmcpSession&) = delete;
    ~RmcpSession() { Close(); }

    /// Logs in. After a failure no session is left on the module.
    Outcome Open(const Credentials& credentials, const LoginSettings& settings);
    bool IsOpen() const { return context_ != nullptr; }
    /// Sends a request and waits for its answer. Needs an open session.
    Outcome Ask(const IPMICOMMAND& request, Answer& answer);
    void Close();

private:
    ipmi_ctx* context_ = nullptr;
};

}  // namespace Tulvo

#endif
