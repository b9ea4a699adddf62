// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/report.h"

#include <chrono>
#include <utility>

namespace Tulvo::Cli {

bool Report::HasConversation() const
{
    return enclosure.module.powerSupplyCount.HasValue();
}

Report ReportOf(const Command& command, Enclosures::Enclosure enclosure)
{
    Report report{.command = &command, .enclosure = std::move(enclosure)};
    report.notRead = Enclosures::NotRead(report.enclosure);
    report.judgement = Enclosures::Judge(report.enclosure);
    return report;
}

Report ReportOf(const Command& command, std::uint8_t supply, const Enclosures::Selection& selection)
{
    Enclosures::Enclosure enclosure;
    enclosure.time = std::chrono::system_clock::now() - selection.cost.elapsed;
    enclosure.source = selection.source;
    enclosure.error = selection.failure;
    enclosure.module.powerSupplyCount = selection.powerSupplyCount;
    enclosure.cost = selection.cost;
    Report report = ReportOf(command, std::move(enclosure));
    report.selected = supply;
    return report;
}

}  // namespace Tulvo::Cli
