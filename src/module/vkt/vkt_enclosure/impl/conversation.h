// SPDX-License-Identifier: Apache-2.0
/// @file
/// One conversation with a module: a log-in, many requests, a log-out, within one limit. Here is
/// decided what to do about completion codes, silence and lost sessions, whatever the transport.
#ifndef MODULE_VKT_VKT_ENCLOSURE_IMPL_CONVERSATION_H
#define MODULE_VKT_VKT_ENCLOSURE_IMPL_CONVERSATION_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_transport.h"
#include "module/vkt/vkt_enclosure/impl/code_rules.h"
#include "module/vkt/vkt_enclosure/impl/pace.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Enclosures {

using SharedFailure = std::shared_ptr<const Failure>;

SharedFailure Share(Failure failure);

/// What came of one request.
struct Outcome
{
    enum class Kind : std::uint8_t
    {
        kAnswer,   ///< With completion code 0.
        kAbsent,   ///< The module has no such thing.
        kNotRead,  ///< For the reason in `failure`.
    };
    Kind kind = Kind::kNotRead;
    std::vector<std::uint8_t> data;
    SharedFailure failure;
};

struct Request
{
    IPMICOMMAND command;
    RequestClass requestClass = RequestClass::kAny;
    Resend resend = Resend::kFreely;
    unsigned rank = 0;  ///< Lower is asked first. Those of one rank ask for one kind of value.
    /// Called once, whatever happens; may add requests.
    std::function<void(const Outcome&)> done;
};

class Conversation
{
public:
    /// Begins the time that `limits` gives. Transport and pace must outlive the conversation.
    Conversation(IpmiTransport& transport, Pace& pace, const Limits& limits);

    /// Adds a request to those that wait for their turn.
    void Add(Request request);

    /// Logs in, asks until no request is left, logs out.
    /// @return why it ended early, or null.
    SharedFailure Run();

private:
    using Time = Pace::Time;
    using Span = Pace::Span;

    struct Pending
    {
        Request request;
        unsigned order = 0;
        unsigned silences = 0;
        unsigned repeats = 0;  ///< After completion codes that allow one.
        Time due{};
        std::optional<Time> laterUntil = {};
        Span pause{};
        SharedFailure asksForLater = {};
    };

    void Open();
    CallLimit OneRequest() const;
    void Reopen(const Failure& why);
    bool WaitForSession(Span& pause, const IpmiOpening& opening);
    bool IsOver();
    Pending TakeNext();
    IpmiExchange Exchange(const IPMICOMMAND& request, Resend resend);
    void Ask(Pending pending);
    void Silent(Pending pending, const Failure& failure);
    void AskLast(Pending pending, const Failure& failure);
    void Lost(Pending pending, const Failure& failure);
    bool OnlySilentKindsAreLeft() const;
    void Probe();
    void Refused(Pending pending, std::uint8_t code);
    void Later(Pending pending, const Failure& failure);
    void OnceMore(Pending pending, Span pause, const Failure& failure);
    void RaisePrivilege(Pending pending, Failure failure);
    void End(Failure failure) { ended_ = Share(std::move(failure)); }
    Failure OtherModule();
    void GiveUp(const Pending& pending, SharedFailure failure);

    IpmiTransport& transport_;
    Pace& pace_;
    Time deadline_;
    CallLimit asking_;
    std::vector<Pending> pending_;
    unsigned added_ = 0;
    unsigned reopened_ = 0;
    std::optional<unsigned> silentBefore_;  ///< The request asked last, when it was silent.
    bool wasSilent_ = false;                ///< The last request that was not cancelled was.
    std::set<unsigned> silentKinds_;        ///< Ranks of requests that none was answered of since.
    Span slowest_{};                        ///< Of the answers so far.
    bool raiseTried_ = false;               ///< In this session.
    SharedFailure ended_;
};

}  // namespace Tulvo::Enclosures

#endif
