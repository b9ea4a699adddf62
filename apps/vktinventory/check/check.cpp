// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/check/check.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <variant>

#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

using namespace Enclosures;

/// So many findings stand on the first line; all of them below it.
constexpr std::size_t kMostOnFirstLine = 5;

struct State
{
    Health health;
    int code;
    std::string_view name;
};

constexpr State kStates[] = {
    {Health::kOk, 0, "OK"},
    {Health::kWarning, 1, "WARNING"},
    {Health::kCritical, 2, "CRITICAL"},
    {Health::kUnknown, 3, "UNKNOWN"},
};

const State& StateOf(Health health)
{
    const auto* const found =
        std::find_if(std::begin(kStates), std::end(kStates),
                     [health](const State& state) { return state.health == health; });
    return found == std::end(kStates) ? kStates[std::size(kStates) - 1] : *found;
}

/// A bar would begin the numbers, a line feed the next part.
std::string OnOneLine(std::string_view text)
{
    std::string line = Text::PrintableAscii(text);
    std::replace(line.begin(), line.end(), '|', '/');
    return line;
}

std::string FirstLine(Health state, std::string_view text)
{
    return "VKT " + std::string(StateOf(state).name) + " - " + OnOneLine(text);
}

/// "power_average"; of a supply or a node with its number: "psu3_fan_speed_a".
std::string LabelOf(const Object& object, const Field& field)
{
    std::string label(field.key);
    const std::size_t kind = label.find('_');
    if (object.powerSupply != nullptr) {
        label.insert(kind, std::to_string(object.powerSupply->number));
    } else if (object.node != nullptr) {
        label.insert(kind, std::to_string(object.node->number));
    }
    return label;
}

const std::int64_t* NumberIn(const Datum& datum)
{
    return std::get_if<std::int64_t>(&datum);
}

/// What an empty slot lacks is lacked by nobody.
bool IsEmptySlot(const Object& object)
{
    const bool* const present =
        object.powerSupply == nullptr ? nullptr : object.powerSupply->present.Get();
    return present != nullptr && !*present;
}

class Assessment
{
public:
    Assessment(const CheckPlan& plan, const Enclosures::Enclosure& enclosure)
        : plan_(plan), enclosure_(enclosure), objects_(ObjectsOf(enclosure))
    {
    }

    CheckResult Result()
    {
        CollectFindings();
        const Health state = findings_.empty() ? Health::kOk : findings_.front().severity;
        CheckResult result{state, FirstLine(state, Summary())};
        const std::string numbers = Numbers();
        result.text += (numbers.empty() ? "" : " |" + numbers) + "\n";
        for (const Finding& finding : findings_) {
            result.text += OnOneLine(std::string(KeyOf(finding.severity)) + ": " + finding.object +
                                     " " + finding.message) +
                           "\n";
        }
        return result;
    }

private:
    bool IsIgnored(std::string_view object) const
    {
        return std::find(plan_.ignored.begin(), plan_.ignored.end(), PlainName(object)) !=
               plan_.ignored.end();
    }

    void CollectFindings()
    {
        findings_ = Judge(enclosure_, plan_.expected).findings;
        for (const Threshold& threshold : plan_.thresholds) {
            Compare(threshold);
        }
        std::erase_if(findings_,
                      [this](const Finding& finding) { return IsIgnored(finding.object); });
        std::stable_sort(
            findings_.begin(), findings_.end(),
            [](const Finding& one, const Finding& next) { return one.severity > next.severity; });
    }

    static Finding About(const Object& object, const Field& field, Health severity,
                         std::string message)
    {
        Finding finding;
        finding.severity = severity;
        finding.object = NameOf(object, field);
        finding.field = field.Name();
        finding.message = std::move(message);
        return finding;
    }

    /// A threshold that nothing can reach must not look like one that nothing has reached.
    void Compare(const Threshold& threshold)
    {
        const Field& field = *threshold.metric;
        const std::string key(field.key);
        bool told = false;
        for (const Object& object : objects_) {
            if (object.Kind() != field.object) {
                continue;
            }
            const Datum datum = field.get(object);
            const std::int64_t* const number = NumberIn(datum);
            // What was not read is a finding already.
            told = told || number != nullptr || std::holds_alternative<const Failure*>(datum);
            if (number != nullptr && threshold.range.Alerts(static_cast<double>(*number))) {
                findings_.push_back(About(
                    object, field, threshold.severity,
                    "has a " + key + " of " + std::to_string(*number) +
                        (threshold.range.inverted ? ", within " : ", outside ") + threshold.text));
            }
        }
        if (!told) {
            findings_.push_back({Health::kUnknown,
                                 "Module",
                                 {},
                                 {},
                                 std::string(field.Name()),
                                 "tells no " + key + ", for which there is a threshold"});
        }
    }

    std::string Summary() const
    {
        std::string text;
        const std::size_t shown = std::min(findings_.size(), kMostOnFirstLine);
        for (std::size_t index = 0; index < shown; ++index) {
            text +=
                (index == 0 ? "" : "; ") + findings_[index].object + " " + findings_[index].message;
        }
        if (shown < findings_.size()) {
            text += "; and " + std::to_string(findings_.size() - shown) + " more";
        }
        return findings_.empty() ? WhatIsThere() : text;
    }

    std::string WhatIsThere() const
    {
        const auto& supplies = enclosure_.powerSupplies;
        const auto there =
            std::count_if(supplies.begin(), supplies.end(), [](const PowerSupply& supply) {
                return supply.present.HasValue() && *supply.present.Get();
            });
        return std::to_string(there) + " power supplies, " +
               std::to_string(enclosure_.nodes.size()) + " nodes";
    }

    /// The values for graphs: those that health asks for, and those with a threshold.
    std::string Numbers() const
    {
        std::string numbers;
        for (const Field& field : Fields()) {
            const bool shown = field.kind == Kind::kNumber && !field.key.empty() &&
                               (field.metric == MetricForm::kGauge || HasThreshold(field));
            for (const Object& object : objects_) {
                if (shown && object.Kind() == field.object) {
                    numbers += NumberOf(object, field);
                }
            }
        }
        return numbers;
    }

    std::string NumberOf(const Object& object, const Field& field) const
    {
        const Datum datum = field.get(object);
        if (std::holds_alternative<NotAsked>(datum) || IsEmptySlot(object)) {
            return "";
        }
        const std::int64_t* const number = NumberIn(datum);
        return " " + LabelOf(object, field) + "=" +
               (number == nullptr ? "U" : std::to_string(*number)) + ";" +
               RangeOf(field, Health::kWarning) + ";" + RangeOf(field, Health::kCritical) + ";;";
    }

    bool HasThreshold(const Field& field) const
    {
        return std::any_of(
            plan_.thresholds.begin(), plan_.thresholds.end(),
            [&field](const Threshold& threshold) { return threshold.metric == &field; });
    }

    std::string RangeOf(const Field& field, Health severity) const
    {
        for (const Threshold& threshold : plan_.thresholds) {
            if (threshold.metric == &field && threshold.severity == severity) {
                return threshold.text;
            }
        }
        return "";
    }

    const CheckPlan& plan_;
    const Enclosures::Enclosure& enclosure_;
    const std::vector<Object> objects_;
    std::vector<Finding> findings_;
};

/// Whether it says something about the enclosure that there was no conversation, rather than about
/// the account or this host.
bool IsNoConnection(Cause cause)
{
    switch (cause) {
        case Cause::kRefused:
        case Cause::kNotTrusted:
        case Cause::kCompletionCode:
        case Cause::kCancelled:
        case Cause::kLocal:
            return false;
        default:
            return true;
    }
}

CheckResult NoConversation(const CheckPlan& plan, const Failure& failure)
{
    const Health state = IsNoConnection(failure.cause) ? plan.unreachable : Health::kUnknown;
    const std::string advice = failure.advice.empty() ? "" : "; " + failure.advice;
    return {state, FirstLine(state, failure.message + advice) + "\n"};
}

}  // namespace

CheckResult Check(const CheckPlan& plan, const Enclosures::Enclosure& enclosure)
{
    if (enclosure.error && !enclosure.module.powerSupplyCount.HasValue()) {
        return NoConversation(plan, *enclosure.error);
    }
    return Assessment(plan, enclosure).Result();
}

CheckResult NoCheck(std::string_view why)
{
    return {Health::kUnknown, FirstLine(Health::kUnknown, why) + "\n"};
}

int CheckCode(Health state)
{
    return StateOf(state).code;
}

}  // namespace Tulvo::Cli
