// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the tables of one enclosure and of many have in common: a report's values as rows of cells.
#ifndef APPS_VKTINVENTORY_OUTPUT_REPORT_TABLE_H
#define APPS_VKTINVENTORY_OUTPUT_REPORT_TABLE_H

#include <string_view>
#include <vector>

#include "apps/vktinventory/commands.h"
#include "apps/vktinventory/output/grid.h"
#include "apps/vktinventory/report.h"
#include "module/vkt/vkt_enclosure/catalogue.h"

namespace Tulvo::Cli {

Mark MarkOf(Enclosures::Health severity);

/// A row of one cell: "not read: refused".
GridRow NotReadRow(std::string_view why);

std::vector<Enclosures::Block> PrintedBlocks(const Command& command);

/// Above ReportTable::ObjectRows().
GridRow HeadingOf(const Enclosures::Block& block);

/// Borrows the report.
class ReportTable
{
public:
    explicit ReportTable(const Report& report);

    /// Findings, or "good"; none when nothing that tells about health was asked.
    std::vector<GridRow> HealthRows() const;
    /// None when nothing was selected.
    std::vector<GridRow> SelectionRows() const;
    /// A row a value of the enclosure: what it is, and the value.
    std::vector<GridRow> LabelledRows(const Enclosures::Block& block) const;
    /// The same values beside each other.
    GridRow EnclosureRow(const Enclosures::Block& block) const;
    /// A row of values for each of the block's objects, or one cell that says why there are none.
    std::vector<GridRow> ObjectRows(const Enclosures::Block& block) const;

private:
    std::vector<const Enclosures::Object*> ObjectsIn(const Enclosures::Block& block) const;
    void AppendCells(GridRow& row, const Enclosures::Object& object,
                     const std::vector<const Enclosures::Field*>& fields) const;
    GridCell CellOf(const Enclosures::Object& object, const Enclosures::Field& field) const;
    Mark MarkFor(const Enclosures::Object& object, const Enclosures::Field& field) const;

    const Report& report_;
    const std::vector<Enclosures::Object> objects_;
};

}  // namespace Tulvo::Cli

#endif
