// SPDX-License-Identifier: Apache-2.0
// vkt_reference PROGRAM TEMPLATE OUTPUT: writes the template with each @part@ filled in.
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "apps/reference/parts.h"

namespace {

using namespace Tulvo::Reference;

struct Part
{
    std::string_view name;
    std::string (*make)(const Program& program);
};

constexpr Part kParts[] = {
    {"name", [](const Program& program) { return program.name; }},
    {"version", [](const Program&) { return std::string(VKT_VERSION); }},
    {"mdoc_about", MdocAbout},
    {"mdoc_options", MdocOptions},
    {"mdoc_commands", MdocCommands},
    {"mdoc_exit_codes", MdocExitCodes},
    {"mdoc_examples", MdocExamples},
    {"bash_options", BashOptions},
    {"bash_commands", BashCommands},
    {"bash_values", BashValues},
    {"bash_options_with_value", BashOptionsWithValue},
    {"bash_numbers", BashNumbers},
    {"bash_command_options", BashCommandOptions},
    {"zsh_options", ZshOptions},
    {"zsh_commands", ZshCommands},
    {"zsh_numbers", ZshNumbers},
    {"zsh_command_options", ZshCommandOptions},
};

const Part* PartAt(std::string_view text)
{
    for (const Part& part : kParts) {
        const std::string mark = "@" + std::string(part.name) + "@";
        if (text.starts_with(mark)) {
            return &part;
        }
    }
    return nullptr;
}

/// An '@' that begins no part stands for itself, as in a script's ${array[@]}.
std::string Filled(std::string_view text, const Program& program)
{
    std::string filled;
    while (!text.empty()) {
        const Part* const part = PartAt(text);
        filled += part == nullptr ? std::string(1, text.front()) : part->make(program);
        text.remove_prefix(part == nullptr ? 1 : part->name.size() + 2);
        // A part made of lines ends its last one itself.
        if (part != nullptr && text.starts_with('\n') &&
            (filled.empty() || filled.back() == '\n')) {
            text.remove_prefix(1);
        }
    }
    return filled;
}

std::string Read(const char* path)
{
    std::ifstream file(path);
    std::stringstream content;
    content << file.rdbuf();
    if (!file || content.str().empty()) {
        throw std::runtime_error(std::string(path) + " cannot be read");
    }
    return content.str();
}

void Write(const char* path, const std::string& text)
{
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        throw std::runtime_error(std::string(path) + " cannot be written");
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::cerr << "usage: vkt_reference PROGRAM TEMPLATE OUTPUT\n";
        return 2;
    }
    try {
        Write(argv[3], Filled(Read(argv[2]), ProgramNamed(argv[1])));
        return 0;
    } catch (const std::exception& fault) {
        std::cerr << "vkt_reference: " << fault.what() << '\n';
        return 1;
    }
}
