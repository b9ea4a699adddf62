// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/run.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <utility>
#include <variant>

#include "apps/vktinventory/ask.h"
#include "apps/vktinventory/check/run_check.h"
#include "apps/vktinventory/diff/diff.h"
#include "apps/vktinventory/input/arguments.h"
#include "apps/vktinventory/input/password.h"
#include "apps/vktinventory/input/password_prompt.h"
#include "apps/vktinventory/input/targets.h"
#include "apps/vktinventory/interrupt.h"
#include "apps/vktinventory/outcome.h"
#include "apps/vktinventory/output/destination.h"
#include "apps/vktinventory/output/diagnostics.h"
#include "apps/vktinventory/output/renderer.h"
#include "apps/vktinventory/page/make_page.h"
#include "apps/vktinventory/pins/run_pins.h"
#include "apps/vktinventory/run_many.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"

namespace Tulvo::Cli {
namespace {

constexpr std::string_view kBadKey =
    "-k takes at most 20 bytes, as text or as 0x and pairs of hexadecimal digits; see "
    "vktinventory --help";

constexpr std::string_view kTrustsAnybody =
    "--insecure: whoever answers is trusted, and gets user name and password; --pin trusts one "
    "module's key only";

ExitCode Fail(ExitCode code, std::string_view message)
{
    Complain(message);
    return code;
}

/// @param mistakes a line each.
ExitCode FailForEach(std::string_view mistakes)
{
    while (!mistakes.empty()) {
        Complain(mistakes.substr(0, mistakes.find('\n')));
        mistakes.remove_prefix(std::min(mistakes.find('\n'), mistakes.size() - 1) + 1);
    }
    return ExitCode::kWrongUsage;
}

ExitCode Print(std::string_view text, ExitCode code, const std::string& output = {})
{
    if (WriteResult(text, output)) {
        return code;
    }
    ComplainAboutResult(errno, output);
    return ExitCode::kOutputFailed;
}

std::string PasswordFor(const Options& options, std::string given)
{
    switch (options.passwordSource) {
        case PasswordSource::kArgument:
            return given;
        case PasswordSource::kFile:
            return PasswordFromFile(options.passwordFile);
        case PasswordSource::kEnvironment:
            return PasswordFromEnvironment();
        default:
            return PasswordFromTerminal();
    }
}

/// By itself an enclosure may take all of the time for its first answer, unless somebody said how
/// long that may take.
std::chrono::seconds FirstAnswer(const Targets& targets)
{
    return targets.Member(0).settings.connectTimeout.value_or(std::chrono::seconds(0));
}

Enclosures::Enclosure AskOne(const Options& options, const Targets& targets)
{
    const Conversation conversation;
    return Ask(options, targets.Target(0),
               {.deadline = targets.Timeout(0),
                .stop = conversation.StopToken(),
                .firstAnswer = FirstAnswer(targets)});
}

ExitCode PrintReport(const Report& report, const Options& options)
{
    for (const std::string& message : Messages(report)) {
        Complain(message);
    }
    const auto renderer = RendererFor(options, false, WantsColour());
    std::string text = renderer->Begin();
    text += renderer->Add(0, report);
    text += renderer->End();
    return Print(text, ExitCodeOf(report), options.output);
}

/// One enclosure that was given by name.
ExitCode RunOne(const Options& options, const Targets& targets)
{
    const Report report = ReportFor(options, targets.Member(0), AskOne(options, targets));
    const auto wrong = WrongNumber(options, report.enclosure.module);
    const ExitCode code =
        wrong ? Fail(ExitCode::kWrongUsage, *wrong) : PrintReport(report, options);
    if (options.verbosity > 0) {
        Complain(CostLine(report.enclosure));
    }
    return code;
}

ExitCode PrintLines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + '\n';
    }
    return Print(text, ExitCode::kEverythingRead);
}

ExitCode RunWith(const Options& options, Arguments arguments)
{
    StartLogging(options.verbosity);
    const auto kg = Fleet::KgFrom(arguments.kg);
    if (!kg) {
        return Fail(ExitCode::kWrongUsage, kBadKey);
    }
    if (const auto why = WhyNoSuchOutput(options)) {
        return Fail(ExitCode::kWrongUsage, *why);
    }
    if (options.command->action == Action::kDiff) {
        return RunDiff(options.operands);
    }
    if (!options.pageFrom.empty()) {
        return MakePageOfReadings(options);
    }
    try {
        if (options.listedNames) {
            return PrintLines(NamesInFleet(options));
        }
        if (options.command->action == Action::kHosts) {
            return PrintLines(HostsOf(options));
        }
        if (options.command->action == Action::kPins) {
            return RunPins(options, Targets(options));
        }
        Targets targets(options,
                        {*kg, [&] { return PasswordFor(options, std::move(arguments.password)); }});
        if (targets.TrustAnybody()) {
            Complain(kTrustsAnybody);
        }
        const bool once = !targets.AreMany() && !options.repetition;
        return once ? RunOne(options, targets) : RunMany(options, targets);
    } catch (const NoPassword& reason) {
        return Fail(ExitCode::kWrongUsage, reason.what());
    } catch (const WrongUsage& reason) {
        return FailForEach(reason.what());
    }
}

/// Who is asked by a check, with what the fleet file says of it.
Enclosures::Enclosure AskForCheck(const Targets& targets, CheckPlan& plan)
{
    if (targets.Count() != 1) {
        throw BadCheck("check asks one enclosure, and " + std::to_string(targets.Count()) +
                       " are named");
    }
    const Fleet::Settings& settings = targets.Member(0).settings;
    Enclosures::Expectations& expected = plan.expected;
    expected.powerSupplies = expected.powerSupplies ? expected.powerSupplies : settings.expectPsus;
    expected.nodes = expected.nodes ? expected.nodes : settings.expectNodes;
    if (targets.TrustAnybody()) {
        Complain(kTrustsAnybody);
    }
    const Conversation conversation;
    return Enclosures::ReadEnclosure(targets.Target(0), {plan.Sections()},
                                     {.deadline = settings.timeout.value_or(kCheckTimeout),
                                      .stop = conversation.StopToken(),
                                      .firstAnswer = FirstAnswer(targets)});
}

ExitCode RunCheckWith(const Options& options, Arguments arguments)
{
    StartLogging(options.verbosity);
    return RunCheck(options.check, [&](CheckPlan& plan) {
        const auto kg = Fleet::KgFrom(arguments.kg);
        if (!kg) {
            throw BadCheck(std::string(kBadKey));
        }
        const Targets targets(
            options, {*kg, [&] { return PasswordFor(options, std::move(arguments.password)); }});
        return AskForCheck(targets, plan);
    });
}

ExitCode EndEarly(const EarlyExit& earlyExit)
{
    return earlyExit.code == ExitCode::kEverythingRead ? Print(earlyExit.text, earlyExit.code)
                                                       : Fail(earlyExit.code, earlyExit.text);
}

}  // namespace

ExitCode Run(int argc, char** argv)
{
    Arguments arguments = TakeArguments(argc, argv);
    const auto parsed = ParseCommandLine(arguments.words);
    if (const auto* const earlyExit = std::get_if<EarlyExit>(&parsed)) {
        const bool isCheck = earlyExit->code == ExitCode::kWrongUsage && IsCheck(arguments.words);
        return isCheck ? EndCheck(NoCheck(earlyExit->text)) : EndEarly(*earlyExit);
    }
    const auto& options = std::get<Options>(parsed);
    return options.command->action == Action::kCheck ? RunCheckWith(options, std::move(arguments))
                                                     : RunWith(options, std::move(arguments));
}

}  // namespace Tulvo::Cli
