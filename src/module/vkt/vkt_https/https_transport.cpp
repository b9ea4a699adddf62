// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/https_transport.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "common/connection/connection_values.h"
#include "common/text/base64.h"
#include "module/vkt/vkt_https/https_client.h"
#include "module/vkt/vkt_https/ipmi_codec.h"
#include "module/vkt/vkt_https/redfish_session.h"
#include "module/vkt/vkt_https/result_tables.h"
#include "module/vkt/vkt_https/retry_after.h"
#include "module/vkt/vkt_https/secret_text.h"
#include "module/vkt/vkt_https/transport_failure.h"

namespace Tulvo::Https {
namespace {

using namespace std::chrono_literals;
using Clock = CallLimit::Clock;
using End = IpmiExchange::End;

constexpr unsigned kMostNewConnections = 3;
// One request that is never answered must not cost the time of all others.
constexpr Clock::duration kShortestPatience = 3s;
constexpr Clock::duration kLongestPatience = 10s;
constexpr int kPatienceInAnswers = 4;  // times the slowest
constexpr Clock::duration kLongestLastClose = 1s;

std::int32_t VerificationOf(HttpsTrust trust)
{
    switch (trust) {
        case HttpsTrust::kPinnedKey:
            return TulvoConnection::kTlsVerifyPinnedKey;
        case HttpsTrust::kAnybody:
            return TulvoConnection::kTlsVerifyNothing;
        default:
            return TulvoConnection::kTlsVerifyAuthority;
    }
}

TulvoConnection::ConnectionInfo RecordOf(const HttpsSettings& settings)
{
    TulvoConnection::ConnectionInfo info;
    info.address = settings.host;
    info.port = settings.port == 0 ? HttpsSettings().port : settings.port;
    info.userName = settings.user;
    info.password = settings.password;
    info.tlsVerification = VerificationOf(settings.trust);
    info.authentication = settings.basicAuthentication ? TulvoConnection::kAuthenticateBasic
                                                       : TulvoConnection::kAuthenticateBySession;
    return info;
}

/// Of a request whose session expired, when no other could be opened.
End EndAfterOpening(Cause cause)
{
    const bool maySucceedLater =
        cause == Cause::kBusy || cause == Cause::kTimedOut || cause == Cause::kUnreachable;
    return maySucceedLater ? End::kLost : End::kFailed;
}

bool IsBusy(const Failure& failure)
{
    return CauseOf(failure) == Cause::kBusy;
}

/// Waits as the server asks. False when that cannot be within the limit.
bool WaitAsTold(const Failure& busy, const CallLimit& limit)
{
    const auto until = Clock::now() + PauseFor(busy.retryAfter, std::time(nullptr));
    if (until >= limit.until) {
        return false;
    }
    std::mutex mutex;
    std::condition_variable_any stopped;
    std::unique_lock lock(mutex);
    stopped.wait_until(lock, limit.stop, until, [] { return false; });
    return !limit.stop.stop_requested();
}

/// Whether the module was given up because it did not answer at all in the time for that.
bool GaveNoFirstAnswer(const Failure& failure, const CallLimit& limit)
{
    return limit.firstAnswer && CauseOf(failure) == Cause::kTimedOut && !failure.mayHaveArrived &&
           failure.status == 0;
}

class HttpsTransport final : public IpmiTransport
{
public:
    explicit HttpsTransport(const HttpsSettings& settings)
        : info_(RecordOf(settings)), trust_{settings.trust, settings.trusted}
    {
    }
    ~HttpsTransport() override
    {
        Close({Clock::now() + kLongestLastClose});
        Wipe(info_.password);
    }
    HttpsTransport(const HttpsTransport&) = delete;
    HttpsTransport& operator=(const HttpsTransport&) = delete;

    IpmiOpening Open(const CallLimit& limit) override;
    IpmiExchange Ask(const IPMICOMMAND& request, Resend resend, const CallLimit& limit) override;
    std::optional<Tulvo::Failure> RaisePrivilege(const CallLimit& limit) override;
    void Close(const CallLimit& limit) override;
    IpmiSessionInfo Info() const override;
    IpmiCost Cost() const override;

private:
    using Attempt = std::function<std::optional<Failure>(const CallLimit&)>;

    bool IsBasic() const { return info_.authentication == TulvoConnection::kAuthenticateBasic; }
    /// What fork() copies is its parent's to use and to end.
    void LetGoOfAnotherProcess();
    std::optional<Failure> Persist(const Attempt& attempt, const LogInPass& pass, Resend resend,
                                   bool waitsUntold, const CallLimit& limit);
    bool MayBeSentAgain(const Failure& failure, Resend resend) const;
    bool ConnectionBrokeOff(const Failure& failure) const;
    std::optional<Failure> LogIn(const CallLimit& limit, LogInPass& pass);
    std::optional<Failure> FindAgain(const CallLimit& limit);
    std::optional<Failure> Post(const IPMICOMMAND& request, const std::string& body, Resend resend,
                                IpmiReply& answer, const CallLimit& limit,
                                LogInPass* pass = nullptr);
    CallLimit Patience(const CallLimit& limit) const;
    bool HasExpired(const Failure& failure) const;
    End EndAfter(const Failure& failure) const;
    Tulvo::Failure Tell(const Failure& failure, const CallLimit& limit) const;

    TulvoConnection::ConnectionInfo info_;
    ServerTrust trust_;
    HttpsClient client_{info_, [this](std::string_view, ServerTrust& trust) {
                            trust = trust_;
                            return std::optional<Failure>();
                        }};
    RedfishSession session_{client_, info_};
    bool isOpen_ = false;
    bool hasAnswered_ = false;  ///< In this session.
    bool isKnown_ = false;      ///< The module has answered in some session.
    bool isAccepted_ = false;   ///< It has taken name and password of a request.
    std::optional<Clock::duration> slowest_;
    IpmiCost cost_;
    pid_t process_ = getpid();
};

LogInGate::End EndOfLogIn(const std::optional<Failure>& failure)
{
    if (!failure) {
        return LogInGate::End::kAccepted;
    }
    return CauseOf(*failure) == Cause::kRefused ? LogInGate::End::kRefused
                                                : LogInGate::End::kUnknown;
}

/// Of a request that carried name and password.
LogInGate::End EndOfBasic(const std::optional<Failure>& failure)
{
    const long status = failure ? failure->status : kOk;
    if (status == 0) {
        return LogInGate::End::kUnknown;
    }
    return status == kUnauthorized ? LogInGate::End::kRefused : LogInGate::End::kAccepted;
}

IpmiOpening HttpsTransport::Open(const CallLimit& limit)
{
    Close(Patience(limit));
    hasAnswered_ = false;
    LogInPass pass(limit.gate);
    auto failure = client_.LookUpServer({limit.UntilFirstAnswer(), limit.stop});
    if (!failure && IsBasic() && isKnown_) {
        failure = FindAgain(limit);
    } else if (!failure && !IsBasic()) {
        // With no word of the server on when, the caller knows better: it comes back at random.
        failure = Persist([&](const CallLimit& once) { return LogIn(once, pass); }, pass,
                          Resend::kFreely, false, limit);
        const LogInGate::End end = EndOfLogIn(failure);
        cost_.logInsRefused += end == LogInGate::End::kRefused && !pass.Refusal() ? 1 : 0;
        pass.Leave(end);
    }
    isOpen_ = !failure;
    if (pass.Refusal()) {
        return {.failure = pass.Refusal()};
    }
    if (!failure) {
        return {};
    }
    return {.failure = Tell(*failure, limit),
            .noneFree = IsBusy(*failure) && failure->retryAfter.empty()};
}

IpmiExchange HttpsTransport::Ask(const IPMICOMMAND& request, Resend resend, const CallLimit& limit)
{
    LetGoOfAnotherProcess();
    IpmiExchange exchange;
    if (!isOpen_) {
        exchange.end = End::kLost;
        exchange.failure = {Cause::kLocal, "no session is open", "open one", {}};
        return exchange;
    }
    ++cost_.requests;
    std::string body;
    IpmiReply answer;
    auto failure = EncodeIpmiRequest(request, body);
    LogInPass pass(IsBasic() && !isAccepted_ ? limit.gate : nullptr);
    const auto post = [&](const CallLimit& once) {
        return Post(request, body, resend, answer, Patience(once), &pass);
    };
    if (!failure) {
        failure = Persist(post, pass, resend, true, limit);
        const LogInGate::End end = EndOfBasic(failure);
        isAccepted_ = isAccepted_ || end == LogInGate::End::kAccepted;
        cost_.logInsRefused += IsBasic() && end == LogInGate::End::kRefused ? 1 : 0;
        pass.Leave(end);
    }
    if (pass.Refusal()) {
        exchange.end = End::kFailed;
        exchange.failure = pass.Refusal();
        return exchange;
    }
    if (failure && HasExpired(*failure) && resend == Resend::kFreely) {
        if (const IpmiOpening opening = Open(limit); opening.failure) {
            exchange.end = EndAfterOpening(opening.failure->cause);
            exchange.failure = opening.failure;
            return exchange;
        }
        failure = Persist(post, pass, resend, true, limit);
    }
    if (failure) {
        isOpen_ = !HasExpired(*failure);
        exchange.end = GaveNoFirstAnswer(*failure, limit) ? End::kFailed : EndAfter(*failure);
        exchange.failure = Tell(*failure, limit);
        return exchange;
    }
    exchange.end = End::kAnswered;
    exchange.completionCode = answer.completionCode;
    exchange.data = std::move(answer.data);
    return exchange;
}

std::optional<Tulvo::Failure> HttpsTransport::RaisePrivilege(const CallLimit& /*limit*/)
{
    return Tulvo::Failure{Cause::kRefused,
                          "over HTTPS an account's privilege cannot be raised",
                          "use an account that may ask for it",
                          {}};
}

void HttpsTransport::Close(const CallLimit& limit)
{
    LetGoOfAnotherProcess();
    session_.Close(&limit);
    isOpen_ = false;
}

IpmiSessionInfo HttpsTransport::Info() const
{
    return {.port = info_.port, .cipherSuite = {}, .privilege = {}};
}

IpmiCost HttpsTransport::Cost() const
{
    IpmiCost cost = cost_;
    cost.tlsHandshakes = client_.Handshakes();
    return cost;
}

void HttpsTransport::LetGoOfAnotherProcess()
{
    if (process_ != getpid()) {
        session_.Abandon();
        client_.Abandon();
        isOpen_ = false;
        process_ = getpid();
    }
}

/// Tries until there is an answer or a failure that no repetition mends.
std::optional<Failure> HttpsTransport::Persist(const Attempt& attempt, const LogInPass& pass,
                                               Resend resend, bool waitsUntold,
                                               const CallLimit& limit)
{
    const std::uint64_t mostHandshakes =
        client_.Handshakes() + kMostNewConnections + (client_.ConnectionIsUsable() ? 0 : 1);
    unsigned newConnections = 0;  // On some no handshake begins.
    for (;; ++cost_.copies) {
        auto failure = attempt(limit);
        if (!failure || pass.Refusal() || limit.Over()) {
            return failure;
        }
        if (IsBusy(*failure)) {
            const bool comesBack = waitsUntold || !failure->retryAfter.empty();
            if (!comesBack || !WaitAsTold(*failure, limit)) {
                return failure;
            }
        } else if (!MayBeSentAgain(*failure, resend) || client_.Handshakes() >= mostHandshakes ||
                   newConnections++ == kMostNewConnections) {
            return failure;
        }
    }
}

bool HttpsTransport::MayBeSentAgain(const Failure& failure, Resend resend) const
{
    const HandshakeNotes& seen = client_.Proof().Notes();
    if (seen.asksForCertificate && seen.alert) {
        return false;  // It would only be refused again.
    }
    return ConnectionBrokeOff(failure) && (resend == Resend::kFreely || !failure.mayHaveArrived);
}

/// Before an answer began, be it in the handshake.
bool HttpsTransport::ConnectionBrokeOff(const Failure& failure) const
{
    if (failure.result == CURLE_SSL_CONNECT_ERROR) {
        return client_.Proof().Notes().certificate == nullptr;
    }
    return failure.code == VKT_HTTPS_CONNECT_FAILED && IsBrokenOff(failure.result);
}

std::optional<Failure> HttpsTransport::LogIn(const CallLimit& limit, LogInPass& pass)
{
    auto failure = session_.Open(&limit, &pass);
    cost_.logIns += !failure || failure->mayHaveArrived ? 1 : 0;
    return failure;
}

/// Without a log-in nothing else tells whether a module that was lost is there again. What it
/// answers does not matter.
std::optional<Failure> HttpsTransport::FindAgain(const CallLimit& limit)
{
    const IPMICOMMAND getDeviceId{0x01, {}, 0x06};
    std::string body;
    IpmiReply answer;
    auto failure = EncodeIpmiRequest(getDeviceId, body);
    if (!failure) {
        failure = Post(getDeviceId, body, Resend::kFreely, answer, Patience(limit));
    }
    return failure && CauseOf(*failure) == Cause::kUnreachable ? failure : std::nullopt;
}

std::optional<Failure> HttpsTransport::Post(const IPMICOMMAND& request, const std::string& body,
                                            Resend resend, IpmiReply& answer,
                                            const CallLimit& limit, LogInPass* pass)
{
    const auto asked = Clock::now();
    HttpReply reply;
    auto failure = client_.Exchange({.path = std::string(kIpmiActionPath),
                                     .body = body,
                                     .sessionToken = session_.Token(),
                                     .limit = &limit,
                                     .pass = pass,
                                     .mayBeRepeated = resend == Resend::kFreely},
                                    reply);
    if (IsBasic() && (!failure || failure->mayHaveArrived)) {
        cost_.logIns = 1;
    }
    if (failure) {
        return failure;
    }
    slowest_ = std::max(slowest_.value_or(Clock::duration{}), Clock::now() - asked);
    if (reply.status != kOk) {
        return FailureOf(reply);
    }
    hasAnswered_ = isKnown_ = true;
    failure = DecodeIpmiReply(request, reply.contentType, reply.body, answer);
    if (failure) {
        client_.LeaveConnection();
    }
    return failure;
}

/// How long one request may take.
CallLimit HttpsTransport::Patience(const CallLimit& limit) const
{
    auto patience =
        slowest_ ? std::clamp(kPatienceInAnswers * *slowest_, kShortestPatience, kLongestPatience)
                 : kLongestPatience;
    patience = std::min(patience, limit.longestSilence.value_or(patience));
    return {std::min(limit.until, Clock::now() + patience), limit.stop, limit.firstAnswer};
}

/// The session has, so the module has not executed the request. Modules that never take a token
/// are not asked for another.
bool HttpsTransport::HasExpired(const Failure& failure) const
{
    return failure.status == kUnauthorized && !IsBasic() && hasAnswered_;
}

End HttpsTransport::EndAfter(const Failure& failure) const
{
    if (failure.status == kForbidden) {
        return End::kUseless;  // About this one request: the module has taken name and password.
    }
    if (HasExpired(failure)) {
        return End::kLost;
    }
    // Who was reached before may be starting anew.
    const bool wasReached = isKnown_ || !IsBasic();
    if (failure.result == CURLE_SSL_CONNECT_ERROR && ConnectionBrokeOff(failure) && wasReached) {
        return End::kSilent;
    }
    switch (CauseOf(failure)) {
        case Cause::kTimedOut:
            return End::kSilent;
        case Cause::kUnreachable:
            if (ConnectionBrokeOff(failure)) {
                return End::kSilent;
            }
            return wasReached ? End::kLost : End::kFailed;
        case Cause::kMalformedAnswer:
            return IsBrokenOff(failure.result) ? End::kSilent : End::kUseless;
        default:
            return End::kFailed;
    }
}

Tulvo::Failure HttpsTransport::Tell(const Failure& failure, const CallLimit& limit) const
{
    if (limit.stop.stop_requested()) {
        return {Cause::kCancelled, "the request was cancelled", "", {}};
    }
    const SecretText plain{info_.userName + ":" + info_.password};
    const SecretText basic{Text::ToBase64(plain.text)};
    const SecretText escaped = PasswordInLogin(info_.password);
    Tulvo::Failure told = Https::Tell(
        failure, client_.Origin(), info_.address, client_.Proof(),
        {info_.password, basic.text, escaped.text, session_.Token(), session_.FormerToken()});
    if (GaveNoFirstAnswer(failure, limit)) {
        told.cause = Cause::kUnreachable;
    }
    return told;
}

}  // namespace
}  // namespace Tulvo::Https

namespace Tulvo {

std::unique_ptr<IpmiTransport> MakeHttpsTransport(const HttpsSettings& settings)
{
    return std::make_unique<Https::HttpsTransport>(settings);
}

}  // namespace Tulvo
