// SPDX-License-Identifier: Apache-2.0
/// @file
/// One raw IPMI request in one HTTPS call, for modules that offer it beside their Redfish tree.
///
/// An object keeps one connection and one TLS session for all its requests and is used by one
/// thread at a time. User name and password that the module refused once are not sent again by the
/// same object. A child made by fork() may use or destroy its copy of an object, which lets go of
/// the parent's connection and session and opens its own. Nothing throws but std::bad_alloc, where
/// an object is made or its text copied; every wait is bounded by the connection record's timeouts.
#ifndef MODULE_VKT_VKT_HTTPS_VKT_HTTPS_H
#define MODULE_VKT_VKT_HTTPS_VKT_HTTPS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/connection/connection_info.h"
#include "common/platform/export.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"

namespace Tulvo {

/// How a request over HTTPS ended.
enum VKTHttpsErrorCode : std::int32_t
{
    VKT_HTTPS_SUCCESS = 0,                ///< An IPMI answer came, whatever its completion code.
    VKT_HTTPS_TLS_ERROR = 1,              ///< No proof that it is the module, or no handshake.
    VKT_HTTPS_AUTHENTICATION_FAILED = 2,  ///< 401 or 403, now or by an earlier log-in.
    VKT_HTTPS_TIMEOUT = 3,                ///< 408, 504, or a time limit of this side.
    VKT_HTTPS_HTTP_ERROR = 4,             ///< Any other status than 200.
    VKT_HTTPS_MALFORMED_REPLY = 5,        ///< A reply cut off, too large, or no IPMI answer.
    VKT_HTTPS_CONNECT_FAILED = 6,         ///< Name not found, no connection, no reply began.
    VKT_HTTPS_INTERNAL_ERROR = 7,         ///< A fault on this side.
    VKT_HTTPS_NO_DATA = 8,                ///< A 200 with an empty body.
};

/// The HTTPS transport.
class VKT_EXPORT VKTHttps
{
public:
    /// Keeps a copy of the record; connects nowhere.
    explicit VKTHttps(const TulvoConnection::ConnectionInfo& connectionInfo);
    VKTHttps(const VKTHttps&) = delete;
    VKTHttps& operator=(const VKTHttps&) = delete;

    /// Sends one request and waits for its answer.
    /// @param request        what to send.
    /// @param response       the answer's data, without the completion code.
    /// @param completionCode the answer's completion code.
    /// @return VKT_HTTPS_SUCCESS when both outputs are filled; otherwise both are left alone.
    VKTHttpsErrorCode SendIpmiCmdOverHttps(const IPMICOMMAND& request,
                                           std::vector<std::uint8_t>& response,
                                           std::uint8_t& completionCode);

    /// What the last request failed with, on one line for a person: what was tried, what came back,
    /// what to do. After a failure to trust the server it names the server's key, in the form of
    /// the configuration key `HTTPS_PINNED_KEY`. Empty after a success. Holds no secret.
    std::string LastError() const;

    /// Tells every transport of this process that the program ends, for good: a request that
    /// waits, in whatever thread, fails within a second and deletes its session on the module, if
    /// it has one; every later request fails at once. Only a log-in that was sent is waited for,
    /// since a session without its token cannot be deleted. A session whose thread is not inside a
    /// call is deleted by that thread, with the destructor. May be called from a signal handler. A
    /// child made by fork() inherits what was called before, and a later call of the parent does
    /// not reach it.
    static void InterruptAll();

    /// Waits until no transport of this process has a session on a module, but no longer than
    /// `milliseconds`. After InterruptAll() the program may end as soon as this is true; a module
    /// that does not answer takes up to three seconds.
    /// @return whether all are deleted, or given up.
    static bool WaitUntilAllClosed(std::uint32_t milliseconds);

private:
    struct Transport;
    // Shared only in type: this pointer alone lets a replacement of this library be compiled
    // against the header without knowing, or linking, what a Transport is.
    std::shared_ptr<Transport> transport_;
};

}  // namespace Tulvo

#endif
