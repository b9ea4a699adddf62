// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/folded_messages.h"

#include <string_view>
#include <utility>

#include "apps/vktinventory/outcome.h"
#include "fleet/host_folding.h"

namespace Tulvo::Cli {
namespace {

constexpr std::string_view kEnd = ": ";

/// The line without the words up to the next colon that say where it was tried, such as
/// "log-in at enc017:623: ": the host stands before it.
std::string WithoutPlace(std::string line, const std::string& host)
{
    const std::size_t place = line.find(host);
    const std::size_t end = line.find(kEnd, place);
    if (host.empty() || place == line.npos || end == line.npos) {
        return line;
    }
    const std::size_t before = line.rfind(kEnd, place);
    const std::size_t begin = before == line.npos ? 0 : before + kEnd.size();
    return line.erase(begin, end + kEnd.size() - begin);
}

bool WasCancelled(const Report& report)
{
    return report.enclosure.error && report.enclosure.error->cause == Cause::kCancelled;
}

}  // namespace

/// Whoever has ended the command knows why what it was doing was not done.
void FoldedMessages::Add(const Report& report)
{
    if (WasCancelled(report)) {
        return;
    }
    for (const std::string& message : Messages(report)) {
        Add(report.host, report.enclosure.source.host, message);
    }
}

void FoldedMessages::Add(const std::string& host, const std::string& place, std::string message)
{
    hosts_[WithoutPlace(std::move(message), place)].push_back(host);
}

std::vector<std::string> FoldedMessages::Take()
{
    std::vector<std::string> lines;
    for (const auto& [message, hosts] : hosts_) {
        lines.push_back(Fleet::FoldHosts(hosts) + ": " + message);
    }
    hosts_.clear();
    return lines;
}

}  // namespace Tulvo::Cli
