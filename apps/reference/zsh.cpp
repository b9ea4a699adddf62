// SPDX-License-Identifier: Apache-2.0
// Parts of a completion script for zsh.
#include "apps/reference/offer.h"
#include "apps/reference/parts.h"
#include "apps/reference/text.h"

namespace Tulvo::Reference {
namespace {

constexpr Offer kActions[] = {
    {"FILE", "_files"},
    {"HOST",
     "{_hosts; compadd -- ${(f)\"$(_call_program hosts $words[1] $fleet --list-names hosts)\"}}"},
    {"GROUP",
     "{compadd -- ${(f)\"$(_call_program groups $words[1] $fleet --list-names groups)\"}}"},
    {"KEY=VALUE",
     "{compadd -- ${(f)\"$(_call_program labels $words[1] $fleet --list-names labels)\"}}"},
    {"SCENARIO", "->scenario"},
};

std::string ActionFor(const Option& option)
{
    if (!option.choices.empty()) {
        return Between("(", Joined(option.choices, " "), ")");
    }
    const std::string action = ScriptFor(kActions, option.value);
    return action.empty() ? " " : action;
}

/// Within single quotes, where a colon ends a field and a bracket an explanation.
std::string EscapedForZsh(std::string text)
{
    text = Replaced(std::move(text), "'", "'\\''");
    text = Replaced(std::move(text), ":", "\\:");
    text = Replaced(std::move(text), "[", "\\[");
    return Replaced(std::move(text), "]", "\\]");
}

/// Names that are not offered once the option stands in the line.
std::string Exclusions(const Option& option)
{
    if (option.endsProgram) {
        return "'(- : *)'";
    }
    if (option.repeatable) {
        return "\\*";
    }
    std::vector<std::string> names = option.names;
    names.insert(names.end(), option.excluded.begin(), option.excluded.end());
    return Between("'(", Joined(names, " "), ")'");
}

/// How zsh is told that a value may stand in the same word: -f+ takes -fFILE, --file= --file=FILE.
std::string Spelling(const Option& option, const std::string& name)
{
    if (option.value.empty()) {
        return name;
    }
    return name + (name.starts_with("--") ? "=" : "+");
}

std::string Spellings(const Option& option)
{
    std::vector<std::string> spellings;
    for (const std::string& name : option.names) {
        spellings.push_back(Spelling(option, name));
    }
    const std::string list = Joined(spellings, ",");
    return spellings.size() == 1 ? list : Between("{", list, "}");
}

std::string LinesOf(const std::vector<Option>& options)
{
    std::string lines;
    for (const Option& option : options) {
        const std::string value =
            option.value.empty() ? "" : ":" + option.value + ":" + ActionFor(option);
        lines += "    " + Exclusions(option) + Spellings(option) + "'[" +
                 EscapedForZsh(option.help) + "]" + value + "'\n";
    }
    return lines;
}

}  // namespace

std::string ZshOptions(const Program& program)
{
    return LinesOf(program.options);
}

std::string ZshCommandOptions(const Program& program)
{
    std::string statements;
    for (const Command& command : program.commands) {
        if (!command.options.empty()) {
            statements += "((${words[(I)" + command.name + "]})) && options+=(\n" +
                          LinesOf(command.options) + ")\n";
        }
    }
    return statements;
}

std::string ZshCommands(const Program& program)
{
    std::string lines;
    for (const Command& command : program.commands) {
        lines += "    '" + command.name + ":" + EscapedForZsh(command.help) + "'\n";
    }
    return lines;
}

std::string ZshNumbers(const Program& program)
{
    std::string branches;
    for (const Command& command : program.commands) {
        if (command.largest != 0) {
            branches += "        " + command.name + ") compadd -- {1.." +
                        std::to_string(command.largest) + "} && ret=0 ;;\n";
        }
    }
    return branches;
}

}  // namespace Tulvo::Reference
