// SPDX-License-Identifier: Apache-2.0
#include "tests/vktinventory_command/fake_enclosure.h"

#include <algorithm>
#include <mutex>
#include <variant>

namespace Tulvo::Test {
namespace {

using namespace Enclosures;

PowerSupply GoodSupply(std::uint8_t number)
{
    PowerSupply supply;
    supply.number = number;
    supply.present = supply.powerGood = true;
    supply.powerOffWarning = supply.throttling = false;
    SupplyFans fans;
    fans.state = FanState::kNormal;
    fans.code = 2;
    fans.a.speed = std::uint16_t{10000};
    fans.a.pattern = std::uint8_t{5};
    fans.b.speed = Reading<std::uint16_t>::Absent();
    fans.b.pattern = Reading<std::uint8_t>::Absent();
    supply.fans = fans;
    supply.version = std::string("1.03");
    supply.manufacturer = std::string("ACME");
    supply.position = std::string("10a");
    return supply;
}

Consumption Power(std::uint16_t minimum, std::uint16_t average, std::uint16_t maximum)
{
    return {minimum, average, maximum};
}

Node RunningNode(std::uint8_t number)
{
    NodeState state;
    state.powerState = PowerState::kOn;
    state.code = 3;
    state.width = NodeWidth::kHalf;
    state.widthCode = 1;
    state.height = std::uint8_t{1};
    state.permission = 2;
    return {number, state, Power(90, 120, 180)};
}

template <class T>
void DropUnless(bool wanted, T& reading)
{
    reading = wanted ? reading : T();
}

/// What a read of that scope leaves of a record.
Enclosures::Enclosure Within(const Scope& scope, Enclosures::Enclosure record)
{
    const auto wants = [&scope](Sections sections) { return (scope.sections & sections) != 0; };
    record.asked = scope.sections;
    DropUnless(wants(kIdentity), record.identity);
    DropUnless(wants(kConsumption), record.consumption);
    DropUnless(wants(kCaps), record.caps);
    DropUnless(wants(kSupplies), record.powerSupplies);
    DropUnless(wants(kNodes), record.nodes);
    for (PowerSupply& supply : record.powerSupplies) {
        DropUnless(wants(kSupplyStatus), supply.present);
        DropUnless(wants(kSupplyStatus), supply.powerGood);
        DropUnless(wants(kSupplyStatus), supply.powerOffWarning);
        DropUnless(wants(kSupplyStatus), supply.throttling);
        DropUnless(wants(kSupplyFans), supply.fans);
        DropUnless(wants(kSupplyFirmware), supply.version);
        DropUnless(wants(kSupplyFirmware), supply.manufacturer);
        DropUnless(wants(kSupplyFirmware), supply.position);
    }
    for (Node& node : record.nodes) {
        DropUnless(wants(kNodeStates), node.state);
        DropUnless(wants(kNodePower), node.power);
    }
    std::erase_if(record.nodes, [&scope](const Node& node) {
        return scope.node != 0 && node.number != scope.node;
    });
    return record;
}

/// The target's part of the source.
void Name(Source& source, const Target& target)
{
    source.host = target.host;
    source.overHttps = std::holds_alternative<Https>(target.transport);
    const std::uint16_t usual = source.overHttps ? 443 : 623;
    source.port = target.port == 0 ? usual : target.port;
    if (source.overHttps) {
        source.cipherSuite.reset();
    }
}

void RefuseIn(Enclosures::Enclosure& record, const Failure& failure)
{
    const Unread unread(failure);
    record.source.cipherSuite.reset();
    record.error = failure;
    record.module = {unread, unread, unread, unread};
    record.identity = {unread, unread, unread, unread};
    record.consumption = unread;
    record.caps = unread;
    record.powerSupplies.clear();
    record.nodes.clear();
}

}  // namespace

FakeEnclosure& FakeEnclosure::Current()
{
    static FakeEnclosure current;
    return current;
}

FakeEnclosure FakeEnclosure::Healthy()
{
    FakeEnclosure fake;
    Enclosures::Enclosure& record = fake.record;
    record.time = std::chrono::system_clock::time_point(std::chrono::seconds(1795288023));
    record.source.cipherSuite = 17;
    record.source.privilege = Privilege::kAdministrator;
    record.module = {Generation::kFirst, std::uint8_t{0xFE}, std::uint8_t{4}, std::uint8_t{2}};
    record.identity = {std::string("7X58"), std::string("J30ABC12"), std::string("ABC123-1.0a"),
                       std::string("Chassis A")};
    record.consumption = Power(300, 400, 500);
    const auto none = Reading<std::uint16_t>::Absent();
    record.caps =
        PowerCaps{none, std::uint16_t{1200}, none, std::uint16_t{1000}, std::uint16_t{65535}};
    for (std::uint8_t number = 1; number <= 2; ++number) {
        record.powerSupplies.push_back(GoodSupply(number));
    }
    for (std::uint8_t number = 1; number <= 4; ++number) {
        record.nodes.push_back(RunningNode(number));
    }
    return fake;
}

void FakeEnclosure::Refuse(const Failure& failure)
{
    RefuseIn(record, failure);
}

void FakeEnclosure::Refuse(const std::string& host, const Failure& failure)
{
    RefuseIn(others[host] = record, failure);
}

}  // namespace Tulvo::Test

namespace Tulvo::Enclosures {

using Test::FakeEnclosure;

namespace {

std::mutex oneAtATime;

}  // namespace

Enclosure ReadEnclosure(const Target& target, const Scope& scope, const Limits& limits)
{
    FakeEnclosure& fake = FakeEnclosure::Current();
    fake.whileReading(target);
    const std::lock_guard lock(oneAtATime);
    fake.asked = target;
    fake.scope = scope;
    fake.limits = limits;
    fake.onRead();
    const auto other = fake.others.find(target.host);
    Enclosure record =
        Test::Within(scope, other == fake.others.end() ? fake.record : other->second);
    Test::Name(record.source, target);
    return record;
}

Selection SelectSupply(const Target& target, std::uint8_t number, const Limits& limits)
{
    FakeEnclosure& fake = FakeEnclosure::Current();
    const std::lock_guard lock(oneAtATime);
    fake.asked = target;
    fake.limits = limits;
    Selection selection;
    selection.failure = fake.record.error ? fake.record.error : fake.selectionFailure;
    selection.powerSupplyCount = fake.record.module.powerSupplyCount;
    selection.source = fake.record.source;
    Test::Name(selection.source, target);
    const std::uint8_t* const count = selection.powerSupplyCount.Get();
    if (count != nullptr && number > *count) {
        selection.failure = Failure{Cause::kLocal, "there is no such supply", "", {}};
    } else if (count != nullptr) {
        fake.selected = number;
    }
    return selection;
}

}  // namespace Tulvo::Enclosures

namespace Tulvo {

std::variant<std::string, Failure> ReadServerPin(const std::string& host, std::uint16_t port,
                                                 const CallLimit& limit)
{
    return Test::FakeEnclosure::Current().pin(host, port, limit);
}

}  // namespace Tulvo
