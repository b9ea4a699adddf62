// SPDX-License-Identifier: Apache-2.0
/// @file
/// The command line of vkt-simulator: from words to what is wanted, and the texts of its help.
#ifndef APPS_VKT_SIMULATOR_COMMAND_LINE_H
#define APPS_VKT_SIMULATOR_COMMAND_LINE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace CLI {
class App;
}

namespace Tulvo::Simulator {

enum ExitCode
{
    kEndedOnRequest = 0,
    kCannotRun = 1,
    kWrongUsage = 2
};

struct ExitCodeMeaning
{
    ExitCode code;
    std::string_view meaning;
};

/// What --help and the manual page list.
inline constexpr ExitCodeMeaning kExitCodes[] = {
    {kEndedOnRequest, "ended on request"},
    {kCannotRun, "could not start, or a part of it ended by itself"},
    {kWrongUsage, "wrong usage or a bad scenario"},
};

struct Example
{
    std::string_view what;  ///< For the manual page.
    std::string_view words;
};

inline constexpr Example kExamples[] = {
    {"A healthy enclosure of the second generation:", "vkt-simulator --scenario healthy-vkt2-fc-9"},
    {"Eight enclosures, every second one faulty, and a fleet file to reach them by:",
     "vkt-simulator -s healthy-first -s faulty-vkt2 -n 8 --write-fleet fleet.toml"},
};

inline constexpr std::uint16_t kHighestPort = 65535;

struct CommandLine
{
    std::vector<std::string> scenarios;
    std::optional<std::size_t> count;  ///< of enclosures; otherwise one for each scenario
    std::string fleetFile;
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;  ///< of the first enclosure, as the next one
    std::uint16_t httpsPort = 0;
    bool noRmcp = false;
    bool noHttps = false;
    bool allowRemote = false;
    bool statistics = false;
    bool list = false;
};

/// What is wanted, or how to end when that has been said already: help or a complaint.
std::variant<CommandLine, ExitCode> ParseCommandLine(int argc, char** argv);

/// Shows the parser, with every option, to whoever describes the command line elsewhere.
void ShowParser(const std::function<void(const CLI::App&)>& describe);

}  // namespace Tulvo::Simulator

#endif
