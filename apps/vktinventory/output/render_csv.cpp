// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/render_csv.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <variant>

#include "apps/vktinventory/output/csv.h"
#include "apps/vktinventory/output/time_text.h"
#include "common/text/printable.h"
#include "module/vkt/vkt_enclosure/catalogue.h"

namespace Tulvo::Cli {
namespace {

using Enclosures::Field;
using Enclosures::Missing;
using Enclosures::Object;
using Enclosures::ObjectKind;

struct DatumToCell
{
    std::string operator()(Enclosures::NotAsked) const { return {}; }
    std::string operator()(Enclosures::Absent) const { return {}; }
    std::string operator()(const Failure*) const { return {}; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(const std::string& text) const
    {
        return CsvText(Text::PrintableAscii(text));
    }
    std::string operator()(bool flag) const { return flag ? "true" : "false"; }
    std::string operator()(const Enclosures::StateWord* word) const
    {
        return std::string(word->key);
    }
};

std::string Explained(const Failure& failure)
{
    return CsvText(std::string(Enclosures::KeyOf(failure.cause)) + ": " +
                   Text::PrintableText(failure.message));
}

/// Whether a row lacks it: the row of an enclosure lacks whatever is missing.
bool IsInRow(const Missing& missing, const Object& row)
{
    switch (row.Kind()) {
        case ObjectKind::kPowerSupply:
            return missing.powerSupply == row.powerSupply->number;
        case ObjectKind::kNode:
            return missing.node == row.node->number;
        default:
            return true;
    }
}

std::string Error(const Report& report, const Object& row)
{
    if (report.enclosure.error) {
        return Explained(*report.enclosure.error);
    }
    const auto missing =
        std::find_if(report.notRead.begin(), report.notRead.end(),
                     [&row](const Missing& candidate) { return IsInRow(candidate, row); });
    return missing == report.notRead.end() ? "" : Explained(missing->failure);
}

std::string Findings(const Report& report, const Object&)
{
    std::string text;
    if (report.WhyNothingWasRead() != nullptr) {
        return text;
    }
    for (const Enclosures::Finding& finding : report.judgement.findings) {
        text += text.empty() ? "" : "; ";
        text += finding.object + ' ' + finding.message;
    }
    return CsvText(Text::PrintableAscii(text));
}

/// What is no value of the module.
struct OwnColumn
{
    std::string_view key;
    std::string (*get)(const Report&, const Object&);
    bool always;  ///< Not only where the command is about it.
};

const OwnColumn kOwnColumns[] = {
    {"host", [](const Report& r, const Object&) { return CsvText(Text::PrintableText(r.host)); },
     true},
    {"group",
     [](const Report& r, const Object&) {
         return CsvText(Text::PrintableText(r.group.value_or("")));
     },
     true},
    {"time", [](const Report& r, const Object&) { return TimeText(r.enclosure.time); }, true},
    {"error", Error, true},
    {"health",
     [](const Report& r, const Object&) {
         return std::string(Enclosures::KeyOf(r.judgement.status));
     },
     false},
    {"findings", Findings, false},
};

ObjectKind RowsOf(const Command& command)
{
    if ((command.printed & Enclosures::kSupplies) != 0) {
        return ObjectKind::kPowerSupply;
    }
    return (command.printed & Enclosures::kNodes) != 0 ? ObjectKind::kNode : ObjectKind::kEnclosure;
}

bool TellsHealth(const Command& command)
{
    return command.read == Enclosures::kHealth;
}

/// Whether a command has it read, and a row has room for it.
bool IsOffered(const Field& field, const Command& command)
{
    const bool read =
        field.section == Enclosures::kModuleOnly || (field.section & command.read) != 0;
    const bool fits = field.object == ObjectKind::kEnclosure || field.object == RowsOf(command);
    return (field.places & Enclosures::kInCsv) != 0 && read && fits;
}

bool IsGivenUnasked(const Field& field, const Command& command)
{
    if (field.section == Enclosures::kModuleOnly) {
        return field.object != ObjectKind::kEnclosure || command.moduleInTable;
    }
    return (field.section & command.printed) != 0;
}

void AppendFields(std::vector<std::string>& keys, const Command& command, bool unasked)
{
    for (const Field& field : Enclosures::Fields()) {
        if (IsOffered(field, command) && IsGivenUnasked(field, command) == unasked) {
            keys.emplace_back(field.key);
        }
    }
}

std::vector<std::string> KeysGivenUnasked(const Command& command)
{
    std::vector<std::string> keys;
    for (const OwnColumn& column : kOwnColumns) {
        if (column.always || TellsHealth(command)) {
            keys.emplace_back(column.key);
        }
    }
    AppendFields(keys, command, true);
    return keys;
}

std::string Cell(std::string_view key, const Report& report, const Object& row)
{
    for (const OwnColumn& column : kOwnColumns) {
        if (column.key == key) {
            return column.get(report, row);
        }
    }
    const auto fields = Enclosures::Fields();
    const auto field = std::find_if(fields.begin(), fields.end(), [key](const Field& candidate) {
        return candidate.key == key && (candidate.places & Enclosures::kInCsv) != 0;
    });
    if (field->object == ObjectKind::kEnclosure) {
        return std::visit(DatumToCell(), field->get({report.enclosure}));
    }
    return field->object == row.Kind() ? std::visit(DatumToCell(), field->get(row)) : "";
}

}  // namespace

bool HasCsv(const Command& command)
{
    const bool supplies = (command.printed & Enclosures::kSupplies) != 0;
    const bool nodes = (command.printed & Enclosures::kNodes) != 0;
    return (command.action == Action::kRead || command.action == Action::kReadNode) &&
           !(supplies && nodes);
}

std::vector<std::string> CsvKeys(const Command& command)
{
    std::vector<std::string> keys = KeysGivenUnasked(command);
    AppendFields(keys, command, false);
    return keys;
}

CsvTable::CsvTable(const Command& command, std::vector<std::string> keys)
    : command_(command), keys_(keys.empty() ? KeysGivenUnasked(command) : std::move(keys))
{
}

std::string CsvTable::Header() const
{
    return CsvLine(keys_);
}

/// An enclosure that did not tell what it has is a row all the same.
std::string CsvTable::Rows(const Report& report) const
{
    std::vector<Object> rows = Enclosures::ObjectsOf(report.enclosure);
    const ObjectKind kind = RowsOf(command_);
    const bool some = std::any_of(rows.begin(), rows.end(),
                                  [kind](const Object& row) { return row.Kind() == kind; });
    std::string text;
    for (const Object& row : rows) {
        if (row.Kind() != (some ? kind : ObjectKind::kEnclosure)) {
            continue;
        }
        std::vector<std::string> cells;
        std::transform(keys_.begin(), keys_.end(), std::back_inserter(cells),
                       [&](const std::string& key) { return Cell(key, report, row); });
        text += CsvLine(cells);
    }
    return text;
}

}  // namespace Tulvo::Cli
