// SPDX-License-Identifier: Apache-2.0
/// @file
/// A program's command line as its manual page and its completions need it: all that its own --help
/// says, taken from the same tables.
#ifndef APPS_REFERENCE_PROGRAM_H
#define APPS_REFERENCE_PROGRAM_H

#include <cstdint>
#include <string>
#include <vector>

namespace Tulvo::Reference {

struct Option
{
    std::vector<std::string> names;  ///< As they are typed, the short one first.
    std::string value;               ///< What stands for its value; empty for a flag.
    std::vector<std::string> choices;
    std::string defaultValue;
    std::string help;
    std::string group;
    std::vector<std::string> excluded;  ///< Names of options that do not go with it.
    bool repeatable = false;
    bool endsProgram = false;  ///< The help or the version is printed and nothing else done.
};

struct Command
{
    std::string name;
    std::string help;
    std::string details;
    std::string operands;              ///< As they are written behind it; empty for none.
    std::uint64_t largest = 0;         ///< Its number is 1 to this; 0 when it takes none.
    std::vector<Option> options = {};  ///< That stand behind it only.
};

struct ExitCode
{
    int code;
    std::string meaning;
};

struct Example
{
    std::string what;
    std::string words;
};

struct Program
{
    std::string name;
    std::string about = {};
    std::vector<Option> options = {};
    std::vector<Command> commands = {};
    std::vector<ExitCode> exitCodes;
    std::vector<Example> examples;
    std::string note = {};  ///< A paragraph below the options; may be empty.
};

/// The program of that name. @throws std::runtime_error when there is none.
Program ProgramNamed(const std::string& name);

}  // namespace Tulvo::Reference

#endif
