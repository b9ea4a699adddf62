// SPDX-License-Identifier: Apache-2.0
/// @file
/// Lines of comma-separated values that both programs and spreadsheets read as they were meant.
#ifndef APPS_VKTINVENTORY_OUTPUT_CSV_H
#define APPS_VKTINVENTORY_OUTPUT_CSV_H

#include <string>
#include <vector>

namespace Tulvo::Cli {

/// A text as a cell's content: with `'` before what a spreadsheet would take for a formula and
/// carry out.
std::string CsvText(std::string text);

/// The cells, quoted where they need it (RFC 4180), and a line feed.
std::string CsvLine(const std::vector<std::string>& cells);

}  // namespace Tulvo::Cli

#endif
