// SPDX-License-Identifier: Apache-2.0
/// @file
/// Aligned columns of text, some of them coloured.
#ifndef APPS_VKTINVENTORY_OUTPUT_GRID_H
#define APPS_VKTINVENTORY_OUTPUT_GRID_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Tulvo::Cli {

/// How urgently a text wants an administrator's eye.
enum class Mark : std::uint8_t
{
    kNone,
    kWarning,
    kBad,
};

struct GridCell
{
    std::string text;
    Mark mark = Mark::kNone;
    bool alignRight = false;
};

using GridRow = std::vector<GridCell>;

/// What an ordinary terminal has room for.
inline constexpr std::size_t kLineWidth = 80;

/// The rows, indented by two, with two blanks between columns. A text that would pass column 80 in
/// the last column goes on below its beginning. The last cell of a row
/// with fewer cells than others stands across the columns that are left.
/// @param colour whether marks become terminal colours.
std::string RenderGrid(const std::vector<GridRow>& rows, bool colour);

}  // namespace Tulvo::Cli

#endif
