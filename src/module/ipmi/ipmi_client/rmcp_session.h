// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// One RMCP+ session: log-in, requests, end.
///
/// The session is led packet by packet, with libfreeipmi's messages, keys and signatures, and not
/// by its ipmi_ctx_open_outofband_2_0(), because that one
///  - walks away from a log-in whose password proves wrong, which leaves the module with a
///  half-open
///    session until it times out (some twenty seconds to a minute): a few dozen wrong passwords
///    lock everybody out,
///  - reports "no session free" and "cipher suite not offered" as one error, of which the first is
///    worth another try and the second is not,
///  - cannot be woken from a wait.
#ifndef MODULE_IPMI_IPMI_CLIENT_RMCP_SESSION_H
#define MODULE_IPMI_IPMI_CLIENT_RMCP_SESSION_H

#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "common/interruption/interruption.h"
#include "module/ipmi/ipmi_client/host_lookup.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/ipmi/ipmi_client/login.h"
#include "module/ipmi/ipmi_client/outcome.h"
#include "module/ipmi/ipmi_client/rmcp_packet.h"
#include "module/ipmi/ipmi_client/udp_link.h"

namespace Tulvo {

/// A session, closed at the end of the object at the latest. The credentials must outlive the
/// object.
class RmcpSession
{
public:
    RmcpSession(const Credentials& credentials, const LoginSettings& settings);
    RmcpSession(const RmcpSession&) = delete;
    RmcpSession& operator=(const RmcpSession&) = delete;
    ~RmcpSession();

    /// Logs in, once per object. After a failure no session is left on the module, unless it never
    /// answered.
    Outcome Open();
    /// Sends a request and waits for its answer. Needs an open session.
    Outcome Ask(const IPMICOMMAND& request, IpmiAnswer& answer);

private:
    static constexpr unsigned kRandomSize = 16;
    using Random = std::array<std::uint8_t, kRandomSize>;

    /// How far the module has come: what it must be told to forget.
    enum class Stage
    {
        kNothing,
        kHalfOpen,  ///< It has a session without keys.
        kProving,   ///< It has one, with keys if this side's proof arrived.
        kOpen,      ///< It has one with keys.
    };

    const char* UserName() const;
    unsigned UserNameSize() const;
    std::chrono::milliseconds BriefWait() const;
    Outcome Prepare();
    Outcome OpenAnyOf(const std::vector<Endpoint>& endpoints);
    Outcome Negotiate(std::chrono::milliseconds limit);
    Outcome ExchangeRandomNumbers();
    void TakeRepliesToCopies(std::uint8_t type, const FiidObject& reply);
    Outcome CheckModule(const FiidObject& reply);
    Outcome Prove();
    Outcome DeriveKeys();
    Outcome RaisePrivilege();

    Outcome ExchangeLogin(std::uint8_t type, const FiidObject& request, const FiidObject& reply,
                          std::chrono::milliseconds limit);
    bool IsReply(const Packet& packet, std::uint8_t type, const FiidObject& reply) const;
    template <class Pack, class Take>
    Outcome Exchange(std::chrono::milliseconds limit, Pack pack, Take take);
    Outcome AskWithin(std::chrono::milliseconds limit, const IPMICOMMAND& request,
                      IpmiAnswer& answer);

    void ForgetDuplicate(const Packet& packet);
    void ForgetLate();
    void Abort(std::uint32_t moduleId);
    void Close();
    void CloseKeyed();

    const pid_t process_ = getpid();
    const Credentials& credentials_;
    const LoginSettings settings_;
    std::optional<Interruption::OpenSession> counted_;
    UdpLink link_;
    SessionState state_;
    Random consoleRandom_{};
    Random moduleRandom_{};
    Random moduleGuid_{};
    Stage stage_ = Stage::kNothing;
    bool answers_ = false;  ///< The module answered the last request.
    unsigned sent_ = 0;     ///< Copies of the last message that were sent.
    std::uint8_t tag_ = 0;
    std::uint8_t requestNumber_ = 0;
};

}  // namespace Tulvo

#endif
