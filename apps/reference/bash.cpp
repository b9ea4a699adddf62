// SPDX-License-Identifier: Apache-2.0
// Parts of a completion script for bash.
#include "apps/reference/offer.h"
#include "apps/reference/parts.h"
#include "apps/reference/text.h"

namespace Tulvo::Reference {
namespace {

constexpr Offer kOffers[] = {
    {"FILE", "_filedir"},
    {"HOST",
     "_known_hosts_real -- \"$cur\"; COMPREPLY+=($(compgen -W "
     "\"$(\"$1\" \"${fleet[@]}\" --list-names hosts 2>/dev/null)\" -- \"$cur\"))"},
    {"GROUP",
     "COMPREPLY=($(compgen -W \"$(\"$1\" \"${fleet[@]}\" --list-names groups 2>/dev/null)\" -- "
     "\"$cur\"))"},
    {"KEY=VALUE",
     "COMPREPLY=($(compgen -W \"$(\"$1\" \"${fleet[@]}\" --list-names labels 2>/dev/null)\" -- "
     "\"$cur\"))"},
    {"SCENARIO",
     "_filedir json; COMPREPLY+=($(compgen -W \"$(\"$1\" --list 2>/dev/null | sed '/^ /d')\" -- "
     "\"$cur\"))"},
};

/// A shell's list of words, given as an argument, of which those stay that fit.
std::string Words(const std::string& list)
{
    return "COMPREPLY=($(compgen -W " + list + " -- \"$cur\"))";
}

std::string Statement(const std::string& text)
{
    return "\n            " + text;
}

std::string OfferFor(const Option& option)
{
    if (!option.choices.empty()) {
        return Statement(Words(Between("'", Joined(option.choices, " "), "'")));
    }
    const std::string script = ScriptFor(kOffers, option.value);
    return script.empty() ? "" : Statement(script);
}

std::string NumbersTo(std::uint64_t largest)
{
    std::vector<std::string> numbers;
    for (std::uint64_t number = 1; number <= largest; ++number) {
        numbers.push_back(std::to_string(number));
    }
    return Joined(numbers, " ");
}

std::vector<std::string> NamesOf(const std::vector<Option>& options)
{
    std::vector<std::string> names;
    for (const Option& option : options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

/// Also those that stand behind one command only: no two have one name.
std::vector<Option> OptionsWithValue(const Program& program)
{
    std::vector<Option> options = program.options;
    for (const Command& command : program.commands) {
        options.insert(options.end(), command.options.begin(), command.options.end());
    }
    std::erase_if(options, [](const Option& option) { return option.value.empty(); });
    return options;
}

/// A branch of a case, one statement a line.
std::string Branch(const std::string& pattern, const std::string& script)
{
    return "        " + pattern + ")" + script + " ;;\n";
}

}  // namespace

std::string BashOptions(const Program& program)
{
    return Joined(NamesOf(program.options), " ");
}

std::string BashCommands(const Program& program)
{
    std::vector<std::string> names;
    for (const Command& command : program.commands) {
        names.push_back(command.name);
    }
    return Joined(names, " ");
}

std::string BashValues(const Program& program)
{
    std::string branches;
    for (const Option& option : OptionsWithValue(program)) {
        branches += Branch(Joined(option.names, " | "), OfferFor(option) + Statement("return"));
    }
    return branches;
}

std::string BashOptionsWithValue(const Program& program)
{
    return Joined(NamesOf(OptionsWithValue(program)), " | ");
}

std::string BashNumbers(const Program& program)
{
    std::string branches;
    for (const Command& command : program.commands) {
        if (command.largest != 0) {
            branches += Branch(command.name,
                               Statement(Words(Between("'", NumbersTo(command.largest), "'"))));
        }
    }
    return branches;
}

std::string BashCommandOptions(const Program& program)
{
    std::string branches;
    for (const Command& command : program.commands) {
        if (!command.options.empty()) {
            branches +=
                Branch(command.name,
                       Statement(Words(Between("'", Joined(NamesOf(command.options), " "), "'"))));
        }
    }
    return branches;
}

}  // namespace Tulvo::Reference
