// SPDX-License-Identifier: Apache-2.0
/// @file
/// A Redfish session on the module. Modules have few, and one that is left open locks others out
/// until the module's own time limit ends it.
#ifndef MODULE_VKT_VKT_HTTPS_REDFISH_SESSION_H
#define MODULE_VKT_VKT_HTTPS_REDFISH_SESSION_H

#include <optional>
#include <string>
#include <string_view>

#include "common/connection/connection_info.h"
#include "common/interruption/interruption.h"
#include "module/vkt/vkt_https/failure.h"
#include "module/vkt/vkt_https/https_client.h"
#include "module/vkt/vkt_https/secret_text.h"

namespace Tulvo::Https {

/// At most one open session.
class RedfishSession
{
public:
    /// Both outlive this object.
    RedfishSession(HttpsClient& client, const TulvoConnection::ConnectionInfo& info)
        : client_(client), info_(info)
    {
    }
    /// Closes.
    ~RedfishSession() { Close(); }
    RedfishSession(const RedfishSession&) = delete;
    RedfishSession& operator=(const RedfishSession&) = delete;

    /// Logs in, unless a session is open. With a limit, a log-in that failed may have left the
    /// module with a session all the same, which Close() finds.
    /// @param pass gives leave to log in; null for none.
    std::optional<Failure> Open(const CallLimit* limit = nullptr, LogInPass* pass = nullptr);

    /// Deletes the session on the module, within the limit or, without one, in two seconds. Without
    /// a session it does nothing; a failure is a warning in the log.
    void Close(const CallLimit* limit = nullptr) noexcept;

    /// Forgets the session, which goes on existing on the module.
    void Abandon() noexcept;

    /// Empty without a session.
    std::string_view Token() const { return token_.text; }

    /// That of the session closed last; empty before. The server may still repeat it in its texts,
    /// and keeps it valid when it refused to delete the session.
    std::string_view FormerToken() const { return formerToken_.text; }

private:
    void Take(HttpReply& reply);
    void Delete(const CallLimit* limit);

    HttpsClient& client_;
    const TulvoConnection::ConnectionInfo& info_;
    SecretText token_;
    SecretText formerToken_;
    std::string path_;
    std::optional<Interruption::OpenSession> counted_;
};

/// The password as a log-in spells it, quotes and backslashes escaped: a server may echo it so.
SecretText PasswordInLogin(const std::string& password);

/// The path of a session's `Location`, which servers give with or without scheme and host; empty
/// unless it is that of one session. Only the path counts: the token goes nowhere else.
std::string SessionPath(std::string_view location);

}  // namespace Tulvo::Https

#endif
