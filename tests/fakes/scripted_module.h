// SPDX-License-Identifier: Apache-2.0
/// @file
/// A management module for tests of what stands above a transport: it answers each request as it
/// was told, and time passes only when it says so.
#ifndef TESTS_FAKES_SCRIPTED_MODULE_H
#define TESTS_FAKES_SCRIPTED_MODULE_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_transport.h"
#include "module/vkt/vkt_enclosure/impl/pace.h"

namespace Tulvo::Fakes {

using Bytes = std::vector<std::uint8_t>;

/// A clock that stands still but for what is waited or takes time.
class StillPace final : public Enclosures::Pace
{
public:
    Time Now() override { return now; }
    void WaitUntil(Time until, const std::stop_token& stop) override;
    Span PartOf(Span span) override { return span; }
    /// Until the limit at most, as a transport does. False when the limit came first.
    bool Pass(Span span, const CallLimit& limit);

    Time now{std::chrono::hours(1)};
};

/// Whatever was scripted and has not been played when the object ends fails the test.
class ScriptedModule final : public IpmiTransport
{
public:
    explicit ScriptedModule(StillPace& pace) : pace_(pace) {}
    ScriptedModule(const ScriptedModule&) = delete;
    ScriptedModule& operator=(const ScriptedModule&) = delete;
    ~ScriptedModule() override;

    /// What `request` is answered with whenever nothing else is scripted.
    void Give(const IPMICOMMAND& request, Bytes data);

    // What becomes of the next `times` asked of `request`, one after the other.
    void Refuse(const IPMICOMMAND& request, std::uint8_t code, int times = 1);
    void Answer(const IPMICOMMAND& request, Bytes data, int times = 1);
    void StaySilent(const IPMICOMMAND& request, int times = 1);
    void LoseSession(const IPMICOMMAND& request, int times = 1);
    void AnswerUselessly(const IPMICOMMAND& request, Failure failure);
    void Fail(const IPMICOMMAND& request, Failure failure);
    /// For good; that it is asked at all is expected all the same.
    void RefuseAlways(const IPMICOMMAND& request, std::uint8_t code);
    void StaySilentAlways(const IPMICOMMAND& request);

    /// What becomes of the next attempts to open a session; others succeed.
    void Open(const IpmiOpening& opening, int times = 1);
    /// From now on every request wants the raised privilege, which the module grants or not.
    void WantPrivilege(bool granted);
    int busyRaises = 0;  ///< As often the module is too busy to raise it.

    // IpmiTransport
    IpmiOpening Open(const CallLimit& limit) override;
    IpmiExchange Ask(const IPMICOMMAND& request, Resend resend, const CallLimit& limit) override;
    std::optional<Failure> RaisePrivilege(const CallLimit& limit) override;
    void Close(const CallLimit& limit) override;
    IpmiSessionInfo Info() const override
    {
        return {.port = 623, .cipherSuite = 17, .privilege = 4};
    }
    IpmiCost Cost() const override { return {.requests = asked.size()}; }

    std::chrono::milliseconds answerTime{0};
    std::chrono::milliseconds silenceTime{3000};
    std::chrono::milliseconds logOutTime{0};  ///< A log-out with less time is not told.
    /// Requests of these commands are never answered.
    Bytes silentCommands;
    /// Called with the number of the request, from 0, before it is answered.
    std::function<void(std::size_t)> onAsk;

    // What happened.
    std::vector<IPMICOMMAND> asked;
    std::vector<IPMICOMMAND> answered;  ///< With completion code 0.
    std::vector<CallLimit> openLimits;  ///< Of each attempt to open a session.
    std::vector<CallLimit> askLimits;   ///< Of each request.
    int opened = 0;
    int closed = 0;  ///< Sessions that the module was told of in time.
    int raised = 0;
    bool sessionOpen = false;

private:
    struct Step
    {
        IpmiExchange exchange;
        bool always = false;
        bool played = false;
    };
    void Script(const IPMICOMMAND& request, const Step& step, int times);
    IpmiExchange ExchangeFor(const IPMICOMMAND& request);

    StillPace& pace_;
    std::map<std::string, Bytes> given_;
    std::map<std::string, std::deque<Step>> steps_;
    std::deque<IpmiOpening> openings_;
    std::optional<bool> privilegeGranted_;
    bool isRaised_ = false;
};

/// "32 A8: 01 02", as docs/wire-format.md writes requests.
std::string RequestName(const IPMICOMMAND& request);

}  // namespace Tulvo::Fakes

#endif
