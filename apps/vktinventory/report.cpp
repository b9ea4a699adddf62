// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/report.h"

#include <utility>

#include "apps/vktinventory/result_names.h"
#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

/// Asks one query after the other.
class Questioner
{
public:
    Questioner(VKTInventory& inventory, const Diagnostics& diagnostics)
        : inventory_(inventory), diagnostics_(diagnostics)
    {
    }

    Answer Ask(const Query& query, std::uint64_t number)
    {
        if (gone_) {
            return NotAsked(number, VKT_INVENTORY_CONNECT_FAILED);
        }
        const std::uint64_t unanswered = diagnostics_.unanswered();
        Answer answer{number, query.ask(inventory_, number), diagnostics_.detail()};
        const bool silent = diagnostics_.unanswered() != unanswered;
        if (silent) {
            RejectList(query, answer.reply);
        }
        if (answer.reply.result == VKT_INVENTORY_SUCCESS) {
            answer.detail.clear();
        }
        gone_ = IsInDoubt(silent, answer.reply.result) && !diagnostics_.moduleIsThere();
        return answer;
    }

    static Answer NotAsked(std::uint64_t number, VKTInventoryErrorCode result)
    {
        return {number, {result, false, {}}, "not asked for any more"};
    }

private:
    /// Over RMCP+ the library leaves out a supply that does not answer, or a part of its texts, and
    /// counts the list as read: it would show a healthy enclosure with a supply too few.
    static void RejectList(const Query& query, Reply& reply)
    {
        if (query.shape == Shape::kList && reply.result == VKT_INVENTORY_SUCCESS) {
            reply = {VKT_INVENTORY_FAILED, false, {}};
        }
    }

    /// What HTTPS calls an error may be about one request, such as a status 504; two in a row are
    /// worth a look.
    bool IsInDoubt(bool silent, VKTInventoryErrorCode result)
    {
        httpsErrors_ = result == VKT_INVENTORY_TRANSPORT_ERROR ? httpsErrors_ + 1 : 0;
        return silent || result == VKT_INVENTORY_CONNECT_FAILED || httpsErrors_ > 1;
    }

    VKTInventory& inventory_;
    const Diagnostics& diagnostics_;
    int httpsErrors_ = 0;
    bool gone_ = false;
};

std::vector<std::uint64_t> NumbersFor(const Query& query, std::uint64_t number,
                                      std::uint64_t nodeCount)
{
    if (query.shape != Shape::kNode) {
        return {number};
    }
    if (number != 0) {
        return number <= nodeCount ? std::vector{number} : std::vector<std::uint64_t>{};
    }
    std::vector<std::uint64_t> all;
    for (std::uint64_t node = 1; node <= nodeCount; ++node) {
        all.push_back(node);
    }
    return all;
}

std::string FailureOf(const Query& query, const Answer& answer)
{
    const ResultName& result = NameOf(answer.reply.result);
    const std::string_view outcome =
        query.shape == Shape::kAction ? " not accepted: " : " not read: ";
    std::string line = SubjectOf(query, answer) + std::string(outcome) +
                       std::string(result.meaning) + " (" + std::string(result.name) + ")";
    if (!answer.detail.empty()) {
        line += ": " + Text::PrintableAscii(answer.detail);
    }
    return line;
}

/// Without its status the library does not know how to ask for the rest either.
constexpr std::string_view kStatusNotRead =
    "the module did not tell its platform, on which all else depends: nothing was read; try again "
    "when it is ready";

}  // namespace

std::string SubjectOf(const Query& query, const Answer& answer)
{
    const std::string label(query.label);
    return query.shape == Shape::kNode ? label + " of node " + std::to_string(answer.number)
                                       : label;
}

Report Ask(VKTInventory& inventory, const Command& command, std::uint64_t number,
           const Diagnostics& diagnostics)
{
    const std::uint64_t nodeCount = inventory.GetNodeNub();
    Report report{&command, {}, nodeCount != 0, {}};
    Questioner questioner(inventory, diagnostics);
    diagnostics.detail();  // what was logged until now is about no query
    for (const Query& query : Queries()) {
        if (!command.Runs(query.section)) {
            continue;
        }
        Asked asked{&query, {}};
        for (const std::uint64_t each : NumbersFor(query, number, nodeCount)) {
            asked.answers.push_back(report.moduleStatusRead
                                        ? questioner.Ask(query, each)
                                        : Questioner::NotAsked(each, VKT_INVENTORY_NO_DATA));
        }
        report.asked.push_back(std::move(asked));
    }
    return report;
}

std::vector<std::string> Failures(const Report& report)
{
    if (!report.moduleStatusRead) {
        return {std::string(kStatusNotRead)};
    }
    std::vector<std::string> failures;
    for (const Asked& asked : report.asked) {
        for (const Answer& answer : asked.answers) {
            if (answer.reply.result != VKT_INVENTORY_SUCCESS) {
                failures.push_back(FailureOf(*asked.query, answer));
            }
        }
    }
    return failures;
}

}  // namespace Tulvo::Cli
