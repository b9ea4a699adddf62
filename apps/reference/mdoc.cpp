// SPDX-License-Identifier: Apache-2.0
// Parts of a manual page.
#include <cctype>

#include "apps/reference/parts.h"
#include "apps/reference/text.h"

namespace Tulvo::Reference {
namespace {

/// A character of text as mdoc takes it for text. A hyphen that joins no words is a minus, which
/// can be searched for and copied.
std::string Escaped(char character, bool joins)
{
    if (character == '\\') {
        return "\\e";
    }
    return character == '-' && !joins ? "\\-" : std::string(1, character);
}

std::string Escaped(const std::string& text)
{
    const bool isMacro = text.starts_with('.') || text.starts_with('\'');
    std::string escaped = isMacro ? "\\&" : "";
    bool joins = false;
    for (const char character : text) {
        escaped += Escaped(character, joins);
        joins = std::isalnum(static_cast<unsigned char>(character)) != 0;
    }
    return escaped;
}

/// Words to be typed, which hold no hyphen but only minuses.
std::string Literal(const std::string& words)
{
    return ".Bd -literal\n" + Replaced(Replaced(words, "\\", "\\e"), "-", "\\-") + "\n.Ed\n";
}

/// As a sentence of its own, and the next one on a new line, as mdoc wants it.
std::string Sentence(const std::string& text)
{
    const std::string lines = Replaced(Escaped(text), ". ", ".\n");
    return lines.ends_with('.') ? lines + "\n" : lines + ".\n";
}

std::string Flags(const std::vector<std::string>& names)
{
    std::vector<std::string> flags;
    flags.reserve(names.size());
    for (const std::string& name : names) {
        flags.push_back("Fl " + name.substr(1));
    }
    return Joined(flags, " , ");
}

std::string Item(const Option& option)
{
    const std::string value = option.value.empty() ? "" : " Ar " + option.value;
    std::string item = ".It " + Flags(option.names) + value + "\n" + Sentence(option.help);
    if (!option.defaultValue.empty()) {
        item += "The default is " + option.defaultValue + ".\n";
    }
    if (!option.excluded.empty()) {
        item += "Not together with\n." + Flags(option.excluded) + " .\n";
    }
    return item;
}

std::string List(const std::string& items)
{
    return items.empty() ? "" : ".Bl -tag -width Ds\n" + items + ".El\n";
}

/// CLI11's own name for options of no group would only repeat the section's.
std::string Heading(const std::string& group)
{
    return group == "Options" ? "" : ".Ss " + group + "\n";
}

}  // namespace

std::string MdocAbout(const Program& program)
{
    return Sentence(program.about);
}

std::string MdocOptions(const Program& program)
{
    std::string text;
    std::string items;
    std::string group;
    for (const Option& option : program.options) {
        if (option.group != group) {
            text += List(items) + Heading(option.group);
            items.clear();
            group = option.group;
        }
        items += Item(option);
    }
    text += List(items);
    return program.note.empty() ? text : text + ".Pp\n" + Sentence(program.note);
}

std::string MdocCommands(const Program& program)
{
    std::string items;
    for (const Command& command : program.commands) {
        items += ".It Cm " + command.name +
                 (command.operands.empty() ? "" : " Ar " + command.operands) + "\n" +
                 Sentence(command.help) + Sentence(command.details);
    }
    return List(items);
}

std::string MdocExitCodes(const Program& program)
{
    std::string items;
    for (const ExitCode& exitCode : program.exitCodes) {
        items += ".It " + std::to_string(exitCode.code) + "\n" + Sentence(exitCode.meaning);
    }
    return List(items);
}

std::string MdocExamples(const Program& program)
{
    std::string text;
    for (const Example& example : program.examples) {
        text += ".Pp\n" + Escaped(example.what) + "\n" + Literal(example.words);
    }
    return text;
}

}  // namespace Tulvo::Reference
