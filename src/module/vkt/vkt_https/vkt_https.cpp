// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/vkt_https.h"

#include <unistd.h>

#include <chrono>
#include <ios>
#include <string>
#include <string_view>
#include <utility>

#include "common/connection/connection_values.h"
#include "common/interruption/interruption.h"
#include "common/log/log.h"
#include "common/text/base64.h"
#include "module/vkt/vkt_https/connection_checks.h"
#include "module/vkt/vkt_https/failure.h"
#include "module/vkt/vkt_https/https_client.h"
#include "module/vkt/vkt_https/ipmi_codec.h"
#include "module/vkt/vkt_https/redfish_session.h"
#include "module/vkt/vkt_https/result_tables.h"
#include "module/vkt/vkt_https/secret_text.h"
#include "module/vkt/vkt_https/tls_trust.h"

namespace Tulvo {

using namespace Https;

namespace {

/// The result of every request after `refusal`. What the server said goes untold: it may have
/// echoed the token of a session that is no longer known here.
Https::Failure NotSentAgain(const Https::Failure& refusal)
{
    return {refusal.code, "not sent, since before this " + refusal.what, refusal.advice};
}

}  // namespace

// Not for export, unlike the class that it is nested in.
struct __attribute__((visibility("hidden"))) VKTHttps::Transport
{
    explicit Transport(const TulvoConnection::ConnectionInfo& connectionInfo) : info(connectionInfo)
    {
    }
    ~Transport()
    {
        LetGoOfAnotherProcess();
        session.Close();
        Wipe(info.password);
    }
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    /// What fork() copies is not the child's to use or to end: the parent goes on with connection
    /// and session. A child opens its own.
    void LetGoOfAnotherProcess();
    std::optional<Https::Failure> Ask(const IPMICOMMAND& request, IpmiReply& answer);
    std::optional<Https::Failure> Carry(const IPMICOMMAND& request, const std::string& body,
                                        IpmiReply& answer);
    std::optional<Https::Failure> Post(const std::string& body, HttpReply& reply);
    std::optional<Https::Failure> PostInSession(const std::string& body, HttpReply& reply);
    VKTHttpsErrorCode Report(const IPMICOMMAND& request, const Https::Failure& failure);

    TulvoConnection::ConnectionInfo info;
    HttpsClient client{info, [this](std::string_view origin, ServerTrust& trust) {
                           return FindConfiguredTrust(info.tlsVerification, origin, trust);
                       }};
    RedfishSession session{client, info};
    /// The module refused a new session, too. It is closed only once the failure has been told: the
    /// server may have echoed the token, by which its text is recognised.
    bool sessionIsRefused = false;
    /// That user name and password are refused, which modules count: sending them again might lock
    /// the account.
    std::optional<Https::Failure> refusal;
    std::string lastError;
    pid_t process = getpid();
};

void VKTHttps::Transport::LetGoOfAnotherProcess()
{
    if (process != getpid()) {
        session.Abandon();
        client.Abandon();
        process = getpid();
    }
}

std::optional<Https::Failure> VKTHttps::Transport::Ask(const IPMICOMMAND& request,
                                                       IpmiReply& answer)
{
    LetGoOfAnotherProcess();
    std::string body;
    if (auto failure = EncodeIpmiRequest(request, body)) {
        return failure;
    }
    return refusal ? refusal : Carry(request, body, answer);
}

std::optional<Https::Failure> VKTHttps::Transport::Carry(const IPMICOMMAND& request,
                                                         const std::string& body, IpmiReply& answer)
{
    HttpReply reply;
    if (auto failure = Post(body, reply)) {
        // Of the ways in which no reply comes, only a refused log-in has this code.
        if (failure->code == VKT_HTTPS_AUTHENTICATION_FAILED) {
            refusal = NotSentAgain(*failure);
        }
        return failure;
    }
    if (reply.status != kOk) {
        auto failure = FailureOf(reply);
        // Where it has taken name and password for a session, and where a 403 is about this one
        // request, the module may take the next: a web service that starts up refuses for a while.
        if (reply.status == kUnauthorized &&
            info.authentication != TulvoConnection::kAuthenticateBySession) {
            refusal = NotSentAgain(failure);
        }
        return failure;
    }
    auto failure = DecodeIpmiReply(request, reply.contentType, reply.body, answer);
    if (failure) {
        client.LeaveConnection();
    }
    return failure;
}

std::optional<Https::Failure> VKTHttps::Transport::Post(const std::string& body, HttpReply& reply)
{
    if (info.authentication != TulvoConnection::kAuthenticateBySession) {
        return client.Exchange(
            {.path = std::string(kIpmiActionPath), .body = body, .isInterruptible = true}, reply);
    }
    if (auto failure = PostInSession(body, reply)) {
        return failure;
    }
    if (reply.status != kUnauthorized) {
        return std::nullopt;
    }
    // The session has expired, so the module has not executed the request: a new one may try it.
    session.Close();
    reply = {};
    auto failure = PostInSession(body, reply);
    sessionIsRefused = !failure && reply.status == kUnauthorized;
    return failure;
}

std::optional<Https::Failure> VKTHttps::Transport::PostInSession(const std::string& body,
                                                                 HttpReply& reply)
{
    if (auto failure = session.Open()) {
        return failure;
    }
    return client.Exchange({.path = std::string(kIpmiActionPath),
                            .body = body,
                            .sessionToken = session.Token(),
                            .isInterruptible = true},
                           reply);
}

VKTHttpsErrorCode VKTHttps::Transport::Report(const IPMICOMMAND& request,
                                              const Https::Failure& failure)
{
    const SecretText plain{info.userName + ":" + info.password};
    const SecretText basic{Text::ToBase64(plain.text)};
    const SecretText escaped = PasswordInLogin(info.password);
    lastError = client.Origin().empty() ? "" : client.Origin() + ": ";
    lastError += Describe(
        failure, {info.password, basic.text, escaped.text, session.Token(), session.FormerToken()});
    Log(1, __FILE__, __LINE__).Stream()
        << "IPMI request 0x" << std::hex << +request.netFn << " 0x" << +request.cmd
        << " over HTTPS: " << NameOf(failure.code) << ", " << lastError;
    return failure.code;
}

VKTHttps::VKTHttps(const TulvoConnection::ConnectionInfo& connectionInfo)
    : transport_(std::make_shared<Transport>(connectionInfo))
{
}

VKTHttpsErrorCode VKTHttps::SendIpmiCmdOverHttps(const IPMICOMMAND& request,
                                                 std::vector<std::uint8_t>& response,
                                                 std::uint8_t& completionCode)
try {
    IpmiReply answer;
    if (const auto failure = transport_->Ask(request, answer)) {
        const VKTHttpsErrorCode code = transport_->Report(request, *failure);
        if (std::exchange(transport_->sessionIsRefused, false) || Interruption::Raised()) {
            transport_->session.Close();
        }
        return code;
    }
    transport_->lastError.clear();
    response = std::move(answer.data);
    completionCode = answer.completionCode;
    return VKT_HTTPS_SUCCESS;
} catch (...) {
    // Only memory can have run out. The text needs none: it is short enough for the string itself.
    transport_->lastError = "out of memory";
    return VKT_HTTPS_INTERNAL_ERROR;
}

std::string VKTHttps::LastError() const
{
    return transport_->lastError;
}

void VKTHttps::InterruptAll()
{
    Interruption::Raise();
}

bool VKTHttps::WaitUntilAllClosed(std::uint32_t milliseconds)
{
    return Interruption::WaitForNone(std::chrono::milliseconds(milliseconds));
}

}  // namespace Tulvo
