// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cctype>
#include <iterator>

#include "apps/vktinventory/check/check.h"
#include "apps/vktinventory/input/suggestion.h"

namespace Tulvo::Cli {
namespace {

using Enclosures::Field;
using Enclosures::Health;

bool IsMetric(const Field& field)
{
    return field.kind == Enclosures::Kind::kNumber && !field.key.empty();
}

const Field& MetricNamed(const std::string& key)
{
    const auto fields = Enclosures::Fields();
    const auto found = std::find_if(fields.begin(), fields.end(), [&key](const Field& field) {
        return IsMetric(field) && field.key == key;
    });
    if (found != fields.end()) {
        return *found;
    }
    std::vector<std::string_view> known;
    for (const Field& field : fields) {
        if (IsMetric(field)) {
            known.push_back(field.key);
        }
    }
    throw BadCheck("there is no number \"" + key + "\"" + Suggestion(key, known));
}

Threshold ThresholdOf(const std::string& typed, Health severity)
{
    const std::size_t equals = typed.find('=');
    if (equals == typed.npos) {
        throw BadCheck("\"" + typed + "\" is no METRIC=RANGE, such as power_average=2000");
    }
    const std::string text = typed.substr(equals + 1);
    const auto range = ParseRange(text);
    if (!range) {
        throw BadCheck("\"" + text + "\" is no range: 10, 10:, ~:10, 10:20 or @10:20");
    }
    return {&MetricNamed(typed.substr(0, equals)), severity, *range, text};
}

void AddThresholds(std::vector<Threshold>& thresholds, const std::vector<std::string>& typed,
                   Health severity)
{
    for (const std::string& text : typed) {
        Threshold added = ThresholdOf(text, severity);
        const bool twice =
            std::any_of(thresholds.begin(), thresholds.end(), [&added](const Threshold& known) {
                return known.metric == added.metric && known.severity == added.severity;
            });
        if (twice) {
            throw BadCheck("two ranges for " + std::string(added.metric->key) + "; give one");
        }
        thresholds.push_back(std::move(added));
    }
}

bool IsNumbered(std::string_view plain, std::string_view kind)
{
    return plain.starts_with(kind) && plain.size() > kind.size() &&
           plain.find_first_not_of("0123456789", kind.size()) == plain.npos;
}

std::string ObjectNamed(const std::string& typed)
{
    std::string plain = PlainName(typed);
    if (plain != "chassis" && plain != "module" && !IsNumbered(plain, "psu") &&
        !IsNumbered(plain, "node")) {
        throw BadCheck("--ignore takes PSU5, \"Node 4\", Chassis or Module, not \"" + typed + "\"");
    }
    return plain;
}

std::optional<std::uint8_t> Expected(std::uint8_t count)
{
    return count == 0 ? std::nullopt : std::optional(count);
}

}  // namespace

std::string PlainName(std::string_view object)
{
    std::string plain;
    for (const char letter : object) {
        if (letter != ' ') {
            plain += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        }
    }
    return plain;
}

CheckPlan PlanOf(const CheckOptions& options)
{
    CheckPlan plan;
    AddThresholds(plan.thresholds, options.warning, Health::kWarning);
    AddThresholds(plan.thresholds, options.critical, Health::kCritical);
    std::transform(options.ignored.begin(), options.ignored.end(), std::back_inserter(plan.ignored),
                   ObjectNamed);
    plan.expected = {Expected(options.expectedSupplies), Expected(options.expectedNodes)};
    plan.unreachable = options.unreachable;
    return plan;
}

Enclosures::Sections CheckPlan::Sections() const
{
    Enclosures::Sections sections = Enclosures::kHealth;
    for (const Threshold& threshold : thresholds) {
        sections |= threshold.metric->section;
    }
    return sections;
}

}  // namespace Tulvo::Cli
