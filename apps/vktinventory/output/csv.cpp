// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/csv.h"

#include <cstddef>
#include <string_view>

namespace Tulvo::Cli {
namespace {

constexpr std::string_view kFormulaStarts = "=+-@";
constexpr std::string_view kNeedQuotes = ",\"\r\n";

std::string Quoted(const std::string& cell)
{
    if (cell.find_first_of(kNeedQuotes) == cell.npos) {
        return cell;
    }
    std::string quoted = "\"";
    for (const char character : cell) {
        quoted.append(character == '"' ? 2 : 1, character);
    }
    return quoted + '"';
}

}  // namespace

std::string CsvText(std::string text)
{
    const bool formula = !text.empty() && kFormulaStarts.find(text.front()) != text.npos;
    return formula ? "'" + text : text;
}

std::string CsvLine(const std::vector<std::string>& cells)
{
    std::string line;
    for (std::size_t index = 0; index < cells.size(); ++index) {
        line.append(index == 0 ? "" : ",").append(Quoted(cells[index]));
    }
    return line + '\n';
}

}  // namespace Tulvo::Cli
