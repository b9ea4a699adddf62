// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/destination.h"

#include <system_error>

#include "apps/vktinventory/output/diagnostics.h"
#include "apps/vktinventory/page/files.h"

namespace Tulvo::Cli {

bool IsStandardOutput(const std::string& output)
{
    return output.empty() || output == "-";
}

bool WriteResult(std::string_view text, const std::string& output)
{
    if (IsStandardOutput(output)) {
        return WriteOut(text);
    }
    return text.empty() || WriteWholeFile(output, text);
}

void ComplainAboutResult(int reason, const std::string& output)
{
    if (IsStandardOutput(output)) {
        ComplainAboutOutput(reason);
    } else {
        Complain("the page cannot be written to " + output + ": " +
                 std::generic_category().message(reason));
    }
}

}  // namespace Tulvo::Cli
