// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/health.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "module/vkt/vkt_enclosure/catalogue.h"

namespace Tulvo::Enclosures {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Fan Turning()
{
    return {std::uint16_t{7000}, std::uint8_t{5}};
}

/// A VKT2 with two supplies and four nodes, all well.
Enclosure Healthy()
{
    Enclosure enclosure;
    enclosure.asked = kEverything;
    enclosure.module = {Generation::kVkt2, std::uint8_t{0xFE}, std::uint8_t{4}, std::uint8_t{2}};
    enclosure.consumption = Consumption{std::uint16_t{1200}, std::uint16_t{1850}, {}};
    enclosure.caps =
        PowerCaps{{}, {}, std::uint16_t{4200}, std::uint16_t{3600}, std::uint16_t{4000}};
    for (std::uint8_t number = 1; number <= 2; ++number) {
        PowerSupply& supply = enclosure.powerSupplies.emplace_back();
        supply.number = number;
        supply.present = supply.powerGood = true;
        supply.powerOffWarning = supply.throttling = false;
        supply.fans = SupplyFans{FanState::kNormal, 2, Turning(), Turning()};
        supply.version = supply.manufacturer = supply.position = std::string("x");
    }
    for (std::uint8_t number = 1; number <= 4; ++number) {
        Node& node = enclosure.nodes.emplace_back();
        node.number = number;
        node.state = NodeState{.powerState = PowerState::kOn, .width = NodeWidth::kHalf};
    }
    return enclosure;
}

std::shared_ptr<const Failure> Refused()
{
    return std::make_shared<const Failure>(Failure{Cause::kCompletionCode, "refused", "", 0xC9});
}

std::vector<std::string> Texts(const Judgement& judgement)
{
    std::vector<std::string> texts;
    for (const Finding& finding : judgement.findings) {
        texts.push_back(finding.object + " " + finding.message);
    }
    return texts;
}

struct FindingCase
{
    std::string name;
    std::function<void(Enclosure&)> change;
    Health status;
    std::string finding;
    std::string field;
};

void PrintTo(const FindingCase& one, std::ostream* stream)
{
    *stream << one.name;
}

void NodeIs(Enclosure& enclosure, PowerState state)
{
    enclosure.nodes[3].state = NodeState{.powerState = state};
}

const auto kNone = Reading<std::uint16_t>::Absent();

void SupplyFansAre(Enclosure& enclosure, const SupplyFans& fans)
{
    enclosure.powerSupplies[1].fans = fans;
}

const std::vector<FindingCase> kFindings{
    {"NoGoodPower", [](Enclosure& e) { e.powerSupplies[1].powerGood = false; }, Health::kCritical,
     "PSU2 has no good power", "powerGood"},
    {"PowerOffWarning", [](Enclosure& e) { e.powerSupplies[1].powerOffWarning = true; },
     Health::kCritical, "PSU2 warns that its power goes off", "powerOffWarning"},
    {"Throttling", [](Enclosure& e) { e.powerSupplies[1].throttling = true; }, Health::kWarning,
     "PSU2 throttles", "throttling"},
    {"AbnormalFans",
     [](Enclosure& e) {
         SupplyFansAre(e, {FanState::kAbnormal, 1, Turning(), Turning()});
     },
     Health::kCritical, "PSU2 has abnormal fans", "fans"},
    {"UnknownFans",
     [](Enclosure& e) {
         SupplyFansAre(e, {FanState::kUnknown, 9, Turning(), Turning()});
     },
     Health::kWarning, "PSU2 has fans in an unknown state", "fans"},
    {"FansNotPresent",
     [](Enclosure& e) {
         SupplyFansAre(e, {FanState::kNotPresent, 0, {}, {}});
     },
     Health::kWarning, "PSU2 is present without fans", "fans"},
    {"FansAbsent", [](Enclosure& e) { e.powerSupplies[1].fans = Reading<SupplyFans>::Absent(); },
     Health::kWarning, "PSU2 is present without fans", "fans"},
    {"FanAStands",
     [](Enclosure& e) {
         SupplyFansAre(e,
                       {FanState::kNormal, 2, {Reading<std::uint16_t>::Absent(), {}}, Turning()});
     },
     Health::kWarning, "PSU2 has a fan A without a speed", "fans"},
    {"FanBStands",
     [](Enclosure& e) {
         SupplyFansAre(e,
                       {FanState::kNormal, 2, Turning(), {Reading<std::uint16_t>::Absent(), {}}});
     },
     Health::kWarning, "PSU2 has a fan B without a speed", "fans"},
    {"NoVersion", [](Enclosure& e) { e.powerSupplies[1].version = Reading<std::string>::Absent(); },
     Health::kWarning, "PSU2 is present without a version", "version"},
    {"EmptyBay", [](Enclosure& e) { e.powerSupplies[1].present = false; }, Health::kWarning,
     "PSU2 is not present", "present"},
    {"PowerFault", [](Enclosure& e) { NodeIs(e, PowerState::kFault); }, Health::kCritical,
     "Node 4 has a power fault", "powerState"},
    {"NoPermission", [](Enclosure& e) { NodeIs(e, PowerState::kNoPermission); }, Health::kWarning,
     "Node 4 is in the power state No Permission", "powerState"},
    {"UnknownPower", [](Enclosure& e) { NodeIs(e, PowerState::kUnknown); }, Health::kWarning,
     "Node 4 is in an unknown power state", "powerState"},
    {"AboveTheProtectiveCap",
     [](Enclosure& e) {
         e.consumption = Consumption{{}, std::uint16_t{3601}, {}};
         e.caps = PowerCaps{{}, {}, std::uint16_t{3600}, kNone, kNone};
     },
     Health::kWarning, "Chassis consumes 3601 on average, above its protective cap of 3600",
     "average"},
    {"AboveTheThermalCap",
     [](Enclosure& e) {
         e.consumption = Consumption{{}, std::uint16_t{3601}, {}};
         e.caps = PowerCaps{{}, {}, kNone, kNone, std::uint16_t{3600}};
     },
     Health::kWarning, "Chassis consumes 3601 on average, above its thermal cap of 3600",
     "average"},
    {"AboveTheUserCap",
     [](Enclosure& e) {
         e.consumption = Consumption{{}, std::uint16_t{3601}, {}};
     },
     Health::kWarning, "Chassis consumes 3601 on average, above its user cap of 3600", "average"},
    {"FansNotRead",
     [](Enclosure& e) { e.powerSupplies[1].fans = Reading<SupplyFans>::NotRead(Refused()); },
     Health::kUnknown, "PSU2 fans could not be read: refused", "fans"},
    {"ConsumptionNotRead",
     [](Enclosure& e) { e.consumption = Reading<Consumption>::NotRead(Refused()); },
     Health::kUnknown, "Chassis consumption could not be read: refused", "consumption"},
    {"PresenceNotRead",
     [](Enclosure& e) { e.powerSupplies[1].present = Reading<bool>::NotRead(Refused()); },
     Health::kUnknown, "PSU2 present could not be read: refused", "present"},
    {"VersionNotRead",
     [](Enclosure& e) { e.powerSupplies[1].version = Reading<std::string>::NotRead(Refused()); },
     Health::kUnknown, "PSU2 version could not be read: refused", "version"},
    {"NodeStateNotRead",
     [](Enclosure& e) { e.nodes[3].state = Reading<NodeState>::NotRead(Refused()); },
     Health::kUnknown, "Node 4 power state could not be read: refused", "powerState"},
    {"NodePowerNotRead",
     [](Enclosure& e) { e.nodes[3].power = Reading<Consumption>::NotRead(Refused()); },
     Health::kUnknown, "Node 4 power could not be read: refused", "power"},
    {"SerialNumberNotRead",
     [](Enclosure& e) { e.identity.serialNumber = Reading<std::string>::NotRead(Refused()); },
     Health::kUnknown, "Module serial number could not be read: refused", "serialNumber"},
    {"CapsNotRead", [](Enclosure& e) { e.caps = Reading<PowerCaps>::NotRead(Refused()); },
     Health::kUnknown, "Chassis caps could not be read: refused", "caps"},
};

class FindingTest : public testing::TestWithParam<FindingCase>
{
};

INSTANTIATE_TEST_SUITE_P(Health, FindingTest, testing::ValuesIn(kFindings),
                         [](const auto& one) { return one.param.name; });

TEST_P(FindingTest, IsTheOnlyOne)
{
    Enclosure enclosure = Healthy();
    GetParam().change(enclosure);
    const Judgement judgement = Judge(enclosure);
    EXPECT_THAT(Texts(judgement), ElementsAre(GetParam().finding));
    EXPECT_EQ(GetParam().status, judgement.status);
    ASSERT_FALSE(judgement.findings.empty());
    EXPECT_EQ(GetParam().field, judgement.findings.front().field);
}

/// What a finding calls its field is what JSON, or a list of what is missing, calls it.
TEST_P(FindingTest, NamesAFieldOfTheCatalogue)
{
    bool known = false;
    for (const Field& field : Fields()) {
        known = known || field.Name() == GetParam().field || field.Member() == GetParam().field;
    }
    EXPECT_TRUE(known);
}

TEST(Health, IsGoodWithoutFindings)
{
    const Judgement judgement = Judge(Healthy());
    EXPECT_EQ(Health::kOk, judgement.status);
    EXPECT_THAT(judgement.findings, IsEmpty());
}

TEST(Health, IsUnknownWhenNothingThatTellsWasAsked)
{
    Enclosure enclosure;
    enclosure.asked = kIdentity;
    EXPECT_EQ(Health::kUnknown, Judge(enclosure).status);
}

TEST(Health, DoesNotMissTheSecondFanOfAFirstGeneration)
{
    Enclosure enclosure = Healthy();
    enclosure.module.generation = Generation::kFirst;
    SupplyFansAre(enclosure,
                  {FanState::kNormal, 2, Turning(), {Reading<std::uint16_t>::Absent(), {}}});
    EXPECT_EQ(Health::kOk, Judge(enclosure).status);
}

TEST(Health, IsNotAboveACapThatIsNotSet)
{
    Enclosure enclosure = Healthy();
    enclosure.consumption = Consumption{{}, std::uint16_t{60000}, {}};
    const auto none = Reading<std::uint16_t>::Absent();
    enclosure.caps = PowerCaps{none, none, none, none, none};
    EXPECT_EQ(Health::kOk, Judge(enclosure).status);
}

TEST(Health, IsNotAboveACapThatItReaches)
{
    Enclosure enclosure = Healthy();
    enclosure.consumption = Consumption{{}, std::uint16_t{3600}, {}};
    EXPECT_EQ(Health::kOk, Judge(enclosure).status);
}

TEST(Health, DoesNotMissAVersionThatWasNotAskedFor)
{
    Enclosure enclosure = Healthy();
    enclosure.asked = kHealth;
    for (PowerSupply& supply : enclosure.powerSupplies) {
        supply.version = supply.manufacturer = supply.position = {};
    }
    EXPECT_EQ(Health::kOk, Judge(enclosure).status);
}

TEST(Health, PutsTheWorstFirstAndThenKeepsTheOrder)
{
    Enclosure enclosure = Healthy();
    enclosure.powerSupplies[0].throttling = true;
    enclosure.powerSupplies[0].version = Reading<std::string>::NotRead(Refused());
    enclosure.powerSupplies[1].powerGood = false;
    NodeIs(enclosure, PowerState::kFault);
    const Judgement judgement = Judge(enclosure);
    EXPECT_THAT(Texts(judgement),
                ElementsAre("PSU2 has no good power", "Node 4 has a power fault",
                            "PSU1 version could not be read: refused", "PSU1 throttles"));
    EXPECT_EQ(Health::kCritical, judgement.status);
}

TEST(Health, FoldsEqualFailuresOfOneObject)
{
    Enclosure enclosure = Healthy();
    PowerSupply& supply = enclosure.powerSupplies[0];
    supply.version = supply.manufacturer = Reading<std::string>::NotRead(Refused());
    supply.fans = Reading<SupplyFans>::NotRead(Refused());
    EXPECT_THAT(Texts(Judge(enclosure)), ElementsAre("PSU1 3 values could not be read: refused"));
}

TEST(Health, CountsSuppliesAgainstTheExpectation)
{
    Enclosure enclosure = Healthy();
    enclosure.powerSupplies[1].present = false;
    EXPECT_THAT(Judge(enclosure, {.powerSupplies = 1}).findings, IsEmpty());
    const Judgement tooFew = Judge(enclosure, {.powerSupplies = 2});
    EXPECT_THAT(Texts(tooFew), ElementsAre("Chassis has 1 power supplies where 2 are expected"));
    EXPECT_EQ(Health::kCritical, tooFew.status);
    EXPECT_EQ(Health::kWarning, Judge(enclosure, {.powerSupplies = 0}).status);
}

TEST(Health, DoesNotCallASupplyMissingThatWasNotRead)
{
    Enclosure enclosure = Healthy();
    enclosure.powerSupplies[1].present = Reading<bool>::NotRead(Refused());
    EXPECT_EQ(Health::kUnknown, Judge(enclosure, {.powerSupplies = 2}).status);
    EXPECT_EQ(Health::kCritical, Judge(enclosure, {.powerSupplies = 3}).status);
}

TEST(Health, CountsNodesAgainstTheExpectation)
{
    Enclosure enclosure = Healthy();
    const auto none = Reading<NodeWidth>::Absent();
    enclosure.nodes[3].state = NodeState{.powerState = PowerState::kOff, .width = none};
    EXPECT_THAT(Judge(enclosure, {.nodes = 3}).findings, IsEmpty());
    EXPECT_THAT(Texts(Judge(enclosure, {.nodes = 4})),
                ElementsAre("Chassis has 3 nodes where 4 are expected"));
}

TEST(Health, WarnsOfMoreNodesThanExpected)
{
    const Judgement judgement = Judge(Healthy(), {.nodes = 3});
    EXPECT_THAT(Texts(judgement), ElementsAre("Chassis has 4 nodes where 3 are expected"));
    EXPECT_EQ(Health::kWarning, judgement.status);
}

TEST(Health, DoesNotCallANodeMissingThatWasNotRead)
{
    Enclosure enclosure = Healthy();
    enclosure.nodes[3].state = Reading<NodeState>::NotRead(Refused());
    EXPECT_EQ(Health::kUnknown, Judge(enclosure, {.nodes = 4}).status);
    EXPECT_EQ(Health::kCritical, Judge(enclosure, {.nodes = 5}).status);
}

/// What hangs on the module's status is unknown with it; nothing is missing for that.
TEST(Health, IsUnknownWithoutTheModulesStatus)
{
    Enclosure enclosure;
    enclosure.asked = kHealth;
    enclosure.error = *Refused();
    const auto number = Reading<std::uint8_t>::NotRead(Refused());
    enclosure.module = {Reading<Generation>::NotRead(Refused()), number, number, number};
    EXPECT_EQ(Health::kUnknown, Judge(enclosure, {.powerSupplies = 2, .nodes = 4}).status);
}

TEST(Health, IsUnknownWithoutTheOnlyNodeThatWasAsked)
{
    for (const Sections asked : {kNodes, kNodeStates, kNodePower, kEverything}) {
        Enclosure enclosure = Healthy();
        enclosure.asked = asked;
        enclosure.nodes.clear();
        const Judgement judgement = Judge(enclosure);
        EXPECT_EQ(Health::kUnknown, judgement.status);
        EXPECT_THAT(Texts(judgement),
                    ElementsAre("Chassis has no node of the number that was asked for, but 4 "
                                "nodes"));
    }
}

/// What was not asked for cannot be held against an expectation.
TEST(Health, ExpectsNothingOfWhatWasNotAskedFor)
{
    Enclosure enclosure = Healthy();
    enclosure.asked = kPower;
    enclosure.powerSupplies.clear();
    enclosure.nodes.clear();
    EXPECT_EQ(Health::kOk, Judge(enclosure, {.powerSupplies = 2, .nodes = 4}).status);
}

}  // namespace
}  // namespace Tulvo::Enclosures
