// SPDX-License-Identifier: Apache-2.0
/// @file
/// Parts of a manual page or a completion script that are made from a program's description.
#ifndef APPS_REFERENCE_PARTS_H
#define APPS_REFERENCE_PARTS_H

#include <string>

#include "apps/reference/program.h"

namespace Tulvo::Reference {

/// The manual page's, in mdoc.
std::string MdocAbout(const Program& program);
std::string MdocOptions(const Program& program);
std::string MdocCommands(const Program& program);
std::string MdocExitCodes(const Program& program);
std::string MdocExamples(const Program& program);

/// bash: names of all options and commands, and a case's pattern of the options with a value.
std::string BashOptions(const Program& program);
std::string BashCommands(const Program& program);
std::string BashOptionsWithValue(const Program& program);
/// bash: branches of a case: what to offer behind an option, and as a command's number.
std::string BashValues(const Program& program);
std::string BashNumbers(const Program& program);
/// bash: branches of a case: options that stand behind a command only.
std::string BashCommandOptions(const Program& program);

/// zsh: words for _arguments, descriptions for _describe, and branches of a case.
std::string ZshOptions(const Program& program);
std::string ZshCommands(const Program& program);
std::string ZshNumbers(const Program& program);
/// zsh: statements that add what stands behind a command only.
std::string ZshCommandOptions(const Program& program);

}  // namespace Tulvo::Reference

#endif
