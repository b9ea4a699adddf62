// SPDX-License-Identifier: Apache-2.0
/// @file
/// Reports as comma-separated values: a row an enclosure, power supply or node, by the command.
#ifndef APPS_VKTINVENTORY_OUTPUT_RENDER_CSV_H
#define APPS_VKTINVENTORY_OUTPUT_RENDER_CSV_H

#include <string>
#include <vector>

#include "apps/vktinventory/commands.h"
#include "apps/vktinventory/report.h"

namespace Tulvo::Cli {

/// Keys of all columns that a command can give, those that it gives unasked first.
std::vector<std::string> CsvKeys(const Command& command);

/// Whether a command's values are rows of one kind.
bool HasCsv(const Command& command);

class CsvTable
{
public:
    /// @param keys of CsvKeys(); none for those that the command gives unasked.
    CsvTable(const Command& command, std::vector<std::string> keys);

    std::string Header() const;
    std::string Rows(const Report& report) const;

private:
    const Command& command_;
    std::vector<std::string> keys_;
};

}  // namespace Tulvo::Cli

#endif
