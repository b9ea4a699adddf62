// SPDX-License-Identifier: Apache-2.0
/// @file
/// One session with one management module that carries many requests, over RMCP+ or HTTPS.
///
/// What every transport promises: a call ends when its limit is over, at once when stop is
/// requested, and nothing is left on the module that Close() could give back. What a module's
/// completion codes mean, which request is asked when and how often a session is opened anew is
/// decided above. An object is used by one thread at a time; any number may be used side by side,
/// and share nothing.
#ifndef MODULE_IPMI_IPMI_CLIENT_IPMI_TRANSPORT_H
#define MODULE_IPMI_IPMI_CLIENT_IPMI_TRANSPORT_H

#include <cstdint>
#include <optional>
#include <vector>

#include "common/failure/call_limit.h"
#include "common/failure/failure.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"

namespace Tulvo {

/// What became of an attempt to open a session.
struct IpmiOpening
{
    std::optional<Failure> failure;  ///< Nothing: a session is open.
    /// With a failure: the module has no session free at the moment. The transport does not wait
    /// for one; the caller comes back.
    bool noneFree = false;
};

/// Whether a request may reach the module more than once.
enum class Resend : std::uint8_t
{
    kFreely,  ///< As often as a lost answer makes it worth, over a new session as well.
    /// As one request: copies that the module knows as such (the same request number of the same
    /// session) are good, a new connection or session is not, once the request may have arrived.
    kAsOneRequest,
};

/// What became of one request.
struct IpmiExchange
{
    /// How it ended.
    enum class End : std::uint8_t
    {
        kAnswered,  ///< An answer came, whatever its completion code.
        kSilent,    ///< Asked as often as makes sense; the session may be good all the same.
        kLost,      ///< The session is gone; a new one may be opened.
        kUseless,   ///< What came is no answer to this request; others may do better.
        kFailed,    ///< Nothing more can be asked of this module: `failure` says why.
    };

    End end = End::kSilent;              ///< How it ended.
    std::uint8_t completionCode = 0xFF;  ///< With kAnswered.
    std::vector<std::uint8_t> data;      ///< With kAnswered: the answer without completion code.
    std::optional<Failure> failure;      ///< With every other end.
};

/// What talking has cost so far, all sessions of the object together.
struct IpmiCost
{
    std::uint64_t requests = 0;           ///< Different ones, those of the log-in not counted.
    std::uint64_t datagramsSent = 0;      ///< RMCP+ only, those of the log-in counted.
    std::uint64_t datagramsReceived = 0;  ///< As above; also those that were dropped.
    std::uint64_t copies = 0;             ///< Requests and log-in steps sent once more.
    std::uint64_t logIns = 0;             ///< Proofs of the password that were sent.
    std::uint64_t logInsRefused = 0;      ///< In which user or password were, proved or not.
    std::uint64_t tlsHandshakes = 0;      ///< HTTPS only.
};

/// What was agreed on with the module.
struct IpmiSessionInfo
{
    std::uint16_t port = 0;                   ///< That was asked.
    std::optional<std::uint8_t> cipherSuite;  ///< RMCP+ only.
    /// RMCP+ only: what the session may be raised to (2 user, 3 operator, 4 administrator).
    std::optional<std::uint8_t> privilege;
};

/// One way to one module, with at most one session at a time.
class IpmiTransport
{
public:
    virtual ~IpmiTransport() = default;

    /// Opens a session; an earlier one is closed first.
    virtual IpmiOpening Open(const CallLimit& limit) = 0;

    /// Asks one request in the open session.
    virtual IpmiExchange Ask(const IPMICOMMAND& request, Resend resend, const CallLimit& limit) = 0;

    /// Raises the session to the privilege that was asked for as its ceiling, or the highest below
    /// it that the module grants. Nothing on success; a transport without levels fails.
    virtual std::optional<Failure> RaisePrivilege(const CallLimit& limit) = 0;

    /// Gives the session back to the module. Without one it does nothing.
    virtual void Close(const CallLimit& limit) = 0;

    /// Of the open session, or of the last one that was tried.
    virtual IpmiSessionInfo Info() const = 0;

    /// Of all sessions so far.
    virtual IpmiCost Cost() const = 0;
};

}  // namespace Tulvo

#endif
