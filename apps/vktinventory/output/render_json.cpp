// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/render_json.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <variant>

#include "apps/vktinventory/output/time_text.h"
#include "common/text/utf8.h"
#include "module/vkt/vkt_enclosure/catalogue.h"

namespace Tulvo::Cli {
namespace {

using Enclosures::Field;
using Enclosures::Object;
using Enclosures::ObjectKind;
using Enclosures::Sections;
using Json = nlohmann::ordered_json;
using Text::BytesAsUtf8;

constexpr int kSchemaVersion = 2;

struct DatumToJson
{
    Json operator()(Enclosures::NotAsked) const { return nullptr; }
    Json operator()(Enclosures::Absent) const { return nullptr; }
    Json operator()(const Failure*) const { return nullptr; }
    Json operator()(std::int64_t number) const { return number; }
    Json operator()(const std::string& text) const { return BytesAsUtf8(text); }
    Json operator()(bool flag) const { return flag; }
    Json operator()(const Enclosures::StateWord* word) const { return word->key; }
};

/// The member that a path such as "fans.a.speed" leads to; what lacks on the way is made.
Json& At(Json& object, std::string_view path)
{
    Json* member = &object;
    for (;;) {
        const std::size_t end = path.find('.');
        member = &(*member)[std::string(path.substr(0, end))];
        if (end == path.npos) {
            return *member;
        }
        path.remove_prefix(end + 1);
    }
}

/// Adds all members that an object has in the sections; without values where nothing was read.
void AddFields(Json& json, const Object& object, Sections sections)
{
    for (const Field& field : Enclosures::Fields()) {
        const bool wanted =
            field.section == Enclosures::kModuleOnly || (field.section & sections) != 0;
        if (field.object == object.Kind() && (field.places & Enclosures::kInJson) != 0 && wanted) {
            At(json, field.path) = std::visit(DatumToJson(), field.get(object));
        }
    }
}

Json ListOf(const Report& report, ObjectKind kind)
{
    Json list = Json::array();
    for (const Object& object : Enclosures::ObjectsOf(report.enclosure)) {
        if (object.Kind() == kind) {
            AddFields(list.emplace_back(Json::object()), object, report.command->printed);
        }
    }
    return list;
}

Json NumberOrNull(const std::optional<std::uint8_t>& number)
{
    return number ? Json(*number) : Json(nullptr);
}

Json JsonOf(const Enclosures::Finding& finding)
{
    return {{"severity", KeyOf(finding.severity)},
            {"object", finding.object},
            {"powerSupply", NumberOrNull(finding.powerSupply)},
            {"node", NumberOrNull(finding.node)},
            {"field", finding.field},
            {"message", BytesAsUtf8(finding.message)}};
}

Json JsonOf(const Enclosures::Judgement& judgement)
{
    Json findings = Json::array();
    for (const Enclosures::Finding& finding : judgement.findings) {
        findings.push_back(JsonOf(finding));
    }
    return {{"status", KeyOf(judgement.status)}, {"findings", findings}};
}

Json JsonOf(const std::vector<Enclosures::Missing>& all)
{
    Json list = Json::array();
    for (const Enclosures::Missing& missing : all) {
        list.push_back({{"object", missing.object},
                        {"powerSupply", NumberOrNull(missing.powerSupply)},
                        {"node", NumberOrNull(missing.node)},
                        {"field", missing.field},
                        {"cause", Enclosures::KeyOf(missing.failure.cause)},
                        {"message", BytesAsUtf8(missing.failure.message)}});
    }
    return list;
}

Json JsonOf(const std::optional<Failure>& error)
{
    if (!error) {
        return nullptr;
    }
    return {{"cause", Enclosures::KeyOf(error->cause)}, {"message", BytesAsUtf8(error->message)}};
}

Json DocumentOf(const Report& report)
{
    Json document = {{"schemaVersion", kSchemaVersion},
                     {"time", TimeText(report.enclosure.time)},
                     {"host", BytesAsUtf8(report.host)},
                     {"group", report.group ? Json(*report.group) : Json(nullptr)},
                     {"labels", Json(report.labels)},
                     {"module", Json::object()},
                     {"complete", report.IsComplete()},
                     {"error", JsonOf(report.enclosure.error)},
                     {"health", JsonOf(report.judgement)},
                     {"notRead", JsonOf(report.notRead)}};
    AddFields(document, {report.enclosure}, report.command->printed);
    if ((report.command->printed & Enclosures::kSupplies) != 0) {
        document["powerSupplies"] = ListOf(report, ObjectKind::kPowerSupply);
    }
    if ((report.command->printed & Enclosures::kNodes) != 0) {
        document["nodes"] = ListOf(report, ObjectKind::kNode);
    }
    if (report.selected != 0) {
        document["selection"] = {{"powerSupply", report.selected},
                                 {"accepted", !report.enclosure.error.has_value()}};
    }
    return document;
}

constexpr int kOneLine = -1;

/// In ASCII, and well-formed whatever a fleet file has in its names.
std::string Text(const Json& document, int indent)
{
    return document.dump(indent, ' ', true, Json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string RenderJson(const Report& report)
{
    constexpr int indent = 2;
    return Text(DocumentOf(report), indent);
}

std::string RenderJsonLine(const Report& report)
{
    return Text(DocumentOf(report), kOneLine);
}

}  // namespace Tulvo::Cli
