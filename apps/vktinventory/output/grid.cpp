// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/grid.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Tulvo::Cli {
namespace {

constexpr std::size_t kMargin = 2;
constexpr std::size_t kGap = 2;
/// Room that the last column keeps however wide the others are.
constexpr std::size_t kNarrowest = 16;

constexpr std::string_view kReset = "\033[0m";

std::string_view ColourOf(Mark mark)
{
    switch (mark) {
        case Mark::kBad:
            return "\033[1;31m";
        case Mark::kWarning:
            return "\033[33m";
        default:
            return {};
    }
}

std::string Painted(std::string_view text, Mark mark, bool colour)
{
    const std::string_view start = colour ? ColourOf(mark) : std::string_view();
    if (start.empty()) {
        return std::string(text);
    }
    return std::string(start) + std::string(text) + std::string(kReset);
}

std::vector<std::size_t> WidthsOf(const std::vector<GridRow>& rows)
{
    std::size_t columns = 1;
    for (const GridRow& row : rows) {
        columns = std::max(columns, row.size());
    }
    std::vector<std::size_t> widths(columns);
    for (const GridRow& row : rows) {
        const std::size_t own = row.size() < columns ? row.size() - 1 : columns;
        for (std::size_t column = 0; column < own; ++column) {
            widths[column] = std::max(widths[column], row[column].text.size());
        }
    }
    return widths;
}

/// A cell before the last of its row: padded to its column.
std::string Padded(const GridCell& cell, std::size_t width, bool colour)
{
    const std::string padding(width - cell.text.size(), ' ');
    const std::string text = Painted(cell.text, cell.mark, colour);
    return (cell.alignRight ? padding + text : text + padding) + std::string(kGap, ' ');
}

/// How much of a text stands on a line: whole words if it has any, the blank behind them included.
std::size_t LineOf(std::string_view text, std::size_t room)
{
    const std::size_t blank = text.size() > room ? text.rfind(' ', room - 1) : text.npos;
    return blank == text.npos ? room : blank + 1;
}

/// A line that another follows ends with its last word.
std::string_view WithoutLastBlank(std::string_view line)
{
    return line.ends_with(' ') ? line.substr(0, line.size() - 1) : line;
}

std::string LastCell(const GridCell& cell, std::size_t width, std::size_t start, bool colour)
{
    const std::size_t room = std::max(kLineWidth - std::min(kLineWidth, start), kNarrowest);
    const std::string padding(cell.alignRight && width <= room ? width - cell.text.size() : 0, ' ');
    std::string text = padding;
    std::string_view rest = cell.text;
    do {
        const std::string_view line = rest.substr(0, LineOf(rest, room));
        rest.remove_prefix(line.size());
        text += Painted(rest.empty() ? line : WithoutLastBlank(line), cell.mark, colour) + "\n" +
                std::string(rest.empty() ? 0 : start, ' ');
    } while (!rest.empty());
    return text;
}

std::string RenderRow(const GridRow& row, const std::vector<std::size_t>& widths, bool colour)
{
    std::string line(kMargin, ' ');
    std::size_t start = kMargin;
    for (std::size_t column = 0; column + 1 < row.size(); ++column) {
        line += Padded(row[column], widths[column], colour);
        start += widths[column] + kGap;
    }
    if (row.back().text.empty()) {
        line.erase(line.find_last_not_of(' ') + 1);
        return line + '\n';
    }
    return line + LastCell(row.back(), widths[row.size() - 1], start, colour);
}

}  // namespace

std::string RenderGrid(const std::vector<GridRow>& rows, bool colour)
{
    const std::vector<std::size_t> widths = WidthsOf(rows);
    std::string text;
    for (const GridRow& row : rows) {
        text += RenderRow(row, widths, colour);
    }
    return text;
}

}  // namespace Tulvo::Cli
