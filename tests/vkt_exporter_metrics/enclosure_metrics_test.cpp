// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/metrics/enclosure_metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/vkt_exporter_metrics/series.h"
#include "tests/vktinventory_command/fake_enclosure.h"

namespace Tulvo::Exporter {
namespace {

using namespace Enclosures;
using Test::FakeEnclosure;
using Test::Unread;
using Series = std::map<std::string, std::string>;
using testing::Contains;
using testing::IsSupersetOf;
using testing::Key;
using testing::Not;

constexpr std::chrono::milliseconds kTook{250};

Enclosure Healthy()
{
    Enclosure record = FakeEnclosure::Healthy().record;
    record.asked = kEverything;
    return record;
}

Series Scraped(const Enclosure& record, const Expectations& expected = {})
{
    return SeriesOf(EnclosureMetrics(record, expected, kTook));
}

/// What stands there that begins so.
Series Beginning(const std::string& name, const Series& all)
{
    Series some;
    for (const auto& [series, value] : all) {
        if (series.starts_with(name)) {
            some.emplace(series, value);
        }
    }
    return some;
}

TEST(EnclosureMetrics, SayAllOfAHealthyEnclosure)
{
    const Series all = Scraped(Healthy());
    const Series some{
        {"vkt_up", "1"},
        {"vkt_scrape_duration_seconds", "0.25"},
        {"vkt_complete", "1"},
        {R"(vkt_info{generation="first",machine_type="7X58",serial_number="J30ABC12",)"
         R"(firmware_version="ABC123-1.0a",name="Chassis A"})",
         "1"},
        {R"(vkt_health{status="ok"})", "1"},
        {R"(vkt_health{status="warning"})", "0"},
        {R"(vkt_health{status="critical"})", "0"},
        {R"(vkt_health{status="unknown"})", "0"},
        {"vkt_power_minimum", "300"},
        {"vkt_power_average", "400"},
        {"vkt_power_maximum", "500"},
        {"vkt_power_cap_highest", "1200"},
        {"vkt_power_cap_user", "1000"},
        {"vkt_power_cap_thermal", "65535"},
        {R"(vkt_psu_present{psu="2"})", "1"},
        {R"(vkt_psu_power_good{psu="2"})", "1"},
        {R"(vkt_psu_power_off_warning{psu="2"})", "0"},
        {R"(vkt_psu_throttling{psu="2"})", "0"},
        {R"(vkt_psu_fan_state{psu="1",state="normal"})", "1"},
        {R"(vkt_psu_fan_state{psu="1",state="abnormal"})", "0"},
        {R"(vkt_psu_fan_state{psu="1",state="notPresent"})", "0"},
        {R"(vkt_psu_fan_state{psu="1",state="unknown"})", "0"},
        {R"(vkt_psu_fan_speed{psu="1",fan="a"})", "10000"},
        {R"(vkt_psu_info{psu="1",version="1.03",manufacturer="ACME"})", "1"},
        {R"(vkt_node_power_state{node="4",state="on"})", "1"},
        {R"(vkt_node_power_state{node="4",state="off"})", "0"},
        {R"(vkt_node_power_state{node="4",state="fault"})", "0"},
        {R"(vkt_node_power_state{node="4",state="noPermission"})", "0"},
        {R"(vkt_node_power_state{node="4",state="unknown"})", "0"},
        {R"(vkt_node_power_minimum{node="4"})", "90"},
        {R"(vkt_node_power_average{node="4"})", "120"},
        {R"(vkt_node_power_maximum{node="4"})", "180"},
        {R"(vkt_node_info{node="4",width="half",height="1"})", "1"},
    };
    EXPECT_THAT(all, IsSupersetOf(some));
}

TEST(EnclosureMetrics, CountWhatWasNotReadByEveryCause)
{
    const Series none = Beginning("vkt_not_read", Scraped(Healthy()));
    EXPECT_EQ(10U, none.size());
    for (const auto& [series, count] : none) {
        EXPECT_EQ("0", count) << series;
    }

    Enclosure record = Healthy();
    record.caps = Unread(Cause::kTimedOut, "no answer");
    record.nodes[0].power = Unread(Cause::kTimedOut, "no answer");
    record.nodes[1].power = Unread(Cause::kCompletionCode, "0xFF");
    const Series all = Scraped(record);
    // Five caps are one answer.
    EXPECT_EQ("2", Beginning(R"(vkt_not_read{cause="timedOut"})", all).begin()->second);
    EXPECT_EQ("1", Beginning(R"(vkt_not_read{cause="completionCode"})", all).begin()->second);
    EXPECT_EQ("0", Beginning(R"(vkt_not_read{cause="refused"})", all).begin()->second);
    EXPECT_EQ("1", all.at("vkt_up"));
    EXPECT_EQ("0", all.at("vkt_complete"));
    EXPECT_EQ("1", all.at(R"(vkt_health{status="unknown"})"));
}

/// Neither 0 nor anything else stands for what is absent, was not read or was not asked.
TEST(EnclosureMetrics, HaveNoSeriesWithoutAValue)
{
    struct Case
    {
        std::string name;
        std::vector<std::string> gone;
        std::function<void(Enclosure&, const Unread&)> unread;
        std::function<void(Enclosure&)> absent;
        std::function<void(Enclosure&)> notAsked;
    };
    const std::vector<Case> cases{
        {"consumption",
         {"vkt_power_minimum", "vkt_power_average", "vkt_power_maximum"},
         [](Enclosure& e, const Unread& unread) { e.consumption = unread; },
         [](Enclosure& e) { e.consumption = Reading<Consumption>::Absent(); },
         [](Enclosure& e) { e.consumption = {}; }},
        {"caps",
         {"vkt_power_cap_"},
         [](Enclosure& e, const Unread& unread) { e.caps = unread; },
         [](Enclosure& e) { e.caps = Reading<PowerCaps>::Absent(); },
         [](Enclosure& e) { e.caps = {}; }},
        {"a flag",
         {R"(vkt_psu_power_good{psu="1"})"},
         [](Enclosure& e, const Unread& unread) { e.powerSupplies[0].powerGood = unread; },
         [](Enclosure& e) { e.powerSupplies[0].powerGood = Reading<bool>::Absent(); },
         [](Enclosure& e) { e.powerSupplies[0].powerGood = {}; }},
        {"fans",
         {R"(vkt_psu_fan_state{psu="1")", R"(vkt_psu_fan_speed{psu="1")"},
         [](Enclosure& e, const Unread& unread) { e.powerSupplies[0].fans = unread; },
         [](Enclosure& e) { e.powerSupplies[0].fans = Reading<SupplyFans>::Absent(); },
         [](Enclosure& e) { e.powerSupplies[0].fans = {}; }},
        {"a supply's firmware",
         {R"(vkt_psu_info{psu="1")"},
         [](Enclosure& e, const Unread& unread) { e.powerSupplies[0].manufacturer = unread; },
         [](Enclosure& e) {
             e.powerSupplies[0].version = Reading<std::string>::Absent();
             e.powerSupplies[0].manufacturer = Reading<std::string>::Absent();
         },
         [](Enclosure& e) { e.powerSupplies[0].version = {}; }},
        {"a node's state",
         {R"(vkt_node_power_state{node="2")", R"(vkt_node_info{node="2")"},
         [](Enclosure& e, const Unread& unread) { e.nodes[1].state = unread; },
         [](Enclosure& e) { e.nodes[1].state = Reading<NodeState>::Absent(); },
         [](Enclosure& e) { e.nodes[1].state = {}; }},
        {"a node's power",
         {R"(vkt_node_power_minimum{node="2")", R"(vkt_node_power_average{node="2")",
          R"(vkt_node_power_maximum{node="2")"},
         [](Enclosure& e, const Unread& unread) { e.nodes[1].power = unread; },
         [](Enclosure& e) { e.nodes[1].power = Reading<Consumption>::Absent(); },
         [](Enclosure& e) { e.nodes[1].power = {}; }},
    };
    for (const Case& each : cases) {
        Enclosure unread = Healthy();
        each.unread(unread, Unread(Cause::kBusy, "busy"));
        Enclosure absent = Healthy();
        each.absent(absent);
        Enclosure notAsked = Healthy();
        each.notAsked(notAsked);
        for (const Enclosure& record : {unread, absent, notAsked}) {
            const Series all = Scraped(record);
            for (const std::string& name : each.gone) {
                EXPECT_THAT(Beginning(name, Scraped(Healthy())), Not(testing::IsEmpty())) << name;
                EXPECT_THAT(Beginning(name, all), testing::IsEmpty()) << each.name;
            }
        }
    }
}

/// Half a series would be another enclosure to whoever joins with it.
TEST(EnclosureMetrics, GiveInfoWholeOrNotAtAll)
{
    Enclosure record = Healthy();
    record.identity.serialNumber = Reading<std::string>::Absent();
    record.identity.name = std::string();
    EXPECT_THAT(Scraped(record),
                Contains(Key(R"(vkt_info{generation="first",machine_type="7X58",serial_number="",)"
                             R"(firmware_version="ABC123-1.0a",name=""})")));

    record.identity.name = Unread(Cause::kTimedOut, "no answer");
    EXPECT_THAT(Beginning("vkt_info", Scraped(record)), testing::IsEmpty());
    record.identity = {};
    EXPECT_THAT(Beginning("vkt_info", Scraped(record)), testing::IsEmpty());
}

TEST(EnclosureMetrics, ExpectOnlyWhatIsExpected)
{
    EXPECT_THAT(Scraped(Healthy()), Not(Contains(Key(testing::HasSubstr("expected")))));
    const Series supplies = Scraped(Healthy(), {.powerSupplies = std::uint8_t{6}});
    EXPECT_EQ("6", supplies.at("vkt_psus_expected"));
    EXPECT_THAT(supplies, Not(Contains(Key("vkt_nodes_expected"))));
    EXPECT_EQ("1",
              supplies.at(R"(vkt_finding{severity="critical",psu="",node="",field="present"})"));
    EXPECT_EQ("4", Scraped(Healthy(), {.nodes = std::uint8_t{4}}).at("vkt_nodes_expected"));
}

TEST(EnclosureMetrics, GiveEveryFindingOnce)
{
    Enclosure record = Healthy();
    record.module.generation = Generation::kVkt2;
    SupplyFans fans = *record.powerSupplies[0].fans.Get();
    fans.a.speed = Reading<std::uint16_t>::Absent();  // two findings about the same fans
    record.powerSupplies[0].fans = fans;
    record.powerSupplies[1].powerGood = false;
    NodeState fault = *record.nodes[2].state.Get();
    fault.powerState = PowerState::kFault;
    record.nodes[2].state = fault;
    record.caps = PowerCaps{std::uint16_t{1}, std::uint16_t{1}, std::uint16_t{1}, std::uint16_t{1},
                            std::uint16_t{1}};  // three findings about the average
    const Series all = Scraped(record);
    const Series expected{
        {R"(vkt_finding{severity="critical",psu="2",node="",field="powerGood"})", "1"},
        {R"(vkt_finding{severity="critical",psu="",node="3",field="powerState"})", "1"},
        {R"(vkt_finding{severity="warning",psu="1",node="",field="fans"})", "1"},
        {R"(vkt_finding{severity="warning",psu="2",node="",field="fans"})", "1"},
        {R"(vkt_finding{severity="warning",psu="",node="",field="average"})", "1"},
    };
    EXPECT_EQ(expected, Beginning("vkt_finding", all));
    EXPECT_EQ("1", all.at(R"(vkt_health{status="critical"})"));
    EXPECT_EQ("0", all.at(R"(vkt_health{status="ok"})"));
}

TEST(EnclosureMetrics, OfOneThatWasNotReachedSayWhy)
{
    for (const Cause cause : {Cause::kUnreachable, Cause::kTimedOut, Cause::kRefused}) {
        FakeEnclosure fake = FakeEnclosure::Healthy();
        fake.record.asked = kEverything;
        fake.Refuse({cause, "why", "", {}});
        const Series all = Scraped(fake.record, {.powerSupplies = std::uint8_t{2}});
        EXPECT_EQ("0", all.at("vkt_up"));
        EXPECT_EQ("0", all.at("vkt_complete"));
        EXPECT_EQ("2", all.at("vkt_psus_expected"));
        EXPECT_EQ("1", all.at(R"(vkt_health{status="unknown"})"));
        for (const auto& [series, count] : Beginning("vkt_not_read", all)) {
            const bool counted =
                series == R"(vkt_not_read{cause=")" + std::string(KeyOf(cause)) + "\"}";
            EXPECT_EQ(counted, count != "0") << series;
        }
        // Up, duration, complete, ten causes, four states of health, one expectation.
        EXPECT_EQ(18U + Beginning("vkt_finding", all).size(), all.size());
    }
}

/// Such as one that is left alone because it refused before.
TEST(EnclosureMetrics, CountTheErrorOfOneThatWasNotAsked)
{
    Enclosure record;
    record.error = Failure{Cause::kRefused, "left alone", "", {}};
    const Series all = Scraped(record);
    EXPECT_EQ("0", all.at("vkt_up"));
    EXPECT_EQ("0", all.at("vkt_complete"));
    EXPECT_EQ("1", all.at(R"(vkt_not_read{cause="refused"})"));
    EXPECT_EQ("1", all.at(R"(vkt_health{status="unknown"})"));
}

TEST(EnclosureMetrics, OfAReadThatEndedEarlyKeepWhatWasRead)
{
    Enclosure record = Healthy();
    const Failure failure{Cause::kTimedOut, "the time was over", "", {}};
    record.error = failure;
    record.nodes[3].power = Unread(failure);
    const Series all = Scraped(record);
    EXPECT_EQ("1", all.at("vkt_up"));
    EXPECT_EQ("0", all.at("vkt_complete"));
    EXPECT_EQ("1", all.at(R"(vkt_not_read{cause="timedOut"})"));
    EXPECT_EQ("400", all.at("vkt_power_average"));
    EXPECT_EQ("120", all.at(R"(vkt_node_power_average{node="3"})"));
}

/// No answer of a module makes a text that Prometheus refuses: SeriesOf() finds what it would.
TEST(EnclosureMetrics, OfAStrangeModuleAreWellFormed)
{
    Enclosure record = Healthy();
    record.identity.name = std::string("\"} 1\nvkt_up 0 # \\");
    record.powerSupplies[0].manufacturer = std::string("\xFF\"\n\\", 4);
    record.powerSupplies[0].number = 2;
    record.powerSupplies[1].powerGood = false;
    record.nodes[0].number = record.nodes[1].number = 0;
    NodeState unknown = *record.nodes[2].state.Get();
    unknown.powerState = static_cast<PowerState>(200);
    unknown.width = static_cast<NodeWidth>(77);
    record.nodes[2].state = unknown;
    const Series all = Scraped(record);
    EXPECT_EQ("1", all.at("vkt_up"));
    EXPECT_EQ(
        "1",
        all.at("vkt_psu_info{psu=\"2\",version=\"1.03\",manufacturer=\"\xC3\xBF\\\"\\n\\\\\"}"));
    EXPECT_EQ("1", all.at(R"(vkt_node_power_state{node="3",state="unknown"})"));
    EXPECT_EQ("1", all.at(R"(vkt_node_info{node="3",width="unknown",height="1"})"));
    EXPECT_THAT(all, Contains(Key(testing::HasSubstr(R"(name="\"} 1\nvkt_up 0 # \\")"))));
}

TEST(EnclosureMetrics, KnowAllFamiliesThatTheyGive)
{
    Enclosure record = Healthy();
    record.caps = PowerCaps{std::uint16_t{1}, std::uint16_t{1}, std::uint16_t{1}, std::uint16_t{1},
                            std::uint16_t{1}};
    std::set<std::string> known;
    for (const EnclosureFamily& each : EnclosureFamilies()) {
        EXPECT_TRUE(known.insert(each.family.name).second) << each.family.name;
        EXPECT_TRUE(each.family.help.ends_with('.')) << each.family.name;
        EXPECT_EQ(std::string::npos, each.family.help.find_first_of("\\\n")) << each.family.name;
    }
    const Expectations expected{std::uint8_t{3}, std::uint8_t{4}};
    EXPECT_EQ(known, FamiliesOf(EnclosureMetrics(record, expected, kTook)));
}

}  // namespace
}  // namespace Tulvo::Exporter
