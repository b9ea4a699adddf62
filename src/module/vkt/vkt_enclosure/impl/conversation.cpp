// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/impl/conversation.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <tuple>
#include <utility>

#include "common/failure/log_in_gate.h"
#include "common/log/log.h"
#include "common/text/hexadecimal.h"
#include "module/vkt/vkt_inventory/impl/byte_view.h"

namespace Tulvo::Enclosures {
namespace {

using namespace std::chrono_literals;

// All waits and counts of a conversation.
constexpr Pace::Span kLongest = 24h;
constexpr Pace::Span kMostForLogOut = 1s;
constexpr int kLogOutShare = 10;  // a tenth of the time, if that is less
// Whoever is cancelled amid a request over HTTPS gives up its connection, and its log-out begins
// with a handshake: up to two seconds of a module's processor.
constexpr Pace::Span kMostForLogOutAfterStop = 3s;
constexpr unsigned kMostNewSessions = 3;
constexpr unsigned kMostSilences = 2;
// While others wait: one request that is never answered must not cost the time of all. So much of
// what is left, and no less than what a slow module may need.
constexpr int kShareOfSilence = 3;
constexpr int kTimesSlowest = 4;
constexpr Pace::Span kFirstPauseForSession = 200ms;
constexpr Pace::Span kLongestPauseForSession = 2s;
constexpr Pace::Span kFirstPauseForLater = 50ms;
constexpr Pace::Span kLongestForLater = 1s;
constexpr Pace::Span kPauseForOnceMore = 50ms;
constexpr Pace::Span kPauseForInvalidCommand = 1s;

const IPMICOMMAND kGetDeviceId{0x01, {}, 0x06};
constexpr auto kHighestPrivilege = static_cast<std::uint8_t>(Privilege::kAdministrator);

constexpr int kTrace = 4;

/// "32 a7 02: 00 80010203": network function, command and data, then completion code and answer, or
/// why there is none.
struct Exchanged
{
    const IPMICOMMAND& request;
    const IpmiExchange& exchange;
};

std::ostream& operator<<(std::ostream& stream, const Exchanged& exchanged)
{
    if (!stream) {
        return stream;  // above the threshold
    }
    const auto& [request, exchange] = exchanged;
    stream << Text::ToHexPairs(std::array{request.netFn}) << " "
           << Text::ToHexPairs(std::array{request.cmd});
    stream << (request.data.empty() ? "" : " ") << Text::ToHexPairs(request.data) << ": ";
    if (exchange.failure) {
        return stream << exchange.failure->message;
    }
    return stream << Text::ToHexPairs(std::array{exchange.completionCode})
                  << (exchange.data.empty() ? "" : " ") << Text::ToHexPairs(exchange.data);
}

Failure TimeIsOver()
{
    return {Cause::kTimedOut,
            "the time for the whole read was over",
            "allow more time, or read less",
            {}};
}

Failure Cancelled()
{
    return {Cause::kCancelled, "the read was cancelled", "", {}};
}

/// Says nothing about the object that was asked for, so that equal failures are equal.
Failure CodeFailure(Cause cause, std::uint8_t code, const CodeRule& rule)
{
    std::string message = "the module answered with completion code 0x";
    for (const char digit : Text::ToHexPairs({&code, 1})) {
        message += digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit;
    }
    message += " (" + std::string(rule.meaning) + ")";
    const std::string_view advice = cause == Cause::kBusy ? "try again later" : "";
    return {cause, message, std::string(advice), code};
}

Cause CauseOf(Reaction reaction)
{
    const bool comesBack = reaction == Reaction::kLater || reaction == Reaction::kEndRead;
    return comesBack ? Cause::kBusy : Cause::kCompletionCode;
}

/// Any number may stand for a caller's time; a point in time must come of it.
Pace::Span Possible(Pace::Span time)
{
    return std::clamp(time, Pace::Span::zero(), kLongest);
}

}  // namespace

SharedFailure Share(Failure failure)
{
    return std::make_shared<const Failure>(std::move(failure));
}

Conversation::Conversation(IpmiTransport& transport, Pace& pace, const Limits& limits)
    : transport_(transport),
      pace_(pace),
      deadline_(pace.Now() + Possible(limits.deadline)),
      asking_{deadline_ - std::min(kMostForLogOut, Possible(limits.deadline) / kLogOutShare),
              limits.stop}
{
    if (limits.firstAnswer > Span::zero()) {
        asking_.firstAnswer = pace.Now() + std::min(limits.firstAnswer, kLongest);
    }
    asking_.gate = limits.gate;
}

void Conversation::Add(Request request)
{
    pending_.push_back({.request = std::move(request), .order = added_++, .due = pace_.Now()});
}

SharedFailure Conversation::Run()
{
    Open();
    while (!pending_.empty()) {
        Pending next = TakeNext();
        if (ended_ == nullptr && !IsOver()) {
            Ask(std::move(next));
        } else {
            const bool wasPutOff =
                next.asksForLater != nullptr && ended_->cause == Cause::kTimedOut;
            GiveUp(next, wasPutOff ? next.asksForLater : ended_);
        }
    }
    // Even a cancelled read gives its session back. A module that was silent is not waited for.
    const bool isWorthMore = asking_.stop.stop_requested() && !wasSilent_;
    const Span most = isWorthMore ? kMostForLogOutAfterStop : kMostForLogOut;
    transport_.Close({std::min(deadline_, pace_.Now() + most), {}});
    return ended_;
}

/// Ends the conversation when its time is over.
bool Conversation::IsOver()
{
    if (asking_.stop.stop_requested()) {
        End(Cancelled());
        return true;
    }
    if (pace_.Now() >= asking_.until) {
        End(TimeIsOver());
        return true;
    }
    return false;
}

/// Opens a session, as soon as the module has one free.
void Conversation::Open()
{
    raiseTried_ = false;
    silentBefore_.reset();
    Span pause = kFirstPauseForSession;
    while (!IsOver()) {
        if (auto closed = asking_.gate == nullptr ? std::nullopt : asking_.gate->Closed()) {
            return End(std::move(*closed));
        }
        const IpmiOpening opening = transport_.Open(asking_);
        Log(kTrace, __FILE__, __LINE__).Stream()
            << (opening.failure ? opening.failure->message : "a session is open");
        if (!opening.failure || !WaitForSession(pause, opening)) {
            return;
        }
    }
}

/// Waits when there was no free session, or when nobody listens any more where a module did: it may
/// be starting anew. Any other failure, and the end of the time, ends it all.
bool Conversation::WaitForSession(Span& pause, const IpmiOpening& opening)
{
    const bool mayComeBack = reopened_ > 0 && opening.failure->cause == Cause::kUnreachable;
    const Time back = pace_.Now() + pause / 2 + pace_.PartOf(pause);
    if ((!opening.noneFree && !mayComeBack) || back >= asking_.until) {
        End(*opening.failure);
        return false;
    }
    asking_.firstAnswer.reset();
    pace_.WaitUntil(back, asking_.stop);
    pause = std::min(2 * pause, kLongestPauseForSession);
    return true;
}

void Conversation::Reopen(const Failure& why)
{
    if (pending_.empty()) {
        return;
    }
    End(why);
    while (ended_->cause != Cause::kCancelled && reopened_ < kMostNewSessions) {
        ++reopened_;
        ended_.reset();
        Open();
        if (ended_ == nullptr || ended_->cause != Cause::kTimedOut) {
            return;
        }
    }
}

/// The first of those that are due, else the one that will be next.
Conversation::Pending Conversation::TakeNext()
{
    const Time now = pace_.Now();
    const auto place = [this, now](const Pending& pending) {
        return std::tuple(std::max(pending.due, now), pending.silences,
                          silentKinds_.contains(pending.request.rank), pending.request.rank,
                          pending.order);
    };
    const auto next = std::min_element(
        pending_.begin(), pending_.end(),
        [place](const Pending& one, const Pending& other) { return place(one) < place(other); });
    Pending taken = std::move(*next);
    pending_.erase(next);
    if (ended_ == nullptr && taken.due > now) {
        pace_.WaitUntil(std::min(taken.due, asking_.until), asking_.stop);
    }
    return taken;
}

/// The limit of one request.
CallLimit Conversation::OneRequest() const
{
    CallLimit limit = asking_;
    if (!pending_.empty()) {
        const auto left = std::max(asking_.until - pace_.Now(), CallLimit::Clock::duration{});
        limit.longestSilence =
            std::max<CallLimit::Clock::duration>(left / kShareOfSilence, kTimesSlowest * slowest_);
    }
    return limit;
}

IpmiExchange Conversation::Exchange(const IPMICOMMAND& request, Resend resend)
{
    const Time asked = pace_.Now();
    IpmiExchange exchange = transport_.Ask(request, resend, OneRequest());
    if (!asking_.stop.stop_requested()) {
        wasSilent_ = exchange.end == IpmiExchange::End::kSilent;
    }
    if (exchange.end == IpmiExchange::End::kAnswered) {
        slowest_ = std::max(slowest_, std::chrono::ceil<Span>(pace_.Now() - asked));
    }
    Log(kTrace, __FILE__, __LINE__).Stream() << Exchanged{request, exchange};
    return exchange;
}

void Conversation::Ask(Pending pending)
{
    const Request& request = pending.request;
    IpmiExchange exchange = Exchange(request.command, request.resend);
    asking_.firstAnswer.reset();
    if (exchange.end == IpmiExchange::End::kAnswered) {
        silentBefore_.reset();
        silentKinds_.erase(request.rank);
        if (exchange.completionCode == 0) {
            request.done({Outcome::Kind::kAnswer, std::move(exchange.data), {}});
        } else {
            Refused(std::move(pending), exchange.completionCode);
        }
        return;
    }
    const Failure failure = exchange.failure.value_or(Failure{});
    if (exchange.end == IpmiExchange::End::kFailed) {
        End(failure);
        GiveUp(pending, ended_);
    } else if (IsOver()) {
        GiveUp(pending, ended_);
    } else if (exchange.end == IpmiExchange::End::kUseless) {
        silentBefore_.reset();
        GiveUp(pending, Share(failure));
    } else if (request.resend == Resend::kAsOneRequest) {
        GiveUp(pending, Share(failure));
        if (exchange.end == IpmiExchange::End::kLost) {
            Reopen(failure);
        }
    } else if (exchange.end == IpmiExchange::End::kLost) {
        Lost(std::move(pending), failure);
    } else {
        Silent(std::move(pending), failure);
    }
}

/// Puts it at the end, unless it has been there.
void Conversation::AskLast(Pending pending, const Failure& failure)
{
    if (++pending.silences == kMostSilences) {
        GiveUp(pending, Share(failure));
    } else {
        pending_.push_back(std::move(pending));
    }
}

/// A request that costs a session twice would cost all that there may be.
void Conversation::Lost(Pending pending, const Failure& failure)
{
    AskLast(std::move(pending), failure);
    Reopen(failure);
}

/// A silent request goes to the end, and before it others of its kind: a module that does not
/// answer one of them may answer none. Two different ones in a row say that the session is lost.
void Conversation::Silent(Pending pending, const Failure& failure)
{
    const bool twoInARow = silentBefore_ && *silentBefore_ != pending.order;
    silentBefore_ = pending.order;
    silentKinds_.insert(pending.request.rank);
    if (twoInARow) {
        return Lost(std::move(pending), failure);
    }
    AskLast(std::move(pending), failure);
    if (!pending_.empty() && OnlySilentKindsAreLeft()) {
        Probe();
    }
}

bool Conversation::OnlySilentKindsAreLeft() const
{
    return std::all_of(pending_.begin(), pending_.end(), [this](const Pending& pending) {
        return silentKinds_.contains(pending.request.rank);
    });
}

/// Where no other request is left that could tell a lost session from a lost answer.
void Conversation::Probe()
{
    const IpmiExchange exchange = Exchange(kGetDeviceId, Resend::kFreely);
    const Failure failure = exchange.failure.value_or(Failure{});
    if (exchange.end == IpmiExchange::End::kAnswered) {
        silentBefore_.reset();
    } else if (exchange.end == IpmiExchange::End::kFailed) {
        End(failure);
    } else if (!IsOver()) {
        Reopen(failure);
    }
}

void Conversation::Refused(Pending pending, std::uint8_t code)
{
    const CodeRule& rule = RuleFor(code, pending.request.requestClass);
    const Failure failure = CodeFailure(CauseOf(rule.reaction), code, rule);
    switch (rule.reaction) {
        case Reaction::kFinal:
            return GiveUp(pending, Share(failure));
        case Reaction::kLater:
            return Later(std::move(pending), failure);
        case Reaction::kOnceMore:
            return OnceMore(std::move(pending), kPauseForOnceMore, failure);
        case Reaction::kAbsent:
            return pending.request.done({Outcome::Kind::kAbsent, {}, Share(failure)});
        case Reaction::kEndRead:
            End(failure);
            return GiveUp(pending, ended_);
        case Reaction::kRaisePrivilege:
            return RaisePrivilege(std::move(pending), failure);
        case Reaction::kOtherModule:
            if (pending.repeats > 0) {
                End(OtherModule());
                return GiveUp(pending, ended_);
            }
            return OnceMore(std::move(pending), kPauseForInvalidCommand, failure);
    }
}

void Conversation::Later(Pending pending, const Failure& failure)
{
    const Time now = pace_.Now();
    if (!pending.laterUntil) {
        pending.laterUntil = now + kLongestForLater;
        pending.pause = kFirstPauseForLater;
    }
    if (now >= *pending.laterUntil) {
        return GiveUp(pending, Share(failure));
    }
    pending.due = std::min(*pending.laterUntil, now + pending.pause + pace_.PartOf(pending.pause));
    pending.pause *= 2;
    pending.asksForLater = Share(failure);
    pending_.push_back(std::move(pending));
}

void Conversation::OnceMore(Pending pending, Span pause, const Failure& failure)
{
    if (pending.repeats++ > 0) {
        return GiveUp(pending, Share(failure));
    }
    pending.due = pace_.Now() + pause;
    pending_.push_back(std::move(pending));
}

void Conversation::RaisePrivilege(Pending pending, Failure failure)
{
    failure.advice = "use an account that may ask for it";
    if (transport_.Info().privilege.value_or(kHighestPrivilege) < kHighestPrivilege) {
        failure.advice += " or, where one is set, a higher privilege";
    }
    if (std::exchange(raiseTried_, true)) {
        return GiveUp(pending, Share(failure));
    }
    const std::optional<Failure> notRaised = transport_.RaisePrivilege(OneRequest());
    Log(kTrace, __FILE__, __LINE__).Stream()
        << (notRaised ? notRaised->message : "the session's privilege is raised");
    if (!notRaised) {
        pending_.push_back(std::move(pending));
    } else if (IsOver()) {
        GiveUp(pending, ended_);
    } else if (notRaised->cause == Cause::kTimedOut) {
        raiseTried_ = false;
        Silent(std::move(pending), *notRaised);
    } else if (notRaised->cause == Cause::kBusy) {
        raiseTried_ = false;
        Later(std::move(pending), *notRaised);
    } else {
        failure.message += ", and " + notRaised->message;
        GiveUp(pending, Share(failure));
    }
}

/// What answers is no such module; names its maker and product as far as it tells them.
Failure Conversation::OtherModule()
{
    constexpr std::size_t kManufacturerAt = 6;
    constexpr std::size_t kProductAt = 9;
    constexpr std::size_t kLength = 11;
    const IpmiExchange exchange = Exchange(kGetDeviceId, Resend::kFreely);
    std::string who = "another kind of device answers";
    if (exchange.end == IpmiExchange::End::kAnswered && exchange.completionCode == 0 &&
        exchange.data.size() >= kLength) {
        const ByteView id(exchange.data);
        const unsigned manufacturer = id.LittleEndian16(kManufacturerAt) |
                                      (id[kManufacturerAt + 2] & 0x0FU) << 16U;  // 20 bits
        who += ": manufacturer id " + std::to_string(manufacturer) + ", product id " +
               std::to_string(id.LittleEndian16(kProductAt));
    }
    return {Cause::kNoSuchModule, who, "check the address", {}};
}

void Conversation::GiveUp(const Pending& pending, SharedFailure failure)
{
    pending.request.done({Outcome::Kind::kNotRead, {}, std::move(failure)});
}

}  // namespace Tulvo::Enclosures
