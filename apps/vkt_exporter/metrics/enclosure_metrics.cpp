// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/metrics/enclosure_metrics.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <variant>

#include "apps/vkt_exporter/metrics/causes.h"
#include "module/vkt/vkt_enclosure/catalogue.h"

namespace Tulvo::Exporter {
namespace {

using namespace Enclosures;

// What belongs to a read, not to a value that the module gives.

const MetricFamily kUp{"vkt_up", "Whether the module could be asked."};
const MetricFamily kDuration{"vkt_scrape_duration_seconds",
                             "Time that the scrape took, waiting included, in seconds."};
const MetricFamily kComplete{"vkt_complete",
                             "Whether everything was read that the scrape asked for."};
const MetricFamily kNotRead{
    "vkt_not_read", "What was asked and not read, by cause.", MetricType::kGauge, {"cause"}};
const MetricFamily kHealth{"vkt_health",
                           "Judgement of the enclosure: 1 for its status, 0 for the others.",
                           MetricType::kGauge,
                           {"status"}};
const MetricFamily kFinding{"vkt_finding",
                            "Something that needs attention, or hides what does; always 1. Without "
                            "supply and node it is the enclosure's.",
                            MetricType::kGauge,
                            {"severity", "psu", "node", "field"}};
const MetricFamily kSuppliesExpected{"vkt_psus_expected",
                                     "Power supplies that the fleet file says the enclosure has."};
const MetricFamily kNodesExpected{"vkt_nodes_expected",
                                  "Nodes that the fleet file says the enclosure has."};

void AddNotRead(Exposition& exposition, const Enclosure& enclosure)
{
    std::map<std::string_view, std::size_t> counts;
    for (const Missing& missing : NotRead(enclosure)) {
        ++counts[KeyOf(missing.failure.cause)];
    }
    if (enclosure.error) {
        std::size_t& count = counts[KeyOf(enclosure.error->cause)];
        count = std::max<std::size_t>(count, 1);
    }
    for (const std::string& cause : CauseWords()) {
        exposition.Add(kNotRead, {cause}, static_cast<double>(counts[cause]));
    }
}

std::string TextOf(const std::optional<std::uint8_t>& number)
{
    return number ? std::to_string(*number) : "";
}

void AddJudgement(Exposition& exposition, const Judgement& judgement)
{
    for (const Health health :
         {Health::kOk, Health::kWarning, Health::kUnknown, Health::kCritical}) {
        exposition.Add(kHealth, {std::string(KeyOf(health))}, judgement.status == health ? 1 : 0);
    }
    for (const Finding& finding : judgement.findings) {
        exposition.Add(kFinding,
                       {std::string(KeyOf(finding.severity)), TextOf(finding.powerSupply),
                        TextOf(finding.node), finding.field},
                       1);
    }
}

void AddExpected(Exposition& exposition, const MetricFamily& family,
                 const std::optional<std::uint8_t>& expected)
{
    if (expected) {
        exposition.Add(family, *expected);
    }
}

// What the module gives, by the catalogue.

/// Fields of one kind of object that share a name.
struct CatalogueFamily
{
    MetricFamily family;
    ObjectKind object;
    MetricForm form;
    std::vector<const Field*> fields = {};
};

/// The label that tells supplies or nodes apart.
std::string NumberLabel(ObjectKind object)
{
    switch (object) {
        case ObjectKind::kPowerSupply:
            return "psu";
        case ObjectKind::kNode:
            return "node";
        default:
            return "";
    }
}

std::string InfoName(ObjectKind object)
{
    const std::string label = NumberLabel(object);
    return label.empty() ? "info" : label + "_info";
}

/// The field's key, less what its family's name says already.
std::string InfoLabel(const Field& field)
{
    const std::string label = NumberLabel(field.object);
    return std::string(field.key.substr(label.empty() ? 0 : label.size() + 1));
}

std::string HelpOf(const Field& field)
{
    switch (field.metric) {
        case MetricForm::kInfo:
            return field.object == ObjectKind::kEnclosure ? "What the enclosure is; always 1."
                   : field.object == ObjectKind::kNode    ? "What the node is; always 1."
                                                          : "What the supply is; always 1.";
        case MetricForm::kStates:
            return std::string(field.help) + " 1 for the one it is in, 0 for the others.";
        default:
            return std::string(field.help);
    }
}

CatalogueFamily FamilyOf(const Field& field)
{
    const bool info = field.metric == MetricForm::kInfo;
    std::string name = "vkt_";
    name += info ? InfoName(field.object) : std::string(field.MetricName());
    CatalogueFamily made{{name, HelpOf(field)}, field.object, field.metric};
    std::vector<std::string>& labels = made.family.labels;
    if (field.object != ObjectKind::kEnclosure) {
        labels.push_back(NumberLabel(field.object));
    }
    if (field.metric == MetricForm::kStates) {
        labels.emplace_back("state");
    } else if (field.Fan() != '\0') {
        labels.emplace_back("fan");
    }
    return made;
}

std::vector<CatalogueFamily> MakeFamilies()
{
    std::vector<CatalogueFamily> families;
    for (const Field& field : Fields()) {
        if (field.metric == MetricForm::kNone) {
            continue;
        }
        const CatalogueFamily made = FamilyOf(field);
        auto family = std::find_if(families.begin(), families.end(), [&](const auto& known) {
            return known.family.name == made.family.name;
        });
        if (family == families.end()) {
            family = families.insert(families.end(), made);
        }
        family->fields.push_back(&field);
        if (field.metric == MetricForm::kInfo) {
            family->family.labels.push_back(InfoLabel(field));
        }
    }
    return families;
}

const std::vector<CatalogueFamily>& CatalogueFamilies()
{
    static const std::vector<CatalogueFamily> families = MakeFamilies();
    return families;
}

std::vector<std::string> NumberOf(const Object& object)
{
    if (object.powerSupply != nullptr) {
        return {std::to_string(object.powerSupply->number)};
    }
    if (object.node != nullptr) {
        return {std::to_string(object.node->number)};
    }
    return {};
}

void AddGauge(Exposition& exposition, const MetricFamily& family, const Field& field,
              const Object& object)
{
    std::vector<std::string> labels = NumberOf(object);
    if (field.Fan() != '\0') {
        labels.emplace_back(1, field.Fan());
    }
    const Datum datum = field.get(object);
    if (const auto* const number = std::get_if<std::int64_t>(&datum)) {
        exposition.Add(family, labels, static_cast<double>(*number));
    } else if (const auto* const flag = std::get_if<bool>(&datum)) {
        exposition.Add(family, labels, *flag ? 1 : 0);
    }
}

void AddStates(Exposition& exposition, const MetricFamily& family, const Field& field,
               const Object& object)
{
    const Datum datum = field.get(object);
    const auto* const state = std::get_if<const StateWord*>(&datum);
    if (state == nullptr) {
        return;
    }
    for (const StateWord& word : field.words) {
        std::vector<std::string> labels = NumberOf(object);
        labels.emplace_back(word.key);
        exposition.Add(family, labels, word.key == (*state)->key ? 1 : 0);
    }
}

struct LabelText
{
    std::string operator()(NotAsked) const { return ""; }
    std::string operator()(Absent) const { return ""; }
    std::string operator()(const Failure*) const { return ""; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(bool flag) const { return flag ? "true" : "false"; }
    std::string operator()(const StateWord* word) const { return std::string(word->key); }
};

/// A series whose labels came and went with single values would be several things to whoever joins
/// with it: it is given whole or not at all. What is absent is an empty label.
void AddInfo(Exposition& exposition, const CatalogueFamily& family, const Object& object)
{
    std::vector<std::string> labels = NumberOf(object);
    bool any = false;
    for (const Field* const field : family.fields) {
        const Datum datum = field->get(object);
        if (std::holds_alternative<NotAsked>(datum) ||
            std::holds_alternative<const Failure*>(datum)) {
            return;
        }
        any = any || !std::holds_alternative<Absent>(datum);
        labels.push_back(std::visit(LabelText(), datum));
    }
    if (any) {
        exposition.Add(family.family, labels, 1);
    }
}

void AddValues(Exposition& exposition, const CatalogueFamily& family, const Object& object)
{
    if (family.form == MetricForm::kInfo) {
        AddInfo(exposition, family, object);
        return;
    }
    for (const Field* const field : family.fields) {
        if (family.form == MetricForm::kStates) {
            AddStates(exposition, family.family, *field, object);
        } else {
            AddGauge(exposition, family.family, *field, object);
        }
    }
}

std::string SourceOf(const CatalogueFamily& family)
{
    std::string source;
    for (const Field* const field : family.fields) {
        if (field->object == ObjectKind::kPowerSupply) {
            source += "powerSupplies.";
        } else if (field->object == ObjectKind::kNode) {
            source += "nodes.";
        }
        source.append(field->path).append(field == family.fields.back() ? "" : ", ");
    }
    return source;
}

std::string UnitOf(const CatalogueFamily& family)
{
    if (family.form == MetricForm::kInfo) {
        return "always 1";
    }
    return family.fields.front()->kind == Kind::kNumber ? "the module's, not named" : "0 or 1";
}

}  // namespace

std::string EnclosureMetrics(const Enclosure& enclosure, const Expectations& expected,
                             std::chrono::duration<double> took)
{
    Exposition exposition;
    const bool up = !enclosure.error || enclosure.module.powerSupplyCount.HasValue();
    exposition.Add(kUp, up ? 1 : 0);
    exposition.Add(kDuration, took.count());
    exposition.Add(kComplete, !enclosure.error && NotRead(enclosure).empty() ? 1 : 0);
    AddNotRead(exposition, enclosure);
    AddJudgement(exposition, Judge(enclosure, expected));
    AddExpected(exposition, kSuppliesExpected, expected.powerSupplies);
    AddExpected(exposition, kNodesExpected, expected.nodes);
    const std::vector<Object> objects = ObjectsOf(enclosure);
    for (const CatalogueFamily& family : CatalogueFamilies()) {
        for (const Object& object : objects) {
            if (object.Kind() == family.object) {
                AddValues(exposition, family, object);
            }
        }
    }
    return exposition.Text();
}

std::vector<EnclosureFamily> EnclosureFamilies()
{
    std::vector<EnclosureFamily> families{
        {kUp, "0 or 1", "error"},
        {kDuration, "seconds", "the exporter's clock"},
        {kComplete, "0 or 1", "complete"},
        {kNotRead, "entries of notRead", "notRead.cause, error.cause"},
        {kHealth, "0 or 1", "health.status"},
        {kFinding, "always 1", "health.findings"},
        {kSuppliesExpected, "supplies", "the fleet file's expect-psus"},
        {kNodesExpected, "nodes", "the fleet file's expect-nodes"},
    };
    for (const CatalogueFamily& family : CatalogueFamilies()) {
        families.push_back({family.family, UnitOf(family), SourceOf(family)});
    }
    return families;
}

}  // namespace Tulvo::Exporter
