// SPDX-License-Identifier: Apache-2.0
/// @file
/// The command line of vkt-exporter: from words to what is wanted, and the texts of its help.
#ifndef APPS_VKT_EXPORTER_COMMAND_LINE_H
#define APPS_VKT_EXPORTER_COMMAND_LINE_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <variant>

namespace CLI {
class App;
}

namespace Tulvo::Exporter {

enum class ExitCode : int
{
    kEndedOnRequest = 0,
    kCannotRun = 1,
    kWrongUsage = 2,
};

struct ExitCodeMeaning
{
    ExitCode code;
    std::string_view meaning;
};

/// What --help and the manual page list.
inline constexpr ExitCodeMeaning kExitCodes[] = {
    {ExitCode::kEndedOnRequest, "ended on request; with --config.check: no mistake"},
    {ExitCode::kCannotRun,
     "cannot start for now: port in use, failed password command, unmatched key"},
    {ExitCode::kWrongUsage, "wrong usage, or a mistake in a file"},
};

struct Example
{
    std::string_view what;  ///< For the manual page.
    std::string_view words;
};

inline constexpr Example kExamples[] = {
    {"Serve the enclosures of a fleet file to whoever is on this machine:",
     "vkt-exporter --fleet fleet.toml"},
    {"To others too, with TLS and passwords as a web configuration file has them:",
     "vkt-exporter --web.listen-address :9842 --web.config.file web.yml"},
    {"Find the mistakes in both files before they are used:",
     "vkt-exporter --fleet fleet.toml --web.config.file web.yml --config.check"},
};

/// The values are those of Log.
enum class LogLevel : int
{
    kError = 1,
    kWarn = 2,
    kInfo = 3,
    kDebug = 4,
};

struct CommandLine
{
    std::string fleetFile;  ///< Empty: where the command looks for one.
    std::string listenAddress = "127.0.0.1:9842";
    std::string webConfigFile;  ///< Empty for none.
    std::size_t maxInFlight = 512;
    /// Taken off the time that a scrape has, for the answer's way.
    std::chrono::milliseconds timeoutOffset{500};
    LogLevel logLevel = LogLevel::kInfo;
    bool configCheck = false;
    bool enableLifecycle = false;
};

/// What is wanted, or how to end when that has been said already: help or a complaint.
std::variant<CommandLine, ExitCode> ParseCommandLine(int argc, char** argv);

/// Shows the parser, with every option, to whoever describes the command line elsewhere.
void ShowParser(const std::function<void(const CLI::App&)>& describe);

}  // namespace Tulvo::Exporter

#endif
