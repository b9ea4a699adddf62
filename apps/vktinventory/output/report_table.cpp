// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/report_table.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <variant>

#include "apps/vktinventory/outcome.h"
#include "common/text/printable.h"
#include "module/vkt/vkt_enclosure/catalogue.h"

namespace Tulvo::Cli {
namespace {

using Enclosures::Datum;
using Enclosures::Field;
using Enclosures::Finding;
using Enclosures::Health;
using Enclosures::Kind;
using Enclosures::Object;
using Enclosures::ObjectKind;

/// Labels of the one-column blocks share a width, so that their values stand below each other.
constexpr std::size_t kLabelWidth = 16;
constexpr std::string_view kNothing = "-";

/// So many things that could not be read are named where health is told; more are counted.
constexpr std::ptrdiff_t kMostUnreadFindings = 3;

GridCell LabelCell(std::string_view text)
{
    std::string label(text);
    label.resize(std::max(label.size(), kLabelWidth), ' ');
    return {label};
}

std::string Hexadecimal(std::int64_t number)
{
    char digits[16];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number, 16);
    return "0x" + std::string(digits, end);
}

std::string_view WordFor(const Field& field, bool flag)
{
    return field.words[flag == (field.words[0].state != 0) ? 0 : 1].shown;
}

/// How a table shows a value that was not missed.
struct DatumToText
{
    const Field& field;

    std::string operator()(Enclosures::NotAsked) const { return std::string(kNothing); }
    std::string operator()(const Failure*) const { return "not read"; }
    /// A reading is not available; a supply just has no such thing.
    std::string operator()(Enclosures::Absent) const
    {
        const bool reading = field.object != ObjectKind::kPowerSupply && field.kind != Kind::kText;
        return std::string(reading ? "N/A" : kNothing);
    }
    std::string operator()(std::int64_t number) const
    {
        return field.kind == Kind::kIdentifier ? Hexadecimal(number) : std::to_string(number);
    }
    std::string operator()(const std::string& text) const
    {
        return text.empty() ? std::string(kNothing) : Text::PrintableAscii(text);
    }
    std::string operator()(bool flag) const { return std::string(WordFor(field, flag)); }
    std::string operator()(const Enclosures::StateWord* word) const
    {
        return std::string(word->shown);
    }
};

const Failure* FailureIn(const Datum& datum)
{
    const auto* const failure = std::get_if<const Failure*>(&datum);
    return failure == nullptr ? nullptr : *failure;
}

/// Of several values that a finding may be about, the first is the one to look at.
const Field* FieldOf(const Finding& finding, ObjectKind kind)
{
    const auto fields = Enclosures::Fields();
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const Field& field) {
        return field.object == kind &&
               (field.Member() == finding.field || field.Name() == finding.field);
    });
    return found == fields.end() ? nullptr : &*found;
}

bool IsAbout(const Finding& finding, const Object& object)
{
    switch (object.Kind()) {
        case ObjectKind::kPowerSupply:
            return finding.powerSupply == object.powerSupply->number;
        case ObjectKind::kNode:
            return finding.node == object.node->number;
        default:
            return !finding.powerSupply && !finding.node;
    }
}

std::vector<const Field*> FieldsOf(const Enclosures::Block& block)
{
    std::vector<const Field*> fields;
    for (const Field& field : Enclosures::Fields()) {
        const bool inBlock =
            field.section == block.sections || (field.section & block.sections) != 0;
        if (field.object == block.object && inBlock && (field.places & Enclosures::kInTable) != 0) {
            fields.push_back(&field);
        }
    }
    return fields;
}

/// Why nothing of it was read, when that has one reason.
const Failure* CommonFailure(const std::vector<const Object*>& objects,
                             const std::vector<const Field*>& fields)
{
    const Failure* common = nullptr;
    for (const Object* const object : objects) {
        for (const Field* const field : fields) {
            const Failure* const failure = FailureIn(field->get(*object));
            const bool ofTheModule = !field->path.empty();
            if (ofTheModule && (failure == nullptr || (common != nullptr && failure != common))) {
                return nullptr;
            }
            common = ofTheModule ? failure : common;
        }
    }
    return common;
}

bool IsUnread(const Finding& finding)
{
    return finding.severity == Health::kUnknown;
}

GridRow RowOf(const Finding& finding)
{
    return {LabelCell(finding.object),
            {std::string(KeyOf(finding.severity)), MarkOf(finding.severity)},
            {Text::PrintableAscii(finding.message)}};
}

GridCell HeadingCell(const Field& field)
{
    return {std::string(field.label), Mark::kNone, field.kind == Kind::kNumber};
}

bool IsPrinted(const Enclosures::Block& block, const Command& command)
{
    return block.sections == Enclosures::kModuleOnly ? command.moduleInTable
                                                     : (block.sections & command.printed) != 0;
}

}  // namespace

Mark MarkOf(Health severity)
{
    return severity == Health::kWarning ? Mark::kWarning : Mark::kBad;
}

GridRow NotReadRow(std::string_view why)
{
    return {{"not read: " + std::string(why), Mark::kBad}};
}

std::vector<Enclosures::Block> PrintedBlocks(const Command& command)
{
    std::vector<Enclosures::Block> blocks;
    for (const Enclosures::Block& block : Enclosures::Blocks()) {
        if (IsPrinted(block, command)) {
            blocks.push_back(block);
        }
    }
    return blocks;
}

GridRow HeadingOf(const Enclosures::Block& block)
{
    GridRow row;
    if (block.object != ObjectKind::kEnclosure) {
        const bool nodes = block.object == ObjectKind::kNode;
        row.push_back({nodes ? "Node" : "PSU", Mark::kNone, nodes});
    }
    for (const Field* const field : FieldsOf(block)) {
        row.push_back(HeadingCell(*field));
    }
    return row;
}

ReportTable::ReportTable(const Report& report)
    : report_(report), objects_(Enclosures::ObjectsOf(report.enclosure))
{
}

std::vector<GridRow> ReportTable::HealthRows() const
{
    std::vector<GridRow> rows;
    const auto& findings = report_.judgement.findings;
    const auto unread = std::count_if(findings.begin(), findings.end(), IsUnread);
    for (const Finding& finding : findings) {
        if (!IsUnread(finding) || unread <= kMostUnreadFindings) {
            rows.push_back(RowOf(finding));
        }
    }
    if (unread > kMostUnreadFindings) {
        const std::string count = std::to_string(report_.notRead.size());
        rows.push_back({{"not fully known: " + count + " values not read", Mark::kBad}});
    }
    if (report_.judgement.status == Health::kOk) {
        const bool all = (report_.command->read & Enclosures::kHealth) == Enclosures::kHealth &&
                         report_.command->action != Action::kReadNode;
        rows.push_back({{all ? "good" : "good, as far as it was read"}});
    }
    return rows;
}

std::vector<GridRow> ReportTable::SelectionRows() const
{
    if (report_.selected == 0) {
        return {};
    }
    const GridCell outcome = report_.enclosure.error ? GridCell{"not accepted", Mark::kBad}
                                                     : GridCell{"accepted by the module"};
    return {{LabelCell("PSU" + std::to_string(report_.selected)), outcome}};
}

std::vector<GridRow> ReportTable::LabelledRows(const Enclosures::Block& block) const
{
    const std::vector<const Field*> fields = FieldsOf(block);
    if (const Failure* const failure = CommonFailure({&objects_.front()}, fields)) {
        return {NotReadRow(WordsFor(*failure))};
    }
    std::vector<GridRow> rows;
    for (const Field* const field : fields) {
        GridCell cell = CellOf(objects_.front(), *field);
        if (const Failure* const failure = FailureIn(field->get(objects_.front()))) {
            cell = NotReadRow(WordsFor(*failure)).front();
        }
        cell.alignRight = false;
        rows.push_back({LabelCell(field->label), cell});
    }
    return rows;
}

GridRow ReportTable::EnclosureRow(const Enclosures::Block& block) const
{
    GridRow row;
    AppendCells(row, objects_.front(), FieldsOf(block));
    return row;
}

std::vector<GridRow> ReportTable::ObjectRows(const Enclosures::Block& block) const
{
    const std::vector<const Field*> fields = FieldsOf(block);
    const std::vector<const Object*> objects = ObjectsIn(block);
    if (const Failure* const failure = CommonFailure(objects, fields)) {
        return {NotReadRow(WordsFor(*failure))};
    }
    if (objects.empty()) {
        return {report_.HasConversation() ? GridRow{{"none"}}
                                          : NotReadRow("the module did not tell how many it has")};
    }
    std::vector<GridRow> rows;
    for (const Object* const object : objects) {
        GridRow row;
        if (object->powerSupply != nullptr) {
            row.push_back({NameOf(*object, *fields.front())});
        } else if (object->node != nullptr) {
            row.push_back({std::to_string(object->node->number), Mark::kNone, true});
        }
        AppendCells(row, *object, fields);
        rows.push_back(std::move(row));
    }
    return rows;
}

/// An empty slot has nothing but its status.
std::vector<const Object*> ReportTable::ObjectsIn(const Enclosures::Block& block) const
{
    std::vector<const Object*> members;
    for (const Object& object : objects_) {
        const bool* const present =
            object.powerSupply == nullptr ? nullptr : object.powerSupply->present.Get();
        const bool empty = present != nullptr && !*present;
        const bool listed = !empty || (block.sections & Enclosures::kSupplyStatus) != 0;
        if (object.Kind() == block.object && listed) {
            members.push_back(&object);
        }
    }
    return members;
}

/// Values that one answer tells are missed together: the first says so for all.
void ReportTable::AppendCells(GridRow& row, const Object& object,
                              const std::vector<const Field*>& fields) const
{
    const Failure* before = nullptr;
    for (const Field* const field : fields) {
        GridCell cell = CellOf(object, *field);
        const Failure* const failure = FailureIn(field->get(object));
        if (failure != nullptr && failure == before) {
            cell = {std::string(kNothing), Mark::kNone, cell.alignRight};
        }
        before = failure;
        row.push_back(std::move(cell));
    }
}

GridCell ReportTable::CellOf(const Object& object, const Field& field) const
{
    const Datum datum = field.get(object);
    const Mark mark = FailureIn(datum) != nullptr ? Mark::kBad : MarkFor(object, field);
    return {std::visit(DatumToText{field}, datum), mark, field.kind == Kind::kNumber};
}

Mark ReportTable::MarkFor(const Object& object, const Field& field) const
{
    Mark mark = Mark::kNone;
    for (const Finding& finding : report_.judgement.findings) {
        if (IsAbout(finding, object) && FieldOf(finding, object.Kind()) == &field) {
            mark = std::max(mark, MarkOf(finding.severity));
        }
    }
    return mark;
}

}  // namespace Tulvo::Cli
