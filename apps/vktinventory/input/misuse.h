// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is wrong with a command line, in words for the person who typed it. No sentence repeats
/// more of it than one flag's name or one word: a password may stand behind a misspelt flag.
#ifndef APPS_VKTINVENTORY_INPUT_MISUSE_H
#define APPS_VKTINVENTORY_INPUT_MISUSE_H

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace Tulvo::Cli {

/// What the parser would take for something else: a flag where a value belongs, `help`, `-h HOST`.
/// Empty when there is no such thing.
std::string MisuseIn(const CLI::App& app, const std::vector<std::string>& words);

/// The first command's name among the words, as far as can be told from a line that may be wrong;
/// empty when there is none.
std::string CommandIn(const CLI::App& app, const std::vector<std::string>& words);

/// What the parser's complaint means.
std::string Explain(const CLI::App& app, const CLI::ParseError& error);

}  // namespace Tulvo::Cli

#endif
