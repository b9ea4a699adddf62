// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/health.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "common/text/words.h"

namespace Tulvo::Enclosures {
namespace {

bool HasFans(const SupplyFans& fans)
{
    return fans.state != FanState::kNotPresent;
}

bool LacksFans(const Enclosure&, const PowerSupply& supply)
{
    const SupplyFans* const fans = supply.fans.Get();
    return supply.present.Is(true) &&
           (supply.fans.IsAbsent() || (fans != nullptr && !HasFans(*fans)));
}

template <FanState state>
bool FansAre(const Enclosure&, const PowerSupply& supply)
{
    return supply.fans.Map(&SupplyFans::state).Is(state);
}

bool LacksSpeed(const PowerSupply& supply, Fan SupplyFans::*fan)
{
    const SupplyFans* const fans = supply.fans.Get();
    return fans != nullptr && HasFans(*fans) && (fans->*fan).speed.IsAbsent();
}

bool LacksSpeedA(const Enclosure&, const PowerSupply& supply)
{
    return LacksSpeed(supply, &SupplyFans::a);
}

/// A first generation has one fan a supply.
bool LacksSpeedB(const Enclosure& enclosure, const PowerSupply& supply)
{
    return enclosure.module.generation.Is(Generation::kVkt2) && LacksSpeed(supply, &SupplyFans::b);
}

template <Reading<bool> PowerSupply::*flag, bool value>
bool FlagIs(const Enclosure&, const PowerSupply& supply)
{
    return (supply.*flag).Is(value);
}

bool LacksVersion(const Enclosure&, const PowerSupply& supply)
{
    return supply.present.Is(true) && supply.version.IsAbsent();
}

/// What is wrong with a supply or a node. The field is the catalogue's.
template <class Thing>
struct Rule
{
    bool (*holds)(const Enclosure&, const Thing&);
    Health severity;
    std::string_view field;
    std::string_view message;
};

constexpr std::array<Rule<PowerSupply>, 9> kSupplyRules{{
    {FlagIs<&PowerSupply::powerGood, false>, Health::kCritical, "powerGood", "has no good power"},
    {FlagIs<&PowerSupply::powerOffWarning, true>, Health::kCritical, "powerOffWarning",
     "warns that its power goes off"},
    {FlagIs<&PowerSupply::throttling, true>, Health::kWarning, "throttling", "throttles"},
    {FansAre<FanState::kAbnormal>, Health::kCritical, "fans", "has abnormal fans"},
    {FansAre<FanState::kUnknown>, Health::kWarning, "fans", "has fans in an unknown state"},
    {LacksFans, Health::kWarning, "fans", "is present without fans"},
    {LacksSpeedA, Health::kWarning, "fans", "has a fan A without a speed"},
    {LacksSpeedB, Health::kWarning, "fans", "has a fan B without a speed"},
    {LacksVersion, Health::kWarning, "version", "is present without a version"},
}};

constexpr Rule<PowerSupply> kEmptyBay{FlagIs<&PowerSupply::present, false>, Health::kWarning,
                                      "present", "is not present"};

template <PowerState state>
bool PowerIs(const Enclosure&, const Node& node)
{
    return node.state.Map(&NodeState::powerState).Is(state);
}

constexpr std::array<Rule<Node>, 3> kNodeRules{{
    {PowerIs<PowerState::kFault>, Health::kCritical, "powerState", "has a power fault"},
    {PowerIs<PowerState::kUnknown>, Health::kWarning, "powerState", "is in an unknown power state"},
    {PowerIs<PowerState::kNoPermission>, Health::kWarning, "powerState",
     "is in the power state No Permission"},
}};

struct Cap
{
    Reading<std::uint16_t> PowerCaps::*cap;
    std::string_view name;
};

constexpr std::array<Cap, 3> kCapsThatAreSet{{
    {&PowerCaps::protective, "protective"},
    {&PowerCaps::user, "user"},
    {&PowerCaps::thermal, "thermal"},
}};

Finding About(const PowerSupply& supply, const Rule<PowerSupply>& rule)
{
    return {rule.severity,           "PSU" + std::to_string(supply.number),
            supply.number,           std::nullopt,
            std::string(rule.field), std::string(rule.message)};
}

Finding About(const Node& node, const Rule<Node>& rule)
{
    return {rule.severity,
            "Node " + std::to_string(node.number),
            std::nullopt,
            node.number,
            std::string(rule.field),
            std::string(rule.message)};
}

Finding AboutChassis(Health severity, std::string_view field, std::string message)
{
    return {severity,     "Chassis",          std::nullopt,
            std::nullopt, std::string(field), std::move(message)};
}

/// What of an object has one and the same failure: a value by its name, several by their number.
std::string WhichOf(std::string_view field, std::ptrdiff_t count)
{
    return count == 1 ? Text::InWords(field) : std::to_string(count) + " values";
}

class Assessment
{
public:
    Assessment(const Enclosure& enclosure, const Expectations& expectations)
        : enclosure_(enclosure), expectations_(expectations)
    {
    }

    std::vector<Finding> Findings()
    {
        WhatIsMissing();
        NoSuchNode();
        PowerAboveCaps();
        ExpectedSupplies();
        ExpectedNodes();
        for (const PowerSupply& supply : enclosure_.powerSupplies) {
            Apply(kSupplyRules, supply);
            if (!expectations_.powerSupplies) {
                Apply(std::array{kEmptyBay}, supply);
            }
        }
        for (const Node& node : enclosure_.nodes) {
            Apply(kNodeRules, node);
        }
        return std::move(findings_);
    }

private:
    template <class Thing, std::size_t size>
    void Apply(const std::array<Rule<Thing>, size>& rules, const Thing& thing)
    {
        for (const Rule<Thing>& rule : rules) {
            if (rule.holds(enclosure_, thing)) {
                findings_.push_back(About(thing, rule));
            }
        }
    }

    /// Values of one object with the same failure are one finding.
    void WhatIsMissing()
    {
        const std::vector<Missing> all = NotRead(enclosure_);
        for (auto first = all.begin(), next = first; first != all.end(); first = next) {
            next = std::find_if(first, all.end(), [&first](const Missing& missing) {
                return missing.object != first->object || missing.failure != first->failure;
            });
            findings_.push_back({Health::kUnknown, first->object, first->powerSupply, first->node,
                                 first->field,
                                 WhichOf(first->field, next - first) +
                                     " could not be read: " + first->failure.message});
        }
    }

    /// Of a read of one node that the enclosure does not have nothing is missing, and nothing
    /// known.
    void NoSuchNode()
    {
        const std::uint8_t* const count = enclosure_.module.nodeCount.Get();
        if ((enclosure_.asked & kNodes) != 0 && count != nullptr && enclosure_.nodes.empty()) {
            findings_.push_back(AboutChassis(Health::kUnknown, "powerState",
                                             "has no node of the number that was asked for, but " +
                                                 std::to_string(*count) + " nodes"));
        }
    }

    void PowerAboveCaps()
    {
        const Consumption* const consumption = enclosure_.consumption.Get();
        const PowerCaps* const caps = enclosure_.caps.Get();
        if (consumption == nullptr || caps == nullptr || !consumption->average.HasValue()) {
            return;
        }
        const std::uint16_t average = *consumption->average.Get();
        for (const Cap& row : kCapsThatAreSet) {
            const std::uint16_t* const cap = (caps->*row.cap).Get();
            if (cap != nullptr && average > *cap) {
                findings_.push_back(
                    AboutChassis(Health::kWarning, "average",
                                 "consumes " + std::to_string(average) + " on average, above its " +
                                     std::string(row.name) + " cap of " + std::to_string(*cap)));
            }
        }
    }

    /// @param there   so many there are for certain.
    /// @param perhaps so many are not known.
    void Expect(std::uint8_t expected, std::ptrdiff_t there, std::ptrdiff_t perhaps,
                std::string_view field, std::string_view things)
    {
        const bool tooFew = there + perhaps < expected;
        if (tooFew || there > expected) {
            findings_.push_back(AboutChassis(tooFew ? Health::kCritical : Health::kWarning, field,
                                             "has " + std::to_string(there) + " " +
                                                 std::string(things) + " where " +
                                                 std::to_string(expected) + " are expected"));
        }
    }

    void ExpectedSupplies()
    {
        const auto& supplies = enclosure_.powerSupplies;
        if (!expectations_.powerSupplies || (enclosure_.asked & kSupplyStatus) == 0 ||
            !enclosure_.module.powerSupplyCount.HasValue()) {
            return;
        }
        Expect(*expectations_.powerSupplies,
               std::count_if(supplies.begin(), supplies.end(),
                             [](const PowerSupply& supply) { return supply.present.Is(true); }),
               std::count_if(supplies.begin(), supplies.end(),
                             [](const PowerSupply& supply) { return !supply.present.HasValue(); }),
               "present", "power supplies");
    }

    /// A bay without width and height holds no node.
    void ExpectedNodes()
    {
        const auto& nodes = enclosure_.nodes;
        if (!expectations_.nodes || (enclosure_.asked & kNodeStates) == 0 ||
            !enclosure_.module.nodeCount.HasValue()) {
            return;
        }
        const auto isThere = [](const Node& node) {
            const NodeState* const state = node.state.Get();
            return state != nullptr && (state->width.HasValue() || state->height.HasValue());
        };
        Expect(*expectations_.nodes, std::count_if(nodes.begin(), nodes.end(), isThere),
               std::count_if(nodes.begin(), nodes.end(),
                             [](const Node& node) { return !node.state.HasValue(); }),
               "powerState", "nodes");
    }

    const Enclosure& enclosure_;
    const Expectations& expectations_;
    std::vector<Finding> findings_;
};

}  // namespace

Judgement Judge(const Enclosure& enclosure, const Expectations& expectations)
{
    constexpr Sections kTellHealth = kHealth | kSupplyFirmware;
    Judgement judgement;
    judgement.findings = Assessment(enclosure, expectations).Findings();
    std::stable_sort(
        judgement.findings.begin(), judgement.findings.end(),
        [](const Finding& one, const Finding& other) { return one.severity > other.severity; });
    if (!judgement.findings.empty()) {
        judgement.status = judgement.findings.front().severity;
    } else if ((enclosure.asked & kTellHealth) != 0) {
        judgement.status = Health::kOk;
    }
    return judgement;
}

}  // namespace Tulvo::Enclosures
