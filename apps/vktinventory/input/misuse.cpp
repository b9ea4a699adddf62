// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/misuse.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <string_view>

#include "apps/vktinventory/commands.h"
#include "apps/vktinventory/input/suggestion.h"

namespace Tulvo::Cli {
namespace {

/// Flags that other IPMI tools have taught people's fingers.
struct ForeignFlag
{
    std::string_view name;
    std::string_view instead;
};

constexpr ForeignFlag kForeignFlags[] = {
    {"-N", "waiting and asking again follow the module; --timeout S bounds all of it"},
    {"-R", "waiting and asking again follow the module; --timeout S bounds all of it"},
    {"-a", "without -P, -f and -E the password is asked on the terminal"},
    {"-l", "the privilege is -L LEVEL"},
    {"-u", "the user is -U USER"},
    {"-y", "a key in hexadecimal is -k 0xDIGITS"},
};

std::string Quoted(std::string_view word)
{
    return "\"" + std::string(word) + "\"";
}

bool IsFlag(std::string_view word)
{
    return word.size() > 1 && word.front() == '-';
}

std::vector<std::string_view> CommandNames()
{
    std::vector<std::string_view> names;
    for (const Command& command : kCommands) {
        names.push_back(command.name);
    }
    return names;
}

bool IsCommand(std::string_view word)
{
    const auto names = CommandNames();
    return std::find(names.begin(), names.end(), word) != names.end();
}

const CLI::App* GivenCommand(const CLI::App& app)
{
    const auto given = app.get_subcommands();
    return given.empty() ? nullptr : given.front();
}

/// Those of the command line as a whole and of each command.
std::vector<const CLI::Option*> AllFlags(const CLI::App& app)
{
    std::vector<const CLI::Option*> flags;
    const auto add = [&flags](const CLI::App& part) {
        for (const CLI::Option* const option : part.get_options()) {
            if (option->nonpositional()) {
                flags.push_back(option);
            }
        }
    };
    add(app);
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App*) { return true; })) {
        add(*command);
    }
    return flags;
}

const CLI::Option* FlagNamed(const CLI::App& app, const std::string& word)
{
    const auto flags = AllFlags(app);
    const auto found = std::find_if(flags.begin(), flags.end(), [&word](const CLI::Option* flag) {
        return IsFlag(word) && flag->check_name(word);
    });
    return found == flags.end() ? nullptr : *found;
}

bool TakesValue(const CLI::Option* flag)
{
    return flag != nullptr && flag->get_items_expected_max() > 0;
}

std::string NeedsValue(const std::string& name, const CLI::Option& flag)
{
    const auto& longNames = flag.get_lnames();
    const bool isShort = !longNames.empty() && !name.starts_with("--");
    return name + (isShort ? ", --" + longNames.front() : "") + " needs " + flag.get_option_text() +
           " behind it: " + flag.get_description();
}

/// Of unexpected words the one to name: behind a misspelt flag its value may stand, a password.
std::string FirstUnexpected(const CLI::App& app)
{
    const std::vector<std::string> words = app.remaining(true);
    const auto flag = std::find_if(words.begin(), words.end(), IsFlag);
    return words.empty() ? "" : flag == words.end() ? words.front() : *flag;
}

std::string UnknownFlag(const CLI::App& app, const std::string& word)
{
    const std::string name = word.substr(0, word.find('='));
    for (const ForeignFlag& foreign : kForeignFlags) {
        if (name == foreign.name) {
            return "there is no flag " + name + "; " + std::string(foreign.instead);
        }
    }
    std::vector<std::string> known;
    for (const CLI::Option* const flag : AllFlags(app)) {
        for (const std::string& longName : flag->get_lnames()) {
            known.push_back("--" + longName);
        }
    }
    // Between flags of one letter there is no near and far.
    const bool isLong = name.starts_with("--");
    return "there is no flag " + name +
           (isLong ? Suggestion(name, {known.begin(), known.end()}) : "");
}

std::string UnknownWord(const CLI::App& app, const std::string& word)
{
    const CLI::App* const given = GivenCommand(app);
    if (given == nullptr) {
        return "there is no command " + Quoted(word) + Suggestion(word, CommandNames());
    }
    if (IsCommand(word)) {
        return "one command at a time: " + Quoted(given->get_name()) + " or " + Quoted(word);
    }
    return Quoted(given->get_name()) + " has no use for " + Quoted(word);
}

std::string Unexpected(const CLI::App& app)
{
    const std::string word = FirstUnexpected(app);
    return IsFlag(word) ? UnknownFlag(app, word) : UnknownWord(app, word);
}

std::string Contradiction(std::string text)
{
    constexpr std::string_view kExcludes = " excludes ";
    const std::size_t at = text.find(kExcludes);
    return at == text.npos ? text
                           : text.replace(at, kExcludes.size(), " and ") + " contradict each other";
}

std::string Lacking(const CLI::App& app, const std::string& text)
{
    const CLI::App* const given = GivenCommand(app);
    if (given == nullptr || text != "N is required") {
        return text;
    }
    return given->get_name() + " needs N behind it, the " +
           given->get_option("N")->get_description();
}

}  // namespace

std::string MisuseIn(const CLI::App& app, const std::vector<std::string>& words)
{
    for (auto word = words.begin(); word != words.end(); ++word) {
        const auto next = std::next(word);
        const CLI::Option* const flag = FlagNamed(app, *word);
        if (TakesValue(flag)) {
            if (next == words.end() || FlagNamed(app, *next) != nullptr) {
                return NeedsValue(*word, *flag);
            }
            word = next;
        } else if (*word == "-h" && next != words.end() && !IsFlag(*next) && !IsCommand(*next)) {
            return "-h prints the help; the module is named by -H HOST";
        } else if (*word == "help") {
            return "there is no command \"help\"; --help tells about all commands, "
                   "COMMAND --help about one";
        }
    }
    return {};
}

std::string CommandIn(const CLI::App& app, const std::vector<std::string>& words)
{
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (IsCommand(*word)) {
            return *word;
        }
        const auto next = std::next(word);
        const bool hasValue = TakesValue(FlagNamed(app, *word)) && next != words.end() &&
                              FlagNamed(app, *next) == nullptr;
        word = hasValue ? next : word;
    }
    return {};
}

std::string Explain(const CLI::App& app, const CLI::ParseError& error)
{
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
        return Unexpected(app);
    }
    if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
        return Contradiction(error.what());
    }
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        return Lacking(app, error.what());
    }
    return error.what();
}

}  // namespace Tulvo::Cli
