// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/scripted_module.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace Tulvo::Fakes {
namespace {

std::string Hex(std::uint8_t byte)
{
    std::array<char, 3> text{};
    std::snprintf(text.data(), text.size(), "%02X", byte);
    return text.data();
}

IpmiExchange Answered(std::uint8_t code, Bytes data)
{
    return {IpmiExchange::End::kAnswered, code, std::move(data), std::nullopt};
}

IpmiExchange Unanswered(IpmiExchange::End end, Failure failure)
{
    return {end, 0xFF, {}, std::move(failure)};
}

Failure NoAnswer()
{
    return {Cause::kTimedOut, "no answer", "", {}};
}

}  // namespace

void StillPace::WaitUntil(Time until, const std::stop_token& stop)
{
    if (!stop.stop_requested()) {
        now = std::max(now, until);
    }
}

bool StillPace::Pass(Span span, const CallLimit& limit)
{
    const Time end =
        std::min(limit.until, limit.longestSilence ? now + *limit.longestSilence : limit.until);
    const bool isInTime = now + span < end;
    WaitUntil(std::min(now + span, end), limit.stop);
    return isInTime;
}

std::string RequestName(const IPMICOMMAND& request)
{
    std::string name = Hex(request.netFn) + " " + Hex(request.cmd) + ":";
    for (const std::uint8_t byte : request.data) {
        name += " " + Hex(byte);
    }
    return name;
}

ScriptedModule::~ScriptedModule()
{
    for (const auto& [request, steps] : steps_) {
        for (const Step& step : steps) {
            EXPECT_TRUE(step.played) << "scripted and not played: " << request;
        }
    }
    EXPECT_TRUE(openings_.empty()) << "scripted and not played: opening a session";
    EXPECT_FALSE(sessionOpen) << "a session was left open";
}

void ScriptedModule::Give(const IPMICOMMAND& request, Bytes data)
{
    given_[RequestName(request)] = std::move(data);
}

void ScriptedModule::Script(const IPMICOMMAND& request, const Step& step, int times)
{
    auto& steps = steps_[RequestName(request)];
    steps.insert(steps.end(), static_cast<std::size_t>(times), step);
}

void ScriptedModule::Refuse(const IPMICOMMAND& request, std::uint8_t code, int times)
{
    Script(request, {Answered(code, {})}, times);
}

void ScriptedModule::Answer(const IPMICOMMAND& request, Bytes data, int times)
{
    Script(request, {Answered(0, std::move(data))}, times);
}

void ScriptedModule::StaySilent(const IPMICOMMAND& request, int times)
{
    Script(request, {Unanswered(IpmiExchange::End::kSilent, NoAnswer())}, times);
}

void ScriptedModule::LoseSession(const IPMICOMMAND& request, int times)
{
    Script(request, {Unanswered(IpmiExchange::End::kLost, NoAnswer())}, times);
}

void ScriptedModule::AnswerUselessly(const IPMICOMMAND& request, Failure failure)
{
    Script(request, {Unanswered(IpmiExchange::End::kUseless, std::move(failure))}, 1);
}

void ScriptedModule::Fail(const IPMICOMMAND& request, Failure failure)
{
    Script(request, {Unanswered(IpmiExchange::End::kFailed, std::move(failure))}, 1);
}

void ScriptedModule::RefuseAlways(const IPMICOMMAND& request, std::uint8_t code)
{
    Script(request, {Answered(code, {}), true}, 1);
}

void ScriptedModule::StaySilentAlways(const IPMICOMMAND& request)
{
    Script(request, {Unanswered(IpmiExchange::End::kSilent, NoAnswer()), true}, 1);
}

void ScriptedModule::Open(const IpmiOpening& opening, int times)
{
    openings_.insert(openings_.end(), static_cast<std::size_t>(times), opening);
}

void ScriptedModule::WantPrivilege(bool granted)
{
    privilegeGranted_ = granted;
}

IpmiOpening ScriptedModule::Open(const CallLimit& limit)
{
    Close(limit);
    openLimits.push_back(limit);
    pace_.Pass(answerTime, limit);
    ++opened;
    isRaised_ = false;
    IpmiOpening opening;
    if (!openings_.empty()) {
        opening = openings_.front();
        openings_.pop_front();
    }
    sessionOpen = !opening.failure;
    return opening;
}

IpmiExchange ScriptedModule::ExchangeFor(const IPMICOMMAND& request)
{
    if (std::find(silentCommands.begin(), silentCommands.end(), request.cmd) !=
        silentCommands.end()) {
        return Unanswered(IpmiExchange::End::kSilent, NoAnswer());
    }
    const std::string name = RequestName(request);
    auto& steps = steps_[name];
    const auto next = std::find_if(steps.begin(), steps.end(),
                                   [](const Step& step) { return step.always || !step.played; });
    if (next != steps.end()) {
        next->played = true;
        return next->exchange;
    }
    const auto known = given_.find(name);
    if (known == given_.end()) {
        ADD_FAILURE() << "nothing scripted for " << name;
        return Answered(0xC1, {});
    }
    return Answered(0x00, known->second);
}

IpmiExchange ScriptedModule::Ask(const IPMICOMMAND& request, Resend /*resend*/,
                                 const CallLimit& limit)
{
    EXPECT_TRUE(sessionOpen) << RequestName(request) << " without a session";
    EXPECT_LT(pace_.now, limit.until) << RequestName(request) << " after the time was over";
    asked.push_back(request);
    askLimits.push_back(limit);
    if (onAsk) {
        onAsk(asked.size() - 1);
    }
    if (limit.stop.stop_requested()) {
        return Unanswered(IpmiExchange::End::kSilent, {Cause::kCancelled, "stopped", "", {}});
    }
    if (privilegeGranted_ && !isRaised_) {
        return Answered(0xD4, {});
    }
    IpmiExchange exchange = ExchangeFor(request);
    const bool silent = exchange.end == IpmiExchange::End::kSilent;
    const auto takes = silent ? silenceTime : answerTime;
    const bool comes = pace_.Pass(takes, limit);
    if (exchange.end == IpmiExchange::End::kLost) {
        sessionOpen = false;
    }
    if (!comes && !silent) {
        return Unanswered(IpmiExchange::End::kSilent, NoAnswer());
    }
    if (exchange.end == IpmiExchange::End::kAnswered && exchange.completionCode == 0) {
        answered.push_back(request);
    }
    return exchange;
}

std::optional<Failure> ScriptedModule::RaisePrivilege(const CallLimit& limit)
{
    ++raised;
    pace_.Pass(answerTime, limit);
    if (busyRaises > 0) {
        --busyRaises;
        return Failure{Cause::kBusy, "the module is too busy to raise it", "", 0xC0};
    }
    isRaised_ = privilegeGranted_.value_or(true);
    if (isRaised_) {
        return std::nullopt;
    }
    return Failure{Cause::kRefused, "the module does not raise it", "", {}};
}

void ScriptedModule::Close(const CallLimit& limit)
{
    if (limit.stop.stop_requested() || pace_.now >= limit.until) {
        return;  // no time to tell the module
    }
    const bool wasOpen = std::exchange(sessionOpen, false);
    closed += wasOpen && pace_.Pass(logOutTime, limit) ? 1 : 0;
}

}  // namespace Tulvo::Fakes
