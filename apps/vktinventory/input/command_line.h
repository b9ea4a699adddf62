// SPDX-License-Identifier: Apache-2.0
/// @file
/// The command line: from words to what is wanted, and the help texts.
#ifndef APPS_VKTINVENTORY_INPUT_COMMAND_LINE_H
#define APPS_VKTINVENTORY_INPUT_COMMAND_LINE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "apps/vktinventory/check/check_options.h"
#include "apps/vktinventory/commands.h"
#include "apps/vktinventory/exit_code.h"
#include "fleet/fleet_file.h"
#include "fleet/settings.h"

namespace CLI {
class App;
}

namespace Tulvo::Cli {

enum class Format
{
    kTable,
    kJson,
    kJsonLines,
    kCsv,
};

/// How long to wait between reading all of them and reading them again.
struct Repetition
{
    std::chrono::seconds every{};
    std::optional<std::uint64_t> count;  ///< Of rounds; without it until somebody ends the command.
};

/// What a shell completes from the fleet file.
enum class NameList
{
    kHosts,
    kGroups,
    kLabels,
};

enum class PasswordSource
{
    kTerminal,
    kArgument,
    kFile,
    kEnvironment,
};

struct Options
{
    std::vector<std::string> hosts;    ///< Patterns, each of one host or many.
    std::vector<std::string> without;  ///< Patterns of hosts that are left out.
    std::string fleetFile;             ///< Empty: where one is looked for.
    Fleet::Selection selection;        ///< From the fleet file.
    /// Instead of a command: print these names of the fleet file. Not in --help.
    std::optional<NameList> listedNames;
    bool keepGoing = false;    ///< Also with an account that three have refused.
    unsigned fanOut = 64;      ///< So many are asked at the same time.
    Fleet::Settings settings;  ///< What flags say, but for password and key.
    PasswordSource passwordSource = PasswordSource::kTerminal;
    std::string passwordFile;
    /// A flag of the one interface and of the other, as typed; empty without one. They make sense
    /// where some enclosure is asked over that interface.
    std::string lanplusFlag;
    std::string httpsFlag;
    int verbosity = 0;
    Format format = Format::kTable;
    std::vector<std::string> fields;  ///< With kCsv: columns; empty for the command's own.
    std::optional<Repetition> repetition;
    std::string pageFrom;  ///< Readings that a page is made of; empty: the enclosure is read.
    std::string output;    ///< The file that a page goes to; empty: standard output.
    CheckOptions check;
    const Command* command = nullptr;
    std::uint64_t number = 0;           ///< The command's number; 0 when it takes none.
    std::vector<std::string> operands;  ///< What else stands behind the command.
};

/// What --help and the manual page say alike.
inline constexpr std::string_view kPasswordHelp =
    "Without -P, -f and -E the password is asked on the terminal. It is best kept in\n"
    "a file that only you can read: -f FILE.";

struct Example
{
    std::string_view what;  ///< For the manual page.
    std::string_view words;
};

inline constexpr Example kExamples[] = {
    {"The whole inventory of an enclosure over RMCP+; the password is the file's first line:",
     "vktinventory -H 10.0.0.5 -U admin -f ~/.vkt-password"},
    {"Its power supplies as JSON, with the password from the environment:",
     "vktinventory -H 10.0.0.5 -U admin -E --format json psu"},
    {"A node over HTTPS, from a module whose certificate an authority of your own signed:",
     "vktinventory -I https -H vkt.example.com -U admin --ca-file ca.pem node 3"},
    {"A page to look at, of what was read before:",
     "vktinventory page --from readings.json -o enclosures.html"},
};

/// What to print instead of working, and how to end then.
struct EarlyExit
{
    ExitCode code = ExitCode::kEverythingRead;
    std::string text;  ///< For standard output when code is kEverythingRead, else for error output.
};

/// @param words the arguments without the program's name and without secrets.
std::variant<Options, EarlyExit> ParseCommandLine(const std::vector<std::string>& words);

/// Whether wrong usage is to be told as a check tells it.
bool IsCheck(const std::vector<std::string>& words);

/// Shows the parser, with every option and command, to whoever describes the command line
/// elsewhere.
void ShowParser(const std::function<void(const CLI::App&)>& describe);

}  // namespace Tulvo::Cli

#endif
