// SPDX-License-Identifier: Apache-2.0
/// @file
/// All that one run of the command found out; table, JSON, messages and exit code are made from it.
#ifndef APPS_VKTINVENTORY_REPORT_H
#define APPS_VKTINVENTORY_REPORT_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/vktinventory/commands.h"
#include "common/failure/failure.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/health.h"

namespace Tulvo::Cli {

struct Report
{
    const Command* command = nullptr;
    std::string host = {};                  ///< As it was named, with its port if it was.
    std::optional<std::string> group = {};  ///< Of the fleet file.
    std::map<std::string, std::string> labels = {};
    bool withoutUser = false;       ///< Nobody has said as whom to log in.
    std::string passwordFrom = {};  ///< Where a fleet file says which file or command has it.
    std::string pinsFrom = {};      ///< Where the file of pins is named that says whom to trust.
    /// After a selection only the module's status and the source; the error is the selection's.
    Enclosures::Enclosure enclosure;
    std::uint8_t selected = 0;  ///< The supply that was to be selected; 0 when none was.
    std::vector<Enclosures::Missing> notRead = {};
    Enclosures::Judgement judgement = {};

    /// Whether the module told what it is, without which nothing else can be asked.
    bool HasConversation() const;
    /// Why there was no conversation; null when there was one.
    const Failure* WhyNothingWasRead() const;
    bool IsComplete() const { return !enclosure.error && notRead.empty(); }
};

Report ReportOf(const Command& command, Enclosures::Enclosure enclosure,
                const Enclosures::Expectations& expectations = {});

}  // namespace Tulvo::Cli

#endif
