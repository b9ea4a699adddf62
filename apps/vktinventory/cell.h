// SPDX-License-Identifier: Apache-2.0
/// @file
/// One value that the library reported, ready for both renderings: the table prints `shown`, JSON
/// writes `datum` under `key`. A Record is the cells of one answer of the library, in field order.
#ifndef APPS_VKTINVENTORY_CELL_H
#define APPS_VKTINVENTORY_CELL_H

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Tulvo::Cli {

/// How urgently a value wants an administrator's eye.
enum class Mark
{
    kNone,  ///< Says nothing about health.
    kGood,
    kWarning,
    kBad,
};

/// What a value is by nature; decides its form in both renderings.
enum class Kind
{
    kText,        ///< A text, as the module gave it.
    kWord,        ///< A text that is "N/A" when the module has no value.
    kReading,     ///< A number in decimal, "N/A" or empty when the module has no value.
    kIdentifier,  ///< A number that people know in hexadecimal.
};

/// A value by its nature; nothing when the module has no value.
using Datum = std::variant<std::monostate, std::string, std::int64_t, bool>;

struct Cell
{
    std::string_view label = {};
    std::string_view key = {};
    Datum datum = {};
    std::string shown = {};
    Mark mark = Mark::kNone;
    bool alignRight = false;
};

using Record = std::vector<Cell>;

/// The datum in a text that the library reported.
Datum DatumOf(const std::string& text, Kind kind);

/// How a table shows what the library reported.
std::string ShownText(const std::string& text);
std::string ShownNumber(std::int64_t number, Kind kind);

}  // namespace Tulvo::Cli

#endif
