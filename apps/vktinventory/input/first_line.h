// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_INPUT_FIRST_LINE_H
#define APPS_VKTINVENTORY_INPUT_FIRST_LINE_H

#include <string>

namespace Tulvo::Cli {

struct FirstLine
{
    std::string text;
    bool ended = false;   ///< By a line feed, or by the end of the file after at least a byte.
    bool failed = false;  ///< By an error, which errno tells.
};

/// Reads no byte behind the line, and no more than any password has.
FirstLine ReadFirstLine(int descriptor);

}  // namespace Tulvo::Cli

#endif
