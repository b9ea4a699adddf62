// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/report.h"

#include <utility>

#include "apps/vktinventory/result_names.h"
#include "apps/vktinventory/text.h"

namespace Tulvo::Cli {
namespace {

Answer AskOnce(VKTInventory& inventory, const Query& query, std::uint64_t number,
               const std::function<std::string()>& detail)
{
    Answer answer{number, query.ask(inventory, number), detail()};
    if (answer.reply.result == VKT_INVENTORY_SUCCESS) {
        answer.detail.clear();
    }
    return answer;
}

std::vector<std::uint64_t> NumbersFor(const Query& query, std::uint64_t number,
                                      std::uint64_t nodeCount)
{
    if (query.shape != Shape::node) {
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
        query.shape == Shape::action ? " not accepted: " : " not read: ";
    std::string line = SubjectOf(query, answer) + std::string(outcome) +
                       std::string(result.meaning) + " (" + std::string(result.name) + ")";
    if (!answer.detail.empty()) {
        line += ": " + Printable(answer.detail);
    }
    return line;
}

/// Without its status the library also does not know the module's generation, by which every answer
/// is decoded.
constexpr std::string_view kStatusNotRead =
    "the module did not tell its platform: its nodes and power supplies cannot be asked for, and "
    "other values may be misread; try again when it is ready";

}  // namespace

std::string SubjectOf(const Query& query, const Answer& answer)
{
    const std::string label(query.label);
    return query.shape == Shape::node ? label + " of node " + std::to_string(answer.number) : label;
}

Report Ask(VKTInventory& inventory, const Command& command, std::uint64_t number,
           const std::function<std::string()>& detail)
{
    const std::uint64_t nodeCount = inventory.GetNodeNub();
    Report report{&command, {}, nodeCount != 0, {}};
    detail();  // what was logged until now is about no query
    for (const Query& query : Queries()) {
        if (!command.Runs(query.section)) {
            continue;
        }
        Asked asked{&query, {}};
        for (const std::uint64_t each : NumbersFor(query, number, nodeCount)) {
            asked.answers.push_back(AskOnce(inventory, query, each, detail));
        }
        report.asked.push_back(std::move(asked));
    }
    return report;
}

std::vector<std::string> Failures(const Report& report)
{
    std::vector<std::string> failures;
    if (!report.moduleStatusRead) {
        failures.emplace_back(kStatusNotRead);
    }
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
