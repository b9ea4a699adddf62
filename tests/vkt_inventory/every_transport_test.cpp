// SPDX-License-Identifier: Apache-2.0
// What both backends do alike: construction, the queries that are one request, nodes, and where
// their records are written.
#include <limits>
#include <set>
#include <tuple>

#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/queries.h"

namespace Tulvo::Tests {
namespace {

using namespace std::string_literals;
using ::testing::IsEmpty;

using Construction = EveryTransport;
INSTANTIATE_TEST_SUITE_P(Over, Construction, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(Construction, CountsNodesByPlatform)
{
    for (const auto& [platform, nodes] :
         {std::pair(0xFC, 12U), {0xFD, 12U}, {0xFE, 4U}, {0x12, 4U}}) {
        Build(VKT_TYPE_VKT2, Status(static_cast<std::uint8_t>(platform), 0));
        EXPECT_EQ(inventory->GetNodeNub(), nodes) << platform;
    }
}

TEST_P(Construction, WaitsEighteenSecondsForAModuleThatKeepsRefusing)
{
    info.Tells(VKT_TYPE_VKT2);
    Refuses(0xC1, {}, 6);
    Construct();
    EXPECT_EQ(sleep.milliseconds, 18000U);
    EXPECT_EQ(inventory->GetNodeNub(), 0U);
}

TEST_P(Construction, CountsByTheDefaultsWhenTheStatusStaysShort)
{
    info.Tells(VKT_TYPE_FIRST_GENERATION);
    Answers(kShortStatus, 6);
    Construct();
    EXPECT_EQ(sleep.milliseconds, 18000U);
    EXPECT_EQ(inventory->GetNodeNub(), 4U);
}

TEST_P(Construction, CountsNothingWhenTheStatusIsRefusedButRemembersThePlatform)
{
    info.Tells(VKT_TYPE_VKT2);
    Refuses(0xC1, kLargeEnclosure, 6);
    Construct();
    Forget();
    EXPECT_EQ(inventory->GetNodeNub(), 0U);
    Answers({}, 2);
    ChassisPowerCon consumption;
    inventory->GetChassisPowerConsumption(consumption);
    ChassisPowerCap cap;
    inventory->GetChassisPowerCap(cap);
    EXPECT_EQ(journal.Requests(), (Lines{"32 98 0D", "32 9D 0D"}));
}

TEST_P(Construction, TellsTheDecoderOfAVkt2)
{
    Build(VKT_TYPE_VKT2);
    Answers(Hex("00 00") + Chars("7X2Z"));
    std::string machineType;
    EXPECT_EQ(inventory->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(machineType, "7X2Z");
    EXPECT_THAT(log.LinesOf("parse_response"), ::testing::Contains(LogLine{4, "it is vkt2..."}));
}

TEST_P(Construction, TakesATypeThatIsToldWithAFailure)
{
    info.TellsInVain(VKT_TYPE_VKT2);
    Answers(kSmallEnclosure);
    Construct();
    Answers(Hex("00 00") + Chars("7X2Z"));
    std::string machineType;
    EXPECT_EQ(inventory->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(machineType, "7X2Z");
}

TEST_P(Construction, KeepsTheUnknownTypeWhenNoneIsTold)
{
    info.Fails(VKT_INFO_NO_DATA);
    Answers(kSmallEnclosure);
    Construct();
    Forget();
    Answers(Hex("03 01"), 2);
    Answers(Hex("04") + Chars("ACME"), 2);
    std::vector<PSUFwInfo> firmware;
    EXPECT_EQ(inventory->GetPSUFwInfo(firmware), VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(log.Lines(2), LogLines(2, {2, "[WARN]: PSU manufacture is empty"}));
}

TEST_P(Construction, AsksForChassisPowerByPlatform)
{
    ChassisPowerCon consumption;
    ChassisPowerCap cap;
    for (const auto& [platform, selector] :
         {std::pair(0xFC, "0D"), {0xFD, "0D"}, {0xFE, "05"}, {0x10, "05"}}) {
        Build(VKT_TYPE_FIRST_GENERATION, Status(static_cast<std::uint8_t>(platform), 3));
        Answers({}, 2);
        inventory->GetChassisPowerConsumption(consumption);
        inventory->GetChassisPowerCap(cap);
        EXPECT_EQ(journal.Requests(), (Lines{"32 98 "s + selector, "32 9D "s + selector}));
    }
}

/// Each query that is one request, over each transport.
class SingleRequest : public Backend,
                      public ::testing::WithParamInterface<std::tuple<Transport, Query>>
{
protected:
    SingleRequest() : Backend(std::get<0>(GetParam())) {}

    const Query& query = std::get<1>(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Over, SingleRequest,
                         ::testing::Combine(::testing::Values(kDirect, kHttps),
                                            ::testing::ValuesIn(SingleRequestQueries())),
                         [](const auto& row) {
                             return std::get<0>(row.param).name + "_"s +
                                    std::get<1>(row.param).name;
                         });

TEST_P(SingleRequest, SendsItAndDecodesTheAnswer)
{
    Build();
    Answers(query.answer);
    const Outcome outcome = query.ask(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, query.fields);
    EXPECT_EQ(journal.Requests(), (Lines{query.request}));
}

TEST_P(SingleRequest, LeavesTheOutputAloneWhenItIsNotCarried)
{
    Build();
    CannotBeReached();
    const Outcome outcome = query.ask(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(outcome.fields, query.untouched);
    EXPECT_THAT(journal.Of({"sleep"}), IsEmpty());
    EXPECT_THAT(log.LinesOf("parse_response"), IsEmpty());
}

TEST_P(SingleRequest, FailsOnARefusal)
{
    Build();
    Refuses(0xC1, query.answer);
    EXPECT_EQ(query.ask(*inventory).result, VKT_INVENTORY_FAILED);
}

TEST_P(SingleRequest, FailsOnAnEmptyAnswer)
{
    Build();
    Answers({});
    EXPECT_EQ(query.ask(*inventory).result, VKT_INVENTORY_FAILED);
}

using Nodes = EveryTransport;
INSTANTIATE_TEST_SUITE_P(Over, Nodes, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(Nodes, OutOfRangeAreRejectedWithoutARequest)
{
    Build();
    NodeStatus status;
    SetBefore(status);
    ChassisPowerCon consumption;
    SetBefore(consumption);
    constexpr std::uint64_t kHighest = std::numeric_limits<std::uint64_t>::max();
    for (const std::uint64_t node : {std::uint64_t{0}, std::uint64_t{5}, kHighest}) {
        EXPECT_EQ(inventory->GetNodeStatus(node, status), VKT_INVENTORY_FAILED);
        EXPECT_EQ(inventory->GetNodePowerConsumption(node, consumption), VKT_INVENTORY_FAILED);
    }
    EXPECT_EQ(FieldsOf(status), (Fields{kBefore, kBefore, kBefore, "-77"}));
    EXPECT_EQ(FieldsOf(consumption), Untouched(3));
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_EQ(log.Lines(), (LogLines{{1, "node 0is wrong: need 1-4"},
                                     {1, "node 0is wrong: need 1-4"},
                                     {1, "node 5is wrong: need 1-4"},
                                     {1, "node 5is wrong: need 1-4"},
                                     {1, "node 18446744073709551615is wrong: need 1-4"},
                                     {1, "node 18446744073709551615is wrong: need 1-4"}}));
    EXPECT_EQ(OwnLines(), log.Lines());
}

TEST_P(Nodes, AreAskedForUpToTheLast)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    NodeStatus status;
    ChassisPowerCon consumption;
    Answers(Hex("80 02 FF 01"));
    EXPECT_EQ(inventory->GetNodeStatus(12, status), VKT_INVENTORY_SUCCESS);
    Answers(Hex("01 00 02 00 03 00"));
    EXPECT_EQ(inventory->GetNodePowerConsumption(1, consumption), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A7 0C", "32 98 01"}));
}

TEST_P(Nodes, AreAllOutOfRangeWhenTheStatusWasNeverRead)
{
    BuildUnread();
    NodeStatus status;
    ChassisPowerCon consumption;
    EXPECT_EQ(inventory->GetNodeStatus(1, status), VKT_INVENTORY_FAILED);
    EXPECT_EQ(inventory->GetNodePowerConsumption(1, consumption), VKT_INVENTORY_FAILED);
    EXPECT_EQ(log.Lines(), LogLines(2, {1, "node 1is wrong: need 1-0"}));
    EXPECT_THAT(Deeds(), IsEmpty());
}

TEST_P(Nodes, AreCountedWithoutARequest)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    EXPECT_EQ(inventory->GetNodeNub(), 12U);
    EXPECT_EQ(inventory->GetNodeNub(), 12U);
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

/// The line of the one record with that text.
int LineOf(const std::string& text, const Fakes::FakeLog& log)
{
    int line = 0;
    for (const auto& record : log.Records()) {
        if (record.line.text == text) {
            EXPECT_EQ(line, 0) << text;
            line = record.lineNumber;
        }
    }
    return line;
}

using Records = EveryTransport;
INSTANTIATE_TEST_SUITE_P(Over, Records, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(Records, AreWrittenByStatementsOfTheirOwn)
{
    Build();
    Answers(kLargeEnclosure);
    VKTStatus status;
    inventory->GetVKTStatus(status);
    Answers({0x00, 0x00}, 5);
    Answers({});
    inventory->SelectPSU(1);
    Answers({0x00});
    inventory->SelectPSU(1);
    Answers(Hex("03 01"), 2);
    Answers(Hex("04 41 43 4D 45"), 2);
    Answers(Hex("01"));
    Answers(Hex("01 0A"));
    std::vector<PSUFwInfo> firmware;
    inventory->GetPSUFwInfo(firmware);
    NodeStatus node;
    inventory->GetNodeStatus(5, node);
    ChassisPowerCon consumption;
    inventory->GetNodePowerConsumption(6, consumption);

    std::set<int> lines;
    const std::vector<std::string> texts = {"Try to get VKT status, retry 1 time",
                                            "Succeeded get VKT Status",
                                            "Try to get PSU status, start retry 6 times",
                                            "Succeeded select PSU ",
                                            "response is empty or completionCode: \0"s,
                                            "Power Supply 2 PSU2 2 1.03 PSUACME10a",
                                            "PSU slot 1 has no PSU module.",
                                            "node 5is wrong: need 1-4",
                                            "node 6is wrong: need 1-4"};
    for (const std::string& text : texts) {
        lines.insert(LineOf(text, log));
    }
    EXPECT_EQ(lines.count(0), 0U) << "a record is missing";
    EXPECT_EQ(lines.size(), texts.size()) << "two records name the same line";
}

}  // namespace
}  // namespace Tulvo::Tests
