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

#include "apps/vktinventory/commands.h"
#include "apps/vktinventory/exit_code.h"
#include "common/connection/connection_values.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace CLI {
class App;
}

namespace Tulvo::Cli {

enum class Format
{
    kTable,
    kJson,
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
    TulvoConnection::ConnectionType interface = TulvoConnection::kConnectOverRmcpPlus;
    std::string host;
    std::uint16_t port = 0;
    std::string user;
    PasswordSource passwordSource = PasswordSource::kTerminal;
    std::string passwordFile;
    std::optional<int> cipherSuite;
    std::optional<int> privilege;  ///< As IPMI numbers them: 2 user, 3 operator, 4 administrator.
    std::string caFile;
    std::string pin;
    bool insecure = false;
    Enclosures::HttpAuthentication authentication = Enclosures::HttpAuthentication::kSession;
    std::chrono::seconds timeout{30};  ///< For all of it.
    int verbosity = 0;
    Format format = Format::kTable;
    const Command* command = nullptr;
    std::uint64_t number = 0;  ///< The command's argument; 0 when it takes none.
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
};

/// What to print instead of working, and how to end then.
struct EarlyExit
{
    ExitCode code = ExitCode::kEverythingRead;
    std::string text;  ///< For standard output when code is kEverythingRead, else for error output.
};

/// @param words the arguments without the program's name and without secrets.
std::variant<Options, EarlyExit> ParseCommandLine(const std::vector<std::string>& words);

/// Shows the parser, with every option and command, to whoever describes the command line
/// elsewhere.
void ShowParser(const std::function<void(const CLI::App&)>& describe);

}  // namespace Tulvo::Cli

#endif
