// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/report.h"

#include <utility>

namespace Tulvo::Cli {

bool Report::HasConversation() const
{
    return enclosure.module.powerSupplyCount.HasValue();
}

const Failure* Report::WhyNothingWasRead() const
{
    return enclosure.error && !HasConversation() ? &*enclosure.error : nullptr;
}

Report ReportOf(const Command& command, Enclosures::Enclosure enclosure,
                const Enclosures::Expectations& expectations)
{
    Report report{.command = &command, .enclosure = std::move(enclosure)};
    report.host = report.enclosure.source.host;
    report.notRead = Enclosures::NotRead(report.enclosure);
    report.judgement = Enclosures::Judge(report.enclosure, expectations);
    return report;
}

}  // namespace Tulvo::Cli
