// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/command_line.h"

#include <CLI/CLI.hpp>

namespace Tulvo::Simulator {
namespace {

constexpr int kMostEnclosures = 10000;

std::string Footer()
{
    std::string text = "Exit codes:\n";
    for (const ExitCodeMeaning& entry : kExitCodes) {
        text += "  " + std::to_string(entry.code) + "  " + std::string(entry.meaning) + "\n";
    }
    text += "\nExamples:";
    for (const Example& example : kExamples) {
        text += "\n  " + std::string(example.words);
    }
    return text;
}

std::string Complaint(const CLI::App*, const CLI::Error& error)
{
    return "vkt-simulator: " + std::string(error.what()) + "; --help tells more\n";
}

void Describe(CLI::App& app, CommandLine& line)
{
    app.name("vkt-simulator");
    app.description(
        "Plays management modules of enclosures on loopback, over RMCP+ (IPMI 2.0) and\n"
        "HTTPS. When all are ready to answer it prints a line for each with its endpoints\n"
        "as JSON. On SIGUSR1 it reads its scenarios again and says when it plays them; it\n"
        "ends on SIGTERM or SIGINT and leaves nothing behind.");
    app.set_help_flag("-h,--help", "Print this help and end");
    app.set_version_flag("-V,--version", "vkt-simulator " VKT_VERSION, "Print the version and end");
    app.add_option("-s,--scenario", line.scenarios, "A file, or a name of --list; may be repeated")
        ->type_name("SCENARIO")
        ->take_all()
        ->allow_extra_args(false);
    app.add_option("-n,--count", line.count, "How many to play, the scenarios in turn")
        ->type_name("N")
        ->check(CLI::Range(1, kMostEnclosures).description(""));
    app.add_option("--write-fleet", line.fleetFile, "Write a fleet file that reaches all of them")
        ->type_name("FILE");
    app.add_flag("--list", line.list, "List the scenarios that come with the simulator");
    app.add_option("-p,--port", line.port, "First UDP port for RMCP+; 0 picks free ones")
        ->type_name("PORT")
        ->check(CLI::Range(0, int{kHighestPort}).description(""))
        ->capture_default_str();
    app.add_option("--https-port", line.httpsPort, "First TCP port for HTTPS; 0 picks free ones")
        ->type_name("PORT")
        ->check(CLI::Range(0, int{kHighestPort}).description(""))
        ->capture_default_str();
    app.add_flag("--no-rmcp", line.noRmcp, "Play nothing over RMCP+");
    app.add_flag("--no-https", line.noHttps, "Play nothing over HTTPS");
    app.add_option("--listen", line.address, "Numeric address to listen on")
        ->type_name("ADDRESS")
        ->capture_default_str();
    app.add_flag("--allow-remote", line.allowRemote,
                 "Let other machines reach the --listen address");
    app.add_flag("--statistics", line.statistics,
                 "At the end, count TLS handshakes in a line of JSON");
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
        return app.exit(error) == 0 ? kEndedOnRequest : kWrongUsage;
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

}  // namespace Tulvo::Simulator
