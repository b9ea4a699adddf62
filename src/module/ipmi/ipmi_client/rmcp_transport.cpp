// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/rmcp_transport.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <chrono>
#include <new>
#include <string>
#include <utility>

#include "common/failure/log_in_gate.h"
#include "common/interruption/interruption.h"
#include "common/text/host.h"
#include "common/text/printable.h"
#include "module/ipmi/ipmi_client/connection.h"
#include "module/ipmi/ipmi_client/exchange.h"
#include "module/ipmi/ipmi_client/login.h"
#include "module/ipmi/ipmi_client/login_message.h"
#include "module/ipmi/ipmi_client/login_settings.h"
#include "module/ipmi/ipmi_client/rmcp_packet.h"
#include "module/ipmi/ipmi_client/rmcp_status.h"
#include "module/ipmi/ipmi_client/rmcp_timing.h"

namespace Tulvo::Rmcp {
namespace {

using namespace std::chrono_literals;
using Span = std::chrono::milliseconds;

constexpr unsigned kMostCopies = 3;

// To give a session back is worth a copy or two, and no more.
constexpr unsigned kMostCopiesOfLogOut = 2;

// What every module takes in one request: its message buffer is a byte long, less headers,
// checksums and signature.
constexpr std::size_t kMostData = 200;

constexpr std::uint8_t kBestSuite = 17;
constexpr std::uint8_t kOtherSuite = 3;

/// What RAKP message 2, before any proof has left, says of an account with less privilege.
constexpr std::array<std::uint8_t, 2> kTooMuchPrivilege{
    RMCPPLUS_STATUS_INVALID_ROLE, RMCPPLUS_STATUS_UNAUTHORIZED_ROLE_OR_PRIVILEGE_LEVEL_REQUESTED};

constexpr std::array<std::uint8_t, 2> kForgotten{RMCPPLUS_STATUS_INVALID_SESSION_ID,
                                                 RMCPPLUS_STATUS_INACTIVE_SESSION_ID};

constexpr std::array<std::uint8_t, 2> kNoSessionFree{
    RMCPPLUS_STATUS_INSUFFICIENT_RESOURCES_TO_CREATE_A_SESSION,
    RMCPPLUS_STATUS_INSUFFICIENT_RESOURCES_TO_CREATE_A_SESSION_AT_THE_REQUESTED_TIME};

/// To Set Session Privilege Level: the module does not know the level, or the user may not have it.
constexpr std::array<std::uint8_t, 2> kLevelRefused{
    IPMI_COMP_CODE_SET_SESSION_PRIVILEGE_LEVEL_REQUESTED_LEVEL_NOT_AVAILABLE_FOR_USER,
    IPMI_COMP_CODE_SET_SESSION_PRIVILEGE_LEVEL_REQUESTED_LEVEL_EXCEEDS_USER_PRIVILEGE_LIMIT};

template <std::size_t Size>
bool Holds(const std::array<std::uint8_t, Size>& codes, std::uint8_t code)
{
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

class Transport final : public IpmiTransport
{
public:
    Transport(const RmcpSettings& settings, const RmcpTiming& timing)
        : credentials_{settings.host,
                       settings.user,
                       Password(settings.password),
                       std::to_string(settings.port),
                       settings.cipherSuite.value_or(kBestSuite),
                       Secret<kLongestKg>(settings.kg)},
          timing_(timing),
          suiteIsFixed_(settings.cipherSuite.has_value()),
          privilegeIsFixed_(settings.privilege.has_value())
    {
        login_.port = settings.port;
        login_.cipherSuite = static_cast<std::uint8_t>(credentials_.cipherSuite);
        if (!suiteIsFixed_) {
            login_.otherSuite = kOtherSuite;
        }
        login_.privilege = settings.privilege.value_or(IPMI_PRIVILEGE_LEVEL_ADMIN);
        login_.laterStepLimit = timing.LaterStepLimit();
        login_.provedBySession = true;
        login_.cost = &cost_;
    }
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;
    ~Transport() override;

    IpmiOpening Open(const CallLimit& limit) override;
    IpmiExchange Ask(const IPMICOMMAND& request, Resend resend, const CallLimit& limit) override;
    std::optional<Tulvo::Failure> RaisePrivilege(const CallLimit& limit) override;
    void Close(const CallLimit& limit) override;
    IpmiSessionInfo Info() const override;
    IpmiCost Cost() const override { return cost_; }

private:
    std::optional<Failure> CheckSettings() const;
    std::optional<Failure> LogInOnce(const Waits& waits);
    bool MayHelp(const Failure& failure);
    bool Lower();
    Waits LoginWaits(const CallLimit& limit, const StopSignal& stop) const;
    Waits RequestWaits(const CallLimit& limit, const StopSignal& stop, unsigned copies) const;
    const StopSignal& Signal(const std::stop_token& token);
    std::optional<std::uint8_t> FreeNumber();
    std::optional<Failure> Exchange(const IPMICOMMAND& request, std::uint8_t number,
                                    const Waits& waits, IpmiAnswer& answer);
    Tulvo::Failure Told(const Failure& failure, const std::string& tried) const;
    IpmiExchange Ended(IpmiExchange::End end, const Failure& failure) const;

    Credentials credentials_;
    LoginSettings login_;
    const RmcpTiming timing_;
    const bool suiteIsFixed_;
    const bool privilegeIsFixed_;
    bool begunAnew_ = false;
    IpmiCost cost_;
    std::unique_ptr<Connection> connection_;
    Span slowest_{};  ///< Of this session's answers with a value; 0 before any.
    std::uint8_t number_ = 0;
    /// Numbers of requests that were sent more than once: an answer to a copy may still come.
    std::bitset<kRequestNumbers> used_;
    bool gone_ = false;  ///< The module left the last request unanswered for all of its time.
    std::optional<StopSignal> stop_;
};

Transport::~Transport()
{
    try {
        Close({Clock::now(), {}});
    } catch (const std::bad_alloc&) {
        // Nothing is left to tell the module with; it forgets the session when that times out.
    }
}

/// What is wrong before anything is sent.
std::optional<Failure> Transport::CheckSettings() const
{
    if (std::optional<Failure> failure = CheckCredentials(credentials_)) {
        return failure;
    }
    if (!credentials_.kg.Fits()) {
        return Failure{CONNECTION_REFUSED,
                       "the K_g key has more than 20 bytes, which IPMI 2.0 has no room for",
                       "check it"};
    }
    if (login_.port == 0) {
        return Failure{CONNECTION_FAILED, "0 is no port", "623 is the usual one"};
    }
    if (login_.privilege < IPMI_PRIVILEGE_LEVEL_USER ||
        login_.privilege > IPMI_PRIVILEGE_LEVEL_ADMIN) {
        return Failure{CONNECTION_REFUSED,
                       "there is no privilege level " + std::to_string(login_.privilege),
                       "choose 2 (user), 3 (operator) or 4 (administrator)"};
    }
    return CheckCipherSuite(credentials_.cipherSuite);
}

/// Why nothing is sent any more.
Failure TimeIsOver(const CallLimit& limit)
{
    return limit.stop.stop_requested() ? Interrupted() : NoTimeLeft();
}

Waits Transport::LoginWaits(const CallLimit& limit, const StopSignal& stop) const
{
    Waits waits;
    waits.until = limit.until;
    waits.limit =
        std::chrono::ceil<Span>(std::max<Clock::duration>(limit.until - Clock::now(), 0s));
    waits.copyInterval = timing_.loginStep;
    waits.longestInterval = timing_.longest;
    waits.doubling = true;
    waits.mostCopies = kMostCopies;
    waits.doubt = timing_.doubt;
    waits.stop = &stop;
    return waits;
}

Waits Transport::RequestWaits(const CallLimit& limit, const StopSignal& stop, unsigned copies) const
{
    Waits waits = LoginWaits(limit, stop);
    waits.copyInterval = timing_.CopyInterval(slowest_);
    waits.mostCopies = copies;
    return limit.longestSilence ? waits.Within(Clock::now() + *limit.longestSilence) : waits;
}

LogInGate::End EndOf(const std::optional<Failure>& failure)
{
    if (!failure) {
        return LogInGate::End::kAccepted;
    }
    return failure->accountRefused ? LogInGate::End::kRefused : LogInGate::End::kUnknown;
}

/// Whether the module was given up because it did not answer at all in the time for that.
bool GaveNoFirstAnswer(const Failure& failure, const CallLimit& limit)
{
    const LoginStep step = failure.point.step;
    return limit.firstAnswer && failure.cause == Cause::kTimedOut &&
           (step == LoginStep::kNone || (step == LoginStep::kOpenSession && failure.point.silent));
}

IpmiOpening Transport::Open(const CallLimit& limit)
{
    Close(limit);
    const StopSignal& stop = Signal(limit.stop);
    std::optional<Failure> failure = limit.Over() ? TimeIsOver(limit) : CheckSettings();
    begunAnew_ = false;
    LogInPass pass(limit.gate);
    if (!failure) {
        login_.firstAnswer = limit.UntilFirstAnswer();
        login_.mayLogIn = [&] { return pass.Enter(limit.until, limit.stop); };
        do {
            failure = LogInOnce(LoginWaits(limit, stop));
        } while (failure && !pass.Refusal() && !limit.Over() && MayHelp(*failure));
        login_.mayLogIn = {};
    }
    const LogInGate::End end = EndOf(failure);
    cost_.logInsRefused += end == LogInGate::End::kRefused ? 1 : 0;
    pass.Leave(end);
    if (!failure) {
        return {};
    }
    if (pass.Refusal()) {
        return {.failure = pass.Refusal()};
    }
    if (GaveNoFirstAnswer(*failure, limit)) {
        failure->cause = Cause::kUnreachable;
    }
    return {.failure = Told(*failure, "log-in at "),
            .noneFree = Holds(kNoSessionFree, failure->point.status)};
}

std::optional<Failure> Transport::LogInOnce(const Waits& waits)
{
    login_.waits = waits;
    slowest_ = {};
    used_.reset();
    gone_ = false;
    std::optional<Failure> failure = OpenConnection(credentials_, login_, connection_);
    login_.waits.stop = nullptr;
    if (!failure) {
        connection_->link.Attach(nullptr, &cost_);
    }
    return failure;
}

/// Whether another log-in may end better, which is prepared then.
bool Transport::MayHelp(const Failure& failure)
{
    const LoginPoint& point = failure.point;
    if (point.step == LoginStep::kRandomNumbers && Holds(kTooMuchPrivilege, point.status)) {
        return Lower();
    }
    // A module that lost the log-in, or that mixed up the copies of a message.
    const bool afterTheFirst =
        point.step == LoginStep::kRandomNumbers || point.step == LoginStep::kProof;
    const bool forgotten = Holds(kForgotten, point.status);
    const bool mixedUp = point.copied && point.status != RMCPPLUS_STATUS_NO_ERRORS;
    if (afterTheFirst && (point.silent || forgotten || mixedUp)) {
        return !std::exchange(begunAnew_, true);
    }
    return false;
}

/// Asks for a level less from now on, where the caller has not fixed it.
bool Transport::Lower()
{
    if (privilegeIsFixed_ || login_.privilege == IPMI_PRIVILEGE_LEVEL_USER) {
        return false;
    }
    --login_.privilege;
    return true;
}

/// The same for all calls with one token, which a read of many requests makes.
const StopSignal& Transport::Signal(const std::stop_token& token)
{
    if (!stop_ || !stop_->IsOf(token)) {
        stop_.emplace(token);
    }
    return *stop_;
}

/// The next number of which no answer to a copy can come any more.
std::optional<std::uint8_t> Transport::FreeNumber()
{
    for (std::size_t tried = 0; tried < kRequestNumbers; ++tried) {
        number_ = static_cast<std::uint8_t>((number_ + 1U) % kRequestNumbers);
        if (!used_.test(number_)) {
            return number_;
        }
    }
    return {};
}

/// Whether an answer shows how long the module needs for a value. A refusal shows nothing, and what
/// concerns the session is often answered by a part of the module that is faster than the rest.
bool TellsPace(const IPMICOMMAND& request, const IpmiAnswer& answer)
{
    return answer.completionCode == IPMI_COMP_CODE_COMMAND_SUCCESS &&
           request.cmd != IPMI_CMD_SET_SESSION_PRIVILEGE_LEVEL;
}

std::optional<Failure> Transport::Exchange(const IPMICOMMAND& request, std::uint8_t number,
                                           const Waits& waits, IpmiAnswer& answer)
{
    SessionState& state = connection_->state;
    connection_->link.Attach(waits.stop, &cost_);
    Message message;
    // Copies have the request's number, so that a slow module's answer to any of them is taken; the
    // packet's own number is new, or the module would drop it.
    message.pack = [&] { return PackRequest(state, request, number); };
    message.judge = [&](const Packet& packet) {
        const Verdict verdict = UnpackAnswer(state, packet, request, number, answer);
        if (verdict == Verdict::kOther && AbortDuplicate(connection_->link, state, packet)) {
            return Verdict::kEarlier;
        }
        const bool refusesCopy =
            verdict == Verdict::kAnswer && message.Copies() > 0 &&
            answer.completionCode == IPMI_COMP_CODE_CANNOT_EXECUTE_DUPLICATE_REQUEST;
        return refusesCopy ? Verdict::kOther : verdict;
    };
    std::optional<Failure> failure = Rmcp::Exchange(connection_->link, waits, message);
    connection_->link.Attach(nullptr, &cost_);
    cost_.copies += message.Copies();
    used_.set(number, message.Copies() > 0 || failure);
    gone_ =
        failure && (failure->cause == Cause::kUnreachable || message.Copies() == waits.mostCopies);
    if (!failure && TellsPace(request, answer)) {
        // From the last copy: in a network that loses one the time since the first says nothing.
        const auto took = std::chrono::ceil<Span>(Clock::now() - message.lastSent);
        slowest_ = std::max(slowest_, took);
    }
    return failure;
}

IpmiExchange Transport::Ask(const IPMICOMMAND& request, Resend /*resend*/, const CallLimit& limit)
{
    using End = IpmiExchange::End;
    if (connection_ == nullptr) {
        return Ended(End::kLost, {CONNECTION_FAILED, "no session is open"});
    }
    if (!connection_->BelongsToThisProcess()) {
        return Ended(End::kFailed, {CONNECTION_FAILED, "the session is another process's"});
    }
    if (request.data.size() > kMostData) {
        return Ended(End::kFailed,
                     {CONNECTION_FAILED, "the request has more bytes than a module takes"});
    }
    if (limit.Over()) {
        return Ended(End::kSilent, TimeIsOver(limit));
    }
    const std::optional<std::uint8_t> number = FreeNumber();
    if (!number) {
        return Ended(End::kLost, {CONNECTION_TRY_AGAIN, "the session has no request number left"});
    }
    ++cost_.requests;
    const StopSignal& stop = Signal(limit.stop);
    IpmiAnswer answer;
    const std::optional<Failure> failure =
        Exchange(request, *number, RequestWaits(limit, stop, kMostCopies), answer);
    if (!failure) {
        return {End::kAnswered, answer.completionCode, std::move(answer.data), {}};
    }
    if (failure->cause == Cause::kUnreachable) {
        return Ended(End::kLost, *failure);
    }
    gone_ = gone_ || (failure->point.silent && !limit.Over());
    return Ended(
        failure->point.silent || failure->cause == Cause::kCancelled ? End::kSilent : End::kFailed,
        *failure);
}

std::optional<Tulvo::Failure> Transport::RaisePrivilege(const CallLimit& limit)
{
    IpmiExchange exchange;
    std::uint8_t level = login_.privilege;
    for (;; --level) {
        exchange = Ask({IPMI_CMD_SET_SESSION_PRIVILEGE_LEVEL, {level}, IPMI_NET_FN_APP_RQ},
                       Resend::kFreely, limit);
        const bool refused = exchange.end == IpmiExchange::End::kAnswered &&
                             Holds(kLevelRefused, exchange.completionCode);
        if (!refused || level == IPMI_PRIVILEGE_LEVEL_USER) {
            break;
        }
    }
    if (exchange.end != IpmiExchange::End::kAnswered) {
        return exchange.failure;
    }
    if (IsBusy(exchange.completionCode)) {
        return Tulvo::Failure{Cause::kBusy, "the module is too busy to raise the privilege",
                              "try again later", exchange.completionCode};
    }
    if (exchange.completionCode != IPMI_COMP_CODE_COMMAND_SUCCESS) {
        return Tulvo::Failure{Cause::kRefused, "the module does not raise the session's privilege",
                              "use an account that may ask for it", exchange.completionCode};
    }
    login_.privilege = level;
    return {};
}

void Transport::Close(const CallLimit& limit)
{
    if (connection_ == nullptr) {
        return;
    }
    const std::uint32_t id = connection_->state.moduleId;
    IPMICOMMAND request{IPMI_CMD_CLOSE_SESSION, {}, IPMI_NET_FN_APP_RQ};
    for (unsigned shift = 0; shift < 32; shift += 8) {
        request.data.push_back(static_cast<std::uint8_t>(id >> shift));
    }
    if (connection_->BelongsToThisProcess()) {
        const StopSignal& stop = Signal(limit.stop);
        // A module that answers no more is told, but not waited for.
        const Waits waits =
            RequestWaits(gone_ ? CallLimit{Clock::now(), {}} : limit, stop, kMostCopiesOfLogOut);
        IpmiAnswer answer;
        Exchange(request, FreeNumber().value_or(0), waits, answer);
    }
    connection_.reset();
}

IpmiSessionInfo Transport::Info() const
{
    return {login_.port, login_.cipherSuite, login_.privilege};
}

/// Whether a log-in failed at this side's check of what the module's keys make. It is the first
/// thing that a K_g key goes into: both sides have proved by then that they know the password.
bool IsOfOtherKeys(const Failure& failure)
{
    return failure.point.step == LoginStep::kProof && failure.cause == Cause::kRefused &&
           failure.point.status == RMCPPLUS_STATUS_NO_ERRORS;
}

Tulvo::Failure Transport::Told(const Failure& failure, const std::string& tried) const
{
    const std::string target =
        Text::WithBrackets(credentials_.address) + ":" + std::to_string(login_.port);
    Failure told = failure;
    const LoginPoint& point = failure.point;
    if (point.silent) {
        const bool begun =
            point.step == LoginStep::kRandomNumbers || point.step == LoginStep::kProof;
        told.what = begun ? "the module began to answer, and stopped" : "no answer";
        told.advice = point.step == LoginStep::kOpenSession
                          ? "check that the address is the module's and that it is up"
                          : "try again later";
    } else if (failure.cause == Cause::kCancelled) {
        told.what = "stopped";
        told.advice = {};
    } else if (IsOfOtherKeys(failure)) {
        told.what = "the module knows the password, but computes other keys";
        told.advice = "it may have a K_g key; give it, or check the one that was given";
    } else if (!suiteIsFixed_ && point.step == LoginStep::kOpenSession &&
               RefusesSuite(point.status)) {
        told.what = "the module offers neither cipher suite 17 nor 3";
        told.advice = "allow one of them on the module";
    } else if (failure.exhausted) {
        told.advice =
            "raise this system's limits of open files and memory, or ask fewer modules at a time";
    }
    std::string advice = std::exchange(told.advice, {});
    // What IPMI has no room for no module would take: it is refused before anything is sent.
    const Cause cause = failure.code == CONNECTION_REFUSED ? Cause::kRefused : failure.cause;
    return {cause, Text::PrintableAscii(tried + target + ": " + Describe(told)), advice, {}};
}

IpmiExchange Transport::Ended(IpmiExchange::End end, const Failure& failure) const
{
    return {end, 0xFF, {}, Told(failure, "request to ")};
}

}  // namespace

std::unique_ptr<IpmiTransport> MakeRmcpTransport(const RmcpSettings& settings,
                                                 const RmcpTiming& timing)
{
    return std::make_unique<Transport>(settings, timing);
}

}  // namespace Tulvo::Rmcp

namespace Tulvo {

std::unique_ptr<IpmiTransport> MakeRmcpTransport(const RmcpSettings& settings)
{
    return Rmcp::MakeRmcpTransport(settings, {});
}

}  // namespace Tulvo
