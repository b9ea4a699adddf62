// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/render_table.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "apps/vktinventory/grid.h"
#include "apps/vktinventory/result_names.h"
#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

/// Labels of the one-column blocks share a width, so that their values stand below each other.
constexpr std::size_t kLabelWidth = 16;

struct Block
{
    std::string_view heading;
    std::vector<GridRow> rows;
};

GridCell Plain(std::string_view text)
{
    return {std::string(text)};
}

GridCell LabelCell(std::string_view text)
{
    std::string label(text);
    label.resize(std::max(label.size(), kLabelWidth), ' ');
    return {label};
}

/// Good needs no colour: what is marked in a table is what to look at.
GridCell Shown(const Cell& cell)
{
    return {cell.shown, cell.mark, cell.alignRight};
}

GridCell NotRead(VKTInventoryErrorCode result)
{
    return {"not read: " + std::string(NameOf(result).meaning), Mark::kBad};
}

GridRow HeadingRow(const Query& query)
{
    GridRow row;
    for (const Cell& column : query.columns()) {
        row.push_back({std::string(column.label), Mark::kNone, column.alignRight});
    }
    return row;
}

GridRow CellsOf(const Record& record)
{
    GridRow row;
    std::transform(record.begin(), record.end(), std::back_inserter(row), Shown);
    return row;
}

GridRow TextRow(const Asked& asked)
{
    const Reply& reply = asked.answers.front().reply;
    return {LabelCell(asked.query->label),
            reply.read ? Shown(reply.records.front().front()) : NotRead(reply.result)};
}

std::vector<GridRow> RecordRows(const Reply& reply)
{
    std::vector<GridRow> rows;
    for (const Cell& cell : reply.records.front()) {
        rows.push_back({LabelCell(cell.label), {cell.shown, cell.mark}});
    }
    return rows;
}

std::vector<GridRow> ListRows(const Query& query, const Reply& reply)
{
    std::vector<GridRow> rows{HeadingRow(query)};
    for (const Record& record : reply.records) {
        rows.push_back(CellsOf(record));
    }
    if (reply.records.empty() && reply.read) {
        return {{Plain("none")}};
    }
    return rows;
}

Block RecordOrListBlock(const Asked& asked)
{
    const Reply& reply = asked.answers.front().reply;
    Block block{asked.query->label, {}};
    if (reply.read) {
        block.rows =
            asked.query->shape == Shape::kList ? ListRows(*asked.query, reply) : RecordRows(reply);
    }
    if (reply.result != VKT_INVENTORY_SUCCESS) {
        block.rows.push_back({NotRead(reply.result)});
    }
    return block;
}

void AppendNodeCells(GridRow& row, const Asked& asked, std::size_t index)
{
    const Reply& reply = asked.answers[index].reply;
    GridRow cells = CellsOf(reply.read ? reply.records.front() : asked.query->columns());
    if (!reply.read) {
        cells.front() = {"not read", Mark::kBad, cells.front().alignRight};
    }
    row.insert(row.end(), cells.begin(), cells.end());
}

/// The node queries are asked for the same nodes in the same order: one row shows them all.
GridRow NodeRow(const std::vector<const Asked*>& queries, std::size_t index)
{
    GridRow row{{std::to_string(queries.front()->answers[index].number), Mark::kNone, true}};
    for (const Asked* asked : queries) {
        AppendNodeCells(row, *asked, index);
    }
    return row;
}

Block NodeBlock(const std::vector<const Asked*>& queries)
{
    Block block{"Nodes", {{Plain("Node")}}};
    for (const Asked* asked : queries) {
        const GridRow labels = HeadingRow(*asked->query);
        block.rows.front().insert(block.rows.front().end(), labels.begin(), labels.end());
    }
    const std::size_t nodes = queries.front()->answers.size();
    for (std::size_t index = 0; index < nodes; ++index) {
        block.rows.push_back(NodeRow(queries, index));
    }
    if (nodes == 0) {
        block.rows = {{{"not read: the module did not tell how many it has", Mark::kBad}}};
    }
    return block;
}

std::vector<const Asked*> NodeQueriesOf(const Report& report)
{
    std::vector<const Asked*> queries;
    for (const Asked& asked : report.asked) {
        if (asked.query->shape == Shape::kNode) {
            queries.push_back(&asked);
        }
    }
    return queries;
}

Block IdentityBlock(const Report& report)
{
    Block block{"Identity", {}};
    for (const Asked& asked : report.asked) {
        if (asked.query->shape == Shape::kText) {
            block.rows.push_back(TextRow(asked));
        }
    }
    return block;
}

Block SelectionBlock(const Asked& asked)
{
    const Answer& answer = asked.answers.front();
    const GridCell outcome = answer.reply.result == VKT_INVENTORY_SUCCESS
                                 ? Plain("accepted by the module")
                                 : GridCell{"not accepted", Mark::kBad};
    return {asked.query->label, {{LabelCell("PSU" + std::to_string(answer.number)), outcome}}};
}

Block BlockOf(const Asked& asked)
{
    return asked.query->shape == Shape::kAction ? SelectionBlock(asked) : RecordOrListBlock(asked);
}

/// What a finding is about: the supply of a list's row, the node, or the query's subject.
std::string Whose(const Query& query, const Answer& answer, const Record& record)
{
    switch (query.shape) {
        case Shape::kList:
            return record.front().shown;
        case Shape::kNode:
            return "Node " + std::to_string(answer.number);
        default:
            return std::string(query.label);
    }
}

/// Walks over every cell of the report, with its query and answer.
template <class Visit>
void ForEachCell(const Report& report, Visit visit)
{
    for (const Asked& asked : report.asked) {
        for (const Answer& answer : asked.answers) {
            for (const Record& record : answer.reply.records) {
                for (const Cell& cell : record) {
                    visit(cell, Whose(*asked.query, answer, record));
                }
            }
        }
    }
}

/// Nothing when no value of the report tells about health.
Block HealthBlock(const Report& report)
{
    Block block{"Health", {}};
    bool judged = false;
    ForEachCell(report, [&](const Cell& cell, const std::string& whose) {
        judged = judged || cell.mark != Mark::kNone;
        if (cell.mark == Mark::kWarning || cell.mark == Mark::kBad) {
            block.rows.push_back({LabelCell(whose), Plain(cell.label), {cell.shown, cell.mark}});
        }
    });
    const bool complete = Failures(report).empty();
    if (block.rows.empty() && judged && complete) {
        block.rows.push_back({Plain("good")});
    }
    if (judged && !complete) {
        block.rows.push_back({{"not fully known: some queries failed", Mark::kBad}});
    }
    return block;
}

std::vector<Block> BlocksOf(const Report& report)
{
    std::vector<Block> blocks{HealthBlock(report), IdentityBlock(report)};
    for (const Asked& asked : report.asked) {
        if (asked.query->shape != Shape::kText && asked.query->shape != Shape::kNode) {
            blocks.push_back(BlockOf(asked));
        }
    }
    if (const auto queries = NodeQueriesOf(report); !queries.empty()) {
        blocks.push_back(NodeBlock(queries));
    }
    return blocks;
}

}  // namespace

std::string RenderTable(const Report& report, bool colour)
{
    std::string text;
    for (const Block& block : BlocksOf(report)) {
        if (!block.rows.empty()) {
            text.append(text.empty() ? "" : "\n").append(block.heading).append("\n");
            text.append(RenderGrid(block.rows, colour));
        }
    }
    return text;
}

}  // namespace Tulvo::Cli
