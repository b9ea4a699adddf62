// SPDX-License-Identifier: Apache-2.0
#include "apps/reference/program.h"

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string_view>

#include "apps/vkt_exporter/command_line.h"
#include "apps/vkt_simulator/command_line.h"
#include "apps/vktinventory/input/command_line.h"

namespace Tulvo::Reference {
namespace {

std::vector<std::string> NamesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

/// A type's name may be followed by what its validators say of themselves, behind colons.
std::string ValueOf(const CLI::Option& option)
{
    if (option.get_items_expected_max() == 0) {
        return {};
    }
    const std::string type = option.get_type_name();
    return option.get_option_text().empty() ? type.substr(0, type.find(':'))
                                            : option.get_option_text();
}

std::vector<std::string> ChoicesOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{');
    if (begin == std::string::npos) {
        return {};
    }
    return CLI::detail::split(type.substr(begin + 1, type.find('}', begin) - begin - 1), ',');
}

std::vector<std::string> ExcludedBy(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const CLI::Option* const other : option.get_excludes()) {
        const std::vector<std::string> more = NamesOf(*other);
        names.insert(names.end(), more.begin(), more.end());
    }
    return names;
}

Option OptionOf(const CLI::App& app, const CLI::Option& option)
{
    return {.names = NamesOf(option),
            .value = ValueOf(option),
            .choices = ChoicesOf(option),
            .defaultValue = option.get_default_str(),
            .help = option.get_description(),
            .group = option.get_group(),
            .excluded = ExcludedBy(option),
            .repeatable = option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll,
            .endsProgram = &option == app.get_help_ptr() || &option == app.get_version_ptr()};
}

template <class Entries>
std::vector<ExitCode> ExitCodesOf(const Entries& entries)
{
    std::vector<ExitCode> codes;
    for (const auto& entry : entries) {
        codes.push_back({static_cast<int>(entry.code), std::string(entry.meaning)});
    }
    return codes;
}

template <class Entries>
std::vector<Example> ExamplesOf(const Entries& entries)
{
    std::vector<Example> examples;
    for (const auto& entry : entries) {
        examples.push_back({std::string(entry.what), std::string(entry.words)});
    }
    return examples;
}

std::vector<Command> VktinventoryCommands()
{
    std::vector<Command> commands;
    for (const Cli::Command& command : Cli::kCommands) {
        commands.push_back({std::string(command.name),
                            std::string(command.help),
                            std::string(command.details),
                            std::string(command.operands),
                            command.largest,
                            {}});
    }
    return commands;
}

/// Those that its command has beside the help.
void TakeOptionsOf(Command& command, const CLI::App& app)
{
    for (const CLI::Option* const option : app.get_options()) {
        if (option->nonpositional() && option != app.get_help_ptr()) {
            command.options.push_back(OptionOf(app, *option));
        }
    }
}

void TakeParser(Program& program, const CLI::App& app)
{
    program.about = app.get_description();
    for (const CLI::Option* const option : app.get_options()) {
        const bool hidden = option->get_group().empty();
        if (!hidden) {
            program.options.push_back(OptionOf(app, *option));
        }
    }
    for (Command& command : program.commands) {
        TakeOptionsOf(command, *app.get_subcommand(command.name));
    }
}

Program Vktinventory()
{
    Program program{.name = "vktinventory",
                    .commands = VktinventoryCommands(),
                    .exitCodes = ExitCodesOf(Cli::kExitCodes),
                    .examples = ExamplesOf(Cli::kExamples),
                    .note = std::string(Cli::kPasswordHelp)};
    Cli::ShowParser([&](const CLI::App& app) { TakeParser(program, app); });
    return program;
}

Program VktExporter()
{
    Program program{.name = "vkt-exporter",
                    .exitCodes = ExitCodesOf(Exporter::kExitCodes),
                    .examples = ExamplesOf(Exporter::kExamples)};
    Exporter::ShowParser([&](const CLI::App& app) { TakeParser(program, app); });
    return program;
}

Program VktSimulator()
{
    Program program{.name = "vkt-simulator",
                    .exitCodes = ExitCodesOf(Simulator::kExitCodes),
                    .examples = ExamplesOf(Simulator::kExamples)};
    Simulator::ShowParser([&](const CLI::App& app) { TakeParser(program, app); });
    return program;
}

}  // namespace

Program ProgramNamed(const std::string& name)
{
    for (Program (*const describe)() : {Vktinventory, VktExporter, VktSimulator}) {
        if (Program program = describe(); program.name == name) {
            return program;
        }
    }
    throw std::runtime_error(name + ": no such program is described here");
}

}  // namespace Tulvo::Reference
