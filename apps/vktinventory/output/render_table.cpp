// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/render_table.h"

#include <string_view>

#include "apps/vktinventory/output/report_table.h"

namespace Tulvo::Cli {
namespace {

std::vector<GridRow> RowsOf(const ReportTable& table, const Enclosures::Block& block)
{
    if (block.object == Enclosures::ObjectKind::kEnclosure) {
        return table.LabelledRows(block);
    }
    std::vector<GridRow> rows = table.ObjectRows(block);
    const bool saysWhyThereAreNone = rows.front().size() == 1;
    if (!saysWhyThereAreNone) {
        rows.insert(rows.begin(), HeadingOf(block));
    }
    return rows;
}

void Append(std::string& text, std::string_view heading, const std::vector<GridRow>& rows,
            bool colour)
{
    if (!rows.empty()) {
        text.append(text.empty() ? "" : "\n").append(heading).append("\n");
        text.append(RenderGrid(rows, colour));
    }
}

}  // namespace

std::string RenderTable(const Report& report, bool colour)
{
    const ReportTable table(report);
    std::string text;
    Append(text, "Health", table.HealthRows(), colour);
    Append(text, "Power supply selection", table.SelectionRows(), colour);
    for (const Enclosures::Block& block : PrintedBlocks(*report.command)) {
        Append(text, block.heading, RowsOf(table, block), colour);
    }
    return text;
}

}  // namespace Tulvo::Cli
