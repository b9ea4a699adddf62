// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/command_line.h"

#include <CLI/CLI.hpp>
#include <cmath>

namespace Tulvo::Exporter {
namespace {

constexpr std::size_t kMostInFlight = 4096;
constexpr double kLongestOffset = 60;

std::string Footer()
{
    std::string text = "Exit codes:\n";
    for (const ExitCodeMeaning& entry : kExitCodes) {
        text += "  " + std::to_string(static_cast<int>(entry.code)) + "  ";
        text += std::string(entry.meaning) + "\n";
    }
    text += "\nExamples:";
    for (const Example& example : kExamples) {
        text += "\n  " + std::string(example.words);
    }
    return text;
}

std::string Complaint(const CLI::App*, const CLI::Error& error)
{
    return "vkt-exporter: " + std::string(error.what()) + "; --help tells more\n";
}

struct Level
{
    std::string_view name;
    LogLevel value;
};

constexpr Level kLevels[] = {{"error", LogLevel::kError},
                             {"warn", LogLevel::kWarn},
                             {"info", LogLevel::kInfo},
                             {"debug", LogLevel::kDebug}};

/// Describes itself as CLI11's own sets of values do.
CLI::Validator OneOfLevels()
{
    std::string names;
    for (const Level& level : kLevels) {
        names += (names.empty() ? "" : ",") + std::string(level.name);
    }
    const auto choose = [names](std::string& word) -> std::string {
        for (const Level& level : kLevels) {
            if (word == level.name) {
                word = std::to_string(static_cast<int>(level.value));
                return {};
            }
        }
        return "\"" + word + "\" is none of " + names;
    };
    return {choose, "{" + names + "}"};
}

void TakeOffset(CommandLine& line, double seconds)
{
    if (!std::isfinite(seconds) || seconds < 0 || seconds > kLongestOffset) {
        throw CLI::ValidationError("--timeout-offset", "is to be from 0 to 60 seconds");
    }
    line.timeoutOffset = std::chrono::milliseconds(std::lround(seconds * 1000));
}

void Describe(CLI::App& app, CommandLine& line)
{
    app.name("vkt-exporter");
    app.description(
        "Serves what enclosures say of themselves as metrics for Prometheus. An\n"
        "enclosure is read when it is scraped, at /probe?target=HOST; the fleet file has\n"
        "those that may be, and /sd lists them for Prometheus. It reads its files again\n"
        "on SIGHUP, and ends on SIGTERM or SIGINT without leaving a session open.");
    app.set_help_flag("-h,--help", "Print this help and end");
    app.set_version_flag("--version", "vkt-exporter " VKT_VERSION, "Print the version and end");
    app.add_option("--fleet", line.fleetFile, "Fleet file; default VKT_FLEET, else vktinventory's")
        ->type_name("FILE");
    app.add_option("--web.listen-address", line.listenAddress,
                   "HOST:PORT; no HOST for all, PORT 0 for a free one")
        ->type_name("ADDRESS")
        ->capture_default_str();
    app.add_option("--web.config.file", line.webConfigFile,
                   "TLS and passwords, as for Prometheus' exporters")
        ->type_name("FILE");
    app.add_option("--max-in-flight", line.maxInFlight, "Enclosures that are read at a time")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, kMostInFlight).description(""))
        ->capture_default_str();
    app.add_option_function<double>(
           "--timeout-offset", [&line](double seconds) { TakeOffset(line, seconds); },
           "Taken off a scrape's timeout, for the answer's way")
        ->type_name("SECONDS")
        ->default_str("0.5");
    app.add_option("--log.level", line.logLevel, "What to log on standard error")
        ->type_name("LEVEL")
        ->transform(OneOfLevels())
        ->default_str("info");
    app.add_flag("--config.check", line.configCheck,
                 "Look for mistakes in flags and files, and end");
    app.add_flag("--web.enable-lifecycle", line.enableLifecycle,
                 "Allow POST /-/reload to whoever reaches the port");
    app.footer(Footer());
    app.failure_message(Complaint);
}

}  // namespace

std::variant<CommandLine, ExitCode> ParseCommandLine(int argc, char** argv)
{
    CLI::App app;
    CommandLine line;
    Describe(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitCode::kEndedOnRequest : ExitCode::kWrongUsage;
    }
    return line;
}

void ShowParser(const std::function<void(const CLI::App&)>& describe)
{
    CLI::App app;
    CommandLine line;
    Describe(app, line);
    describe(app);
}

}  // namespace Tulvo::Exporter
