// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/fleet_table.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <map>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/vktinventory/outcome.h"
#include "apps/vktinventory/output/report_table.h"
#include "common/text/printable.h"
#include "fleet/host_folding.h"

namespace Tulvo::Cli {
namespace {

using Enclosures::Block;
using Enclosures::Finding;
using Enclosures::Health;
using Enclosures::ObjectKind;

/// More hosts than fit here stand on several lines.
constexpr std::size_t kHostWidth = 30;
/// The same of hosts beside which nothing stands but "ok".
constexpr std::size_t kHostWidthAlone = 74;

/// So many values that could not be read are named; more are counted.
constexpr std::size_t kMostUnread = 3;

/// How many of the first hosts one pattern of that width names; one host may be wider.
std::size_t CountWithin(std::size_t width, std::span<const std::string> hosts)
{
    const auto fit = [&](std::size_t count) {
        return Fleet::FoldHosts(hosts.first(count)).size() <= width;
    };
    std::size_t fitting = 1;
    std::size_t next = std::min<std::size_t>(2, hosts.size());
    while (next > fitting && fit(next)) {
        fitting = next;
        next = std::min(2 * next, hosts.size());
    }
    while (fitting + 1 < next) {
        const std::size_t middle = fitting + (next - fitting) / 2;
        (fit(middle) ? fitting : next) = middle;
    }
    return fitting;
}

/// Patterns that name all of the hosts, none wider than that unless it is of one host.
std::vector<std::string> Folded(std::span<const std::string> hosts, std::size_t width)
{
    std::string all = Fleet::FoldHosts(hosts);
    if (all.size() <= width) {
        return {Text::PrintableAscii(all)};
    }
    std::vector<std::string> lines;
    while (!hosts.empty()) {
        const std::size_t count = CountWithin(width, hosts);
        lines.push_back(Text::PrintableAscii(Fleet::FoldHosts(hosts.first(count))));
        hosts = hosts.subspan(count);
    }
    return lines;
}

/// What stands right of the host: severity, object and what is wrong with it.
std::vector<GridRow> VerdictOn(const Report& report)
{
    const auto& [status, findings] = report.judgement;
    const GridCell severity{std::string(KeyOf(status)),
                            status == Health::kOk ? Mark::kNone : MarkOf(status)};
    if (const Failure* const why = report.WhyNothingWasRead()) {
        return {{severity, {std::string(WordsFor(*why))}}};
    }
    std::vector<GridRow> rows;
    const bool countUnread = report.notRead.size() > kMostUnread;
    for (const Finding& finding : findings) {
        if (finding.severity != Health::kUnknown || !countUnread) {
            rows.push_back({{std::string(KeyOf(finding.severity)), MarkOf(finding.severity)},
                            {finding.object + ' ' + Text::PrintableAscii(finding.message)}});
        }
    }
    if (countUnread) {
        rows.push_back({{std::string(KeyOf(Health::kUnknown)), Mark::kBad},
                        {std::to_string(report.notRead.size()) + " values not read"}});
    }
    return rows.empty() ? std::vector<GridRow>{{severity}} : rows;
}

/// `health`.
class FoldedHealth : public Renderer
{
public:
    explicit FoldedHealth(bool colour) : colour_(colour) {}

    std::string Add(std::size_t index, const Report& report) override
    {
        Verdict verdict{report.judgement.status, {}, VerdictOn(report)};
        for (const GridRow& row : verdict.rows) {
            for (const GridCell& cell : row) {
                verdict.text += cell.text + '\n';
            }
        }
        hosts_[std::move(verdict)].emplace(index, report.host);
        return {};
    }

    std::string End() override
    {
        std::vector<GridRow> rows;
        std::vector<GridRow> wideRows;
        for (const auto& [verdict, hosts] : hosts_) {
            std::vector<std::string> names;
            std::transform(hosts.begin(), hosts.end(), std::back_inserter(names),
                           [](const auto& host) { return host.second; });
            std::vector<std::string> lines = Folded(names, kHostWidth);
            const bool alone = verdict.rows.size() == 1 && verdict.rows.front().size() == 1;
            if (alone && lines.size() > 1) {
                AppendRows(Folded(names, kHostWidthAlone), verdict.rows, wideRows);
            } else {
                AppendRows(lines, verdict.rows, rows);
            }
        }
        hosts_.clear();
        return RenderGrid(rows, colour_) + RenderGrid(wideRows, colour_);
    }

private:
    struct Verdict
    {
        Health status = Health::kUnknown;
        std::string text;
        std::vector<GridRow> rows;

        /// The worst first.
        bool operator<(const Verdict& other) const
        {
            return status != other.status ? status > other.status : text < other.text;
        }
    };

    /// Hosts that did not fit stand below all that was found, so that none looks as if only the
    /// finding beside it were its own.
    static void AppendRows(const std::vector<std::string>& hosts,
                           const std::vector<GridRow>& verdict, std::vector<GridRow>& rows)
    {
        for (std::size_t line = 0; line < verdict.size(); ++line) {
            GridRow row{{line == 0 ? hosts.front() : ""}};
            row.insert(row.end(), verdict[line].begin(), verdict[line].end());
            rows.push_back(std::move(row));
        }
        for (std::size_t line = 1; line < hosts.size(); ++line) {
            rows.push_back({{hosts[line]}, {}});
        }
    }

    std::map<Verdict, std::map<std::size_t, std::string>> hosts_;
    bool colour_;
};

/// Headings of two words on two lines: many columns stand beside each other.
std::vector<GridRow> OnTwoLines(const GridRow& heading)
{
    GridRow upper;
    GridRow lower;
    for (const GridCell& cell : heading) {
        const std::size_t blank = cell.text.rfind(' ');
        const bool one = blank == cell.text.npos;
        upper.push_back({one ? "" : cell.text.substr(0, blank), cell.mark, cell.alignRight});
        lower.push_back(
            {one ? cell.text : cell.text.substr(blank + 1), cell.mark, cell.alignRight});
    }
    return {upper, lower};
}

void Append(GridRow& row, const GridRow& more)
{
    row.insert(row.end(), more.begin(), more.end());
}

std::size_t WidestLine(std::string_view text)
{
    std::size_t widest = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        widest = std::max(widest, end);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return widest;
}

/// A table in which each enclosure has its rows.
struct HostTable
{
    struct Rows
    {
        GridCell host;
        std::vector<GridRow> rows;
    };

    std::string title;
    std::vector<GridRow> heading;
    std::function<std::vector<GridRow>(const Report&)> rowsOf;
    bool belowLongHosts = false;            ///< For rows that their own headings tell apart.
    std::map<std::size_t, Rows> rows = {};  ///< In the order given.
};

std::vector<GridRow> BesideTheirHosts(const HostTable& table)
{
    std::vector<GridRow> grid;
    for (const GridRow& heading : table.heading) {
        const bool last = &heading == &table.heading.back();
        Append(grid.emplace_back(GridRow{{last ? "Host" : ""}}), heading);
    }
    for (const auto& [index, ofOne] : table.rows) {
        for (const GridRow& values : ofOne.rows) {
            Append(grid.emplace_back(GridRow{ofOne.host}), values);
        }
    }
    return grid;
}

/// For hosts with names so long that rows beside them would pass the end of the line.
std::vector<GridRow> BelowTheirHosts(const HostTable& table)
{
    std::vector<GridRow> grid = table.heading;
    for (const auto& [index, ofOne] : table.rows) {
        grid.push_back({ofOne.host});
        grid.insert(grid.end(), ofOne.rows.begin(), ofOne.rows.end());
    }
    return grid;
}

class HostTables : public Renderer
{
public:
    HostTables(std::vector<HostTable> tables, bool colour)
        : tables_(std::move(tables)), colour_(colour)
    {
    }

    std::string Add(std::size_t index, const Report& report) override
    {
        for (HostTable& table : tables_) {
            HostTable::Rows& rows = table.rows[index];
            rows.host.text = Text::PrintableAscii(report.host);
            rows.rows = table.rowsOf(report);
        }
        return {};
    }

    std::string End() override
    {
        const bool below = tables_.front().belowLongHosts &&
                           WidestLine(Rendered(&BesideTheirHosts, false)) > kLineWidth;
        std::string text = Rendered(below ? &BelowTheirHosts : &BesideTheirHosts, colour_);
        for (HostTable& table : tables_) {
            table.rows.clear();
        }
        return text;
    }

private:
    using Layout = std::vector<GridRow> (*)(const HostTable& table);

    std::string Rendered(Layout layout, bool colour) const
    {
        std::string text;
        for (const HostTable& table : tables_) {
            if (!table.title.empty()) {
                text.append(text.empty() ? "" : "\n").append(table.title).append("\n");
            }
            text += RenderGrid(layout(table), colour);
        }
        return text;
    }

    std::vector<HostTable> tables_;
    bool colour_;
};

/// `select-psu N`.
HostTable SelectionTable()
{
    return {"", {}, [](const Report& report) { return ReportTable(report).SelectionRows(); }};
}

/// `identity`, `power`, `status`: a row an enclosure.
HostTable EnclosureTable(const std::vector<Block>& blocks)
{
    GridRow heading;
    for (const Block& block : blocks) {
        Append(heading, HeadingOf(block));
    }
    const auto rowsOf = [blocks](const Report& report) -> std::vector<GridRow> {
        if (const Failure* const why = report.WhyNothingWasRead()) {
            return {NotReadRow(WordsFor(*why))};
        }
        GridRow row;
        for (const Block& block : blocks) {
            Append(row, ReportTable(report).EnclosureRow(block));
        }
        return {row};
    };
    return {"", OnTwoLines(heading), rowsOf};
}

/// `psu`, `nodes`, `node N`: a row an object.
HostTable ObjectTable(const Block& block)
{
    const auto rowsOf = [block](const Report& report) -> std::vector<GridRow> {
        const Failure* const why = report.WhyNothingWasRead();
        return why == nullptr ? ReportTable(report).ObjectRows(block)
                              : std::vector<GridRow>{NotReadRow(WordsFor(*why))};
    };
    return {std::string(block.heading), {HeadingOf(block)}, rowsOf, true};
}

std::vector<HostTable> TablesOf(const Command& command)
{
    const std::vector<Block> blocks = PrintedBlocks(command);
    if (command.action == Action::kSelectSupply) {
        return {SelectionTable()};
    }
    if (blocks.front().object == ObjectKind::kEnclosure) {
        return {EnclosureTable(blocks)};
    }
    std::vector<HostTable> tables;
    std::transform(blocks.begin(), blocks.end(), std::back_inserter(tables), ObjectTable);
    return tables;
}

}  // namespace

std::unique_ptr<Renderer> FleetTable(const Command& command, bool colour)
{
    const bool foldsHosts =
        command.action != Action::kSelectSupply && PrintedBlocks(command).empty();
    if (foldsHosts) {
        return std::make_unique<FoldedHealth>(colour);
    }
    return std::make_unique<HostTables>(TablesOf(command), colour);
}

}  // namespace Tulvo::Cli
