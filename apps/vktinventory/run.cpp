// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/run.h"

#include <cerrno>
#include <chrono>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "apps/vktinventory/input/arguments.h"
#include "apps/vktinventory/input/password.h"
#include "apps/vktinventory/input/password_prompt.h"
#include "apps/vktinventory/input/target.h"
#include "apps/vktinventory/interrupt.h"
#include "apps/vktinventory/outcome.h"
#include "apps/vktinventory/output/diagnostics.h"
#include "apps/vktinventory/output/render_json.h"
#include "apps/vktinventory/output/render_table.h"

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

ExitCode Print(std::string_view text, ExitCode code)
{
    if (WriteOut(text)) {
        return code;
    }
    return Fail(ExitCode::kOutputFailed, "the results cannot be written to standard output: " +
                                             std::generic_category().message(errno));
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

Report Ask(const Options& options, const Enclosures::Target& target)
{
    const Conversation conversation;
    const Enclosures::Limits limits{.deadline = options.timeout, .stop = conversation.StopToken()};
    const Command& command = *options.command;
    const auto number = static_cast<std::uint8_t>(options.number);
    if (command.action == Action::kSelectSupply) {
        return ReportOf(command, number, Enclosures::SelectSupply(target, number, limits));
    }
    return ReportOf(command, Enclosures::ReadEnclosure(target, {command.read, number}, limits));
}

/// Only the module knows how many nodes and slots it has; a number above that is still wrong usage.
std::optional<std::string> WrongNumber(const Options& options, const Enclosures::Module& module)
{
    const bool ofNode = options.command->action == Action::kReadNode;
    const std::uint8_t* const count =
        ofNode ? module.nodeCount.Get() : module.powerSupplyCount.Get();
    if (count == nullptr || options.number <= *count) {
        return std::nullopt;
    }
    return (ofNode ? "node " : "power supply ") + std::to_string(options.number) +
           ": this enclosure has " + (ofNode ? "nodes" : "power supplies") + " 1 to " +
           std::to_string(*count);
}

/// JSON has a place for the reason why nothing was read, a table has not.
ExitCode PrintReport(const Report& report, Format format)
{
    for (const std::string& message : Messages(report)) {
        Complain(message);
    }
    const ExitCode code = ExitCodeOf(report);
    if (format == Format::kJson) {
        return Print(RenderJson(report), code);
    }
    const bool someRead = code == ExitCode::kEverythingRead || code == ExitCode::kSomeQueriesFailed;
    return someRead ? Print(RenderTable(report, WantsColour()), code) : code;
}

ExitCode RunWith(const Options& options, Arguments arguments)
{
    StartLogging(options.verbosity);
    const auto kg = KeyFrom(arguments.kg);
    if (!kg) {
        return Fail(ExitCode::kWrongUsage, kBadKey);
    }
    if (options.insecure) {
        Complain(kTrustsAnybody);
    }
    try {
        const Report report = Ask(
            options, TargetOf(options, PasswordFor(options, std::move(arguments.password)), *kg));
        const auto wrong = WrongNumber(options, report.enclosure.module);
        const ExitCode code =
            wrong ? Fail(ExitCode::kWrongUsage, *wrong) : PrintReport(report, options.format);
        if (options.verbosity > 0) {
            Complain(CostLine(report.enclosure));
        }
        return code;
    } catch (const NoPassword& reason) {
        return Fail(ExitCode::kWrongUsage, reason.what());
    }
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
        return EndEarly(*earlyExit);
    }
    return RunWith(std::get<Options>(parsed), std::move(arguments));
}

}  // namespace Tulvo::Cli
