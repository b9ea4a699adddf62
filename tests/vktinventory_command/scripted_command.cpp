// SPDX-License-Identifier: Apache-2.0
// scripted_command ENCLOSURE [WORD]...: the command against a scripted enclosure, for tests of what
// it prints that are not written in C++.
#include <algorithm>
#include <iostream>
#include <iterator>
#include <string_view>

#include "apps/vktinventory/run.h"
#include "tests/vktinventory_command/fake_enclosure.h"

namespace {

using namespace Tulvo;
using namespace Tulvo::Enclosures;
using Test::FakeEnclosure;
using Test::Unread;

struct Script
{
    std::string_view name;
    void (*change)(FakeEnclosure& healthy);
};

void EmptyASlot(FakeEnclosure& fake)
{
    PowerSupply& supply = fake.record.powerSupplies[1];
    supply.present = false;
    supply.powerGood = supply.powerOffWarning = supply.throttling = Reading<bool>::Absent();
    supply.fans = Reading<SupplyFans>::Absent();
    supply.version = supply.manufacturer = supply.position = Reading<std::string>::Absent();
}

void LoseValues(FakeEnclosure& fake)
{
    Enclosures::Enclosure& record = fake.record;
    const Unread silence(Cause::kTimedOut, "no answer");
    record.identity.name = Unread({Cause::kCompletionCode, "code 0xC1", "", 0xC1});
    record.consumption = silence;
    record.powerSupplies[0].powerGood = record.powerSupplies[0].present = silence;
    record.powerSupplies[0].fans = silence;
    record.powerSupplies[1].version = silence;
    record.nodes[0].state = silence;
    record.nodes[3].power = silence;
}

void ForgetCodes(FakeEnclosure& fake)
{
    SupplyFans fans;
    fans.code = 200;
    fake.record.powerSupplies[0].fans = fans;
    fake.record.powerSupplies[0].manufacturer = std::string("\0\xff\"\\", 4);
    NodeState state;
    state.code = 200;
    state.width = NodeWidth::kUnknown;
    state.widthCode = 200;
    fake.record.nodes[0].state = state;
}

void BreakThings(FakeEnclosure& fake)
{
    fake.record.powerSupplies[0].powerGood = false;
    fake.record.powerSupplies[1].throttling = true;
    fake.record.consumption = Consumption{std::uint16_t{1}, std::uint16_t{65000}, std::uint16_t{2}};
    fake.selectionFailure = Failure{Cause::kCompletionCode, "code 0xC9", "", 0xC9};
}

constexpr Script kScripts[] = {
    {"healthy", [](FakeEnclosure&) {}},
    {"empty-slot", EmptyASlot},
    {"unread", LoseValues},
    {"unknown-codes", ForgetCodes},
    {"broken", BreakThings},
    {"refused",
     [](FakeEnclosure& fake) {
         fake.Refuse({Cause::kRefused, "the password is wrong", "", {}});
     }},
};

}  // namespace

int main(int argc, char** argv)
{
    const auto* const script = std::find_if(
        std::begin(kScripts), std::end(kScripts),
        [&](const Script& known) { return argc > 1 && known.name == std::string_view(argv[1]); });
    if (script == std::end(kScripts)) {
        std::cerr << "scripted_command: no such enclosure\n";
        return 99;
    }
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    script->change(FakeEnclosure::Current());
    return static_cast<int>(Cli::Run(argc - 1, argv + 1));
}
