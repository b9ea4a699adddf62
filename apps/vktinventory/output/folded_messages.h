// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_OUTPUT_FOLDED_MESSAGES_H
#define APPS_VKTINVENTORY_OUTPUT_FOLDED_MESSAGES_H

#include <map>
#include <string>
#include <vector>

#include "apps/vktinventory/report.h"

namespace Tulvo::Cli {

/// What went wrong with several enclosures, a line for all of which the same is to be said.
class FoldedMessages
{
public:
    void Add(const Report& report);
    /// @param host  as it was named.
    /// @param place where it was tried, as the message may have it.
    void Add(const std::string& host, const std::string& place, std::string message);

    /// "enc[001-016]: no answer in time: ..."; the next ones begin anew.
    std::vector<std::string> Take();

private:
    std::map<std::string, std::vector<std::string>> hosts_;
};

}  // namespace Tulvo::Cli

#endif
