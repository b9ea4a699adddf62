// SPDX-License-Identifier: Apache-2.0
// The road over RMCP+: construction, sessions, the queries that are one request.
#include <limits>

#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/queries.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;

using DirectConstruction = Direct;

TEST_F(DirectConstruction, AsksForTheTypeThenTheStatusAndThenReleasesTheFirstClient)
{
    info.Tells(VKT_TYPE_FIRST_GENERATION);
    vkt.Answers(kSmallEnclosure);
    Construct();
    EXPECT_EQ(journal.Of({"client", "info", "config", "sleep"}),
              (Lines{"client 1 made for 10.0.0.9 admin secret 623 3",  //
                     "info over client 1",                             //
                     "info asked",                                     //
                     "client 2 made for 10.0.0.9 admin secret 623 3",  //
                     "config IPMI_CONNECT_RETRY_TIMES 3",              //
                     "client 2 connect",                               //
                     "client 2 send 32 A8",                            //
                     "client 2 disconnect",                            //
                     "client 2 destroyed",                             //
                     "client 1 destroyed"}));
}

TEST_F(DirectConstruction, WritesTheseRecords)
{
    info.Tells(VKT_TYPE_FIRST_GENERATION);
    vkt.Answers(Hex("41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E"));
    Construct();
    EXPECT_EQ(log.Lines(),
              (LogLines{
                  {3, "Try to get VKT status, retry 1 time"},
                  {4, "Send impi cmd suceess: FN=0x32 cmd=0xa8 data="},
                  {4, "Response=A B C D E F G H I J K L M N "},
                  {4,
                   "Response=0x41 0x42 0x43 0x44 0x45 0x46 0x47 0x48 0x49 0x4a 0x4b 0x4c 0x4d "
                   "0x4e "},
                  {3, "Succeeded get VKT Status"},
                  {4, "Entering  Tulvo::VKTInventoryParseResponse::ParseVKTStatusImp"},
                  {3, "VKT Type: 0x41"},
                  {4, " GetVKTStatus success, platformId =0xfe"},
              }));
}

TEST_F(DirectConstruction, WritesThePortInPlainDecimal)
{
    connection.port = 65535;
    info.Tells(VKT_TYPE_FIRST_GENERATION);
    vkt.Answers(kSmallEnclosure);
    Construct();
    EXPECT_EQ(journal.Of({"client"}).front(), "client 1 made for 10.0.0.9 admin secret 65535 3");
}

TEST_F(DirectConstruction, CopiesTheRecordOfTheCaller)
{
    Build();
    connection.address = "elsewhere";
    connection.port = 1;
    vkt.Answers(Chars("7X2Z"));
    std::string machineType;
    EXPECT_EQ(inventory->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Of({"client"}), Exchange(3, "32 B0 05 00"));
}

TEST_F(DirectConstruction, TakesATypeThatComesWithAFailure)
{
    info.TellsInVain(VKT_TYPE_VKT2);
    vkt.Answers(kSmallEnclosure);
    Construct();
    Forget();
    vkt.Answers(Hex("00 00") + Chars("7X2Z"));
    std::string machineType;
    EXPECT_EQ(inventory->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(machineType, "7X2Z");
}

TEST_F(DirectConstruction, CountsNodesByPlatform)
{
    for (const auto& [platform, nodes] :
         {std::pair(0xFC, 12U), {0xFD, 12U}, {0xFE, 4U}, {0x12, 4U}}) {
        Build(VKT_TYPE_VKT2, Status(static_cast<std::uint8_t>(platform), 0));
        EXPECT_EQ(inventory->GetNodeNub(), nodes) << platform;
    }
}

TEST_F(DirectConstruction, TriesSixTimesAndWaitsEighteenSecondsForAnUnreachableModule)
{
    info.Fails(VKT_INFO_TRANSPORT_ERROR);
    vkt.RefusesSession(CONNECTION_FAILED, 6);
    Construct();
    EXPECT_EQ(sleep.milliseconds, 18000U);
    const Lines pause = {"sleep 3000"};
    EXPECT_EQ(journal.Of({"client", "sleep"}),
              Lines{"client 1 made for 10.0.0.9 admin secret 623 3"} + FutileAttempts(2, 1) +
                  pause + FutileAttempts(3, 1) + pause + FutileAttempts(4, 1) + pause +
                  FutileAttempts(5, 1) + pause + FutileAttempts(6, 1) + pause +
                  FutileAttempts(7, 1) + pause + Lines{"client 1 destroyed"});
    EXPECT_EQ(inventory->GetNodeNub(), 0U);
}

TEST_F(DirectConstruction, CountsNothingWhenTheStatusIsRefusedButRemembersThePlatform)
{
    info.Tells(VKT_TYPE_VKT2);
    vkt.Refuses(0xC1, kLargeEnclosure, 6);
    Construct();
    Forget();
    EXPECT_EQ(inventory->GetNodeNub(), 0U);
    vkt.Answers({});
    ChassisPowerCon consumption;
    inventory->GetChassisPowerConsumption(consumption);
    EXPECT_EQ(journal.Requests(), (Lines{"32 98 0D"}));
}

TEST_F(DirectConstruction, CountsByTheDefaultsWhenTheStatusStaysShort)
{
    info.Tells(VKT_TYPE_FIRST_GENERATION);
    vkt.Answers(kShortStatus, 6);
    Construct();
    EXPECT_EQ(sleep.milliseconds, 18000U);
    EXPECT_EQ(inventory->GetNodeNub(), 4U);
}

class DirectQuery : public Direct, public ::testing::WithParamInterface<Query>
{
};

TEST_P(DirectQuery, HasASessionOfItsOwnForItsRequest)
{
    Build();
    vkt.Answers(GetParam().answer);
    const Outcome outcome = GetParam().ask(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, GetParam().fields);
    EXPECT_EQ(journal.Of({"client", "sleep", "info"}), Exchange(3, GetParam().request));
}

TEST_P(DirectQuery, LeavesTheOutputAloneWithoutASession)
{
    Build();
    vkt.RefusesSession(CONNECTION_REFUSED);
    const Outcome outcome = GetParam().ask(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(outcome.fields, GetParam().untouched);
    EXPECT_EQ(journal.Of({"client", "sleep"}), FutileAttempts(3, 1));
    EXPECT_EQ(log.Lines(), (LogLines{{1, "connect failed with error:2"}}));
}

TEST_P(DirectQuery, LeavesADroppedRequestToTheDecoder)
{
    Build();
    vkt.Drops();
    const Outcome outcome = GetParam().ask(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_FAILED);
    EXPECT_EQ(journal.Of({"client"}), Exchange(3, GetParam().request));
    EXPECT_EQ(log.Lines()[1], (LogLine{4, "Response="}));
    EXPECT_EQ(log.Lines()[2], (LogLine{4, "Response="}));
    EXPECT_EQ(log.Lines()[3], Entered(GetParam().routine)[0]);
}

TEST_P(DirectQuery, TakesAnAnswerThatTheClientReportsAsAFailure)
{
    Build();
    vkt.AnswersInVain(GetParam().answer);
    const Outcome outcome = GetParam().ask(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, GetParam().fields);
}

TEST_P(DirectQuery, FailsOnARefusal)
{
    Build();
    vkt.Refuses(0xC1, GetParam().answer);
    EXPECT_EQ(GetParam().ask(*inventory).result, VKT_INVENTORY_FAILED);
}

TEST_P(DirectQuery, FailsOnATruncatedAnswer)
{
    Build();
    vkt.Truncates(GetParam().answer, 0);
    EXPECT_EQ(GetParam().ask(*inventory).result, VKT_INVENTORY_FAILED);
}

TEST_P(DirectQuery, KeepsNoSessionBetweenTwoCalls)
{
    Build();
    vkt.Answers(GetParam().answer, 2);
    GetParam().ask(*inventory);
    GetParam().ask(*inventory);
    EXPECT_EQ(journal.Of({"client"}),
              Exchange(3, GetParam().request) + Exchange(4, GetParam().request));
}

INSTANTIATE_TEST_SUITE_P(Queries, DirectQuery, ::testing::ValuesIn(SingleRequestQueries()),
                         [](const auto& row) { return std::string(row.param.name); });

using DirectSession = Direct;

TEST_F(DirectSession, TracesTheRequestAndTheAnswerInBothWritings)
{
    using namespace std::string_literals;
    Build();
    vkt.Answers(Hex("41 00 B0 0A"));
    std::string name;
    inventory->GetName(name);
    EXPECT_EQ(log.Lines(), (LogLines{{4, "Send impi cmd suceess: FN=0x32 cmd=0xb0 data=0x5 0xb "},
                                     {4, "Response=A \0 \xB0 \n "s},
                                     {4, "Response=0x41 0x0 0xb0 0xa "}}) +
                               Framed("ParseName"));
}

TEST_F(DirectSession, TracesARequestWhoseAnswerNeverCameAsIfItHad)
{
    Build();
    vkt.Drops();
    std::string name;
    inventory->GetName(name);
    EXPECT_EQ(log.Lines(),
              (LogLines{{4, "Send impi cmd suceess: FN=0x32 cmd=0xb0 data=0x5 0xb "},
                        {4, "Response="},
                        {4, "Response="}}) +
                  Framed("ParseName", {{1, "Get vkt name failed with error code:255"}}));
}

TEST_F(DirectSession, ReadsTheNumberOfAttemptsAnewForEveryRequest)
{
    Build();
    std::string name;
    vkt.RefusesSession(CONNECTION_TRY_AGAIN, 3);
    EXPECT_EQ(inventory->GetName(name), VKT_INVENTORY_CONNECT_FAILED);
    config.values["IPMI_CONNECT_RETRY_TIMES"] = 1;
    vkt.RefusesSession(CONNECTION_TRY_AGAIN);
    EXPECT_EQ(inventory->GetName(name), VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(
        journal.Of({"client", "config"}),
        (Lines{"client 3 made for 10.0.0.9 admin secret 623 3", "config IPMI_CONNECT_RETRY_TIMES 3",
               "client 3 connect", "client 3 connect", "client 3 connect", "client 3 destroyed",
               "client 4 made for 10.0.0.9 admin secret 623 3", "config IPMI_CONNECT_RETRY_TIMES 3",
               "client 4 connect", "client 4 destroyed"}));
}

/// How many attempts a row of session states makes.
struct AttemptsCase
{
    const char* behaviour;
    int configured;
    std::vector<std::int32_t> states;
    const char* record;
};

class DirectAttempts : public Direct, public ::testing::WithParamInterface<AttemptsCase>
{
};

TEST_P(DirectAttempts, EndInThisRecord)
{
    Build();
    config.values["IPMI_CONNECT_RETRY_TIMES"] = GetParam().configured;
    for (const std::int32_t state : GetParam().states) {
        vkt.RefusesSession(static_cast<CONNECTIONSTATE>(state));
    }
    std::string name = "before";
    EXPECT_EQ(inventory->GetName(name), VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(name, "before");
    EXPECT_EQ(journal.Of({"client", "sleep"}),
              FutileAttempts(3, static_cast<int>(GetParam().states.size())));
    EXPECT_EQ(log.Lines(), (LogLines{{1, GetParam().record}}));
}

INSTANTIATE_TEST_SUITE_P(
    States, DirectAttempts,
    ::testing::ValuesIn(std::vector<AttemptsCase>{
        {"AreThreeWhileTheModuleSaysTryAgain", 3, {3, 3, 3}, "connect failed with error:3"},
        {"AreAsManyAsConfigured", 5, {3, 3, 3, 3, 3}, "connect failed with error:3"},
        {"AreOneWhenConfiguredSo", 1, {3}, "connect failed with error:3"},
        {"AreNoneWhenNoneIsConfigured", 0, {}, "connect failed with error:3"},
        {"AreNoneWhenANegativeNumberIsConfigured", -1, {}, "connect failed with error:3"},
        {"AreNoneWhenTheLowestNumberIsConfigured",
         std::numeric_limits<int>::min(),
         {},
         "connect failed with error:3"},
        {"StopAfterARefusal", 3, {2}, "connect failed with error:2"},
        {"StopAfterAFailure", 3, {1}, "connect failed with error:1"},
        {"StopAfterAStateNobodyKnows", 3, {77}, "connect failed with error:77"},
        {"StopAfterARefusalThatFollowsATryAgain", 3, {3, 2}, "connect failed with error:2"},
    }),
    [](const auto& row) { return std::string(row.param.behaviour); });

TEST_F(DirectSession, IsUsedWhenALaterAttemptOpensIt)
{
    Build();
    vkt.RefusesSession(CONNECTION_TRY_AGAIN, 2);
    vkt.Answers(Chars("Chassis A"));
    std::string name;
    EXPECT_EQ(inventory->GetName(name), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(name, "Chassis A");
    EXPECT_EQ(journal.Of({"client", "sleep"}),
              (Lines{"client 3 made for 10.0.0.9 admin secret 623 3", "client 3 connect",
                     "client 3 connect", "client 3 connect", "client 3 send 32 B0 05 0B",
                     "client 3 disconnect", "client 3 destroyed"}));
    EXPECT_THAT(log.Lines(1), IsEmpty());
}

using DirectNodes = Direct;

TEST_F(DirectNodes, OutOfRangeAreRejectedWithoutARequest)
{
    Build();
    NodeStatus status;
    SetBefore(status);
    ChassisPowerCon consumption;
    SetBefore(consumption);
    EXPECT_EQ(inventory->GetNodeStatus(0, status), VKT_INVENTORY_FAILED);
    EXPECT_EQ(inventory->GetNodeStatus(5, status), VKT_INVENTORY_FAILED);
    EXPECT_EQ(inventory->GetNodePowerConsumption(0, consumption), VKT_INVENTORY_FAILED);
    EXPECT_EQ(inventory->GetNodePowerConsumption(5, consumption), VKT_INVENTORY_FAILED);
    EXPECT_EQ(
        inventory->GetNodePowerConsumption(std::numeric_limits<std::uint64_t>::max(), consumption),
        VKT_INVENTORY_FAILED);
    EXPECT_EQ(FieldsOf(status), (Fields{kBefore, kBefore, kBefore, "-77"}));
    EXPECT_EQ(FieldsOf(consumption), Untouched(3));
    EXPECT_THAT(journal.Of({"client", "config"}), IsEmpty());
    EXPECT_EQ(log.Lines(), (LogLines{{1, "node 0is wrong: need 1-4"},
                                     {1, "node 5is wrong: need 1-4"},
                                     {1, "node 0is wrong: need 1-4"},
                                     {1, "node 5is wrong: need 1-4"},
                                     {1, "node 18446744073709551615is wrong: need 1-4"}}));
    EXPECT_EQ(OwnLines(), log.Lines());
}

TEST_F(DirectNodes, AreAskedForUpToTheLast)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    NodeStatus status;
    ChassisPowerCon consumption;
    vkt.Answers(Hex("80 02 FF 01"));
    EXPECT_EQ(inventory->GetNodeStatus(12, status), VKT_INVENTORY_SUCCESS);
    vkt.Answers(Hex("01 00 02 00 03 00"));
    EXPECT_EQ(inventory->GetNodePowerConsumption(1, consumption), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A7 0C", "32 98 01"}));
}

TEST_F(DirectNodes, AreAllOutOfRangeWhenTheStatusWasNeverRead)
{
    BuildUnread();
    NodeStatus status;
    EXPECT_EQ(inventory->GetNodeStatus(1, status), VKT_INVENTORY_FAILED);
    EXPECT_EQ(log.Lines(), (LogLines{{1, "node 1is wrong: need 1-0"}}));
    EXPECT_THAT(journal.Of({"client"}), IsEmpty());
}

TEST_F(DirectNodes, AreCountedWithoutARequest)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    EXPECT_EQ(inventory->GetNodeNub(), 12U);
    EXPECT_EQ(inventory->GetNodeNub(), 12U);
    EXPECT_THAT(journal.Of({"client", "log", "config"}), IsEmpty());
}

TEST_F(Direct, AsksForChassisPowerByPlatform)
{
    ChassisPowerCon consumption;
    ChassisPowerCap cap;
    for (const auto& [platform, selector] :
         {std::pair(0xFC, "0D"), {0xFD, "0D"}, {0xFE, "05"}, {0x10, "05"}}) {
        Build(VKT_TYPE_FIRST_GENERATION, Status(static_cast<std::uint8_t>(platform), 3));
        vkt.Drops(2);
        inventory->GetChassisPowerConsumption(consumption);
        inventory->GetChassisPowerCap(cap);
        EXPECT_EQ(journal.Requests(),
                  (Lines{std::string("32 98 ") + selector, std::string("32 9D ") + selector}));
    }
}

TEST_F(Direct, TellsItsDecoderOfAVkt2)
{
    Build(VKT_TYPE_VKT2);
    vkt.Answers(Hex("00 00") + Chars("7X2Z"));
    std::string machineType;
    EXPECT_EQ(inventory->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(machineType, "7X2Z");
    EXPECT_THAT(log.LinesOf("parse_response"), ::testing::Contains(LogLine{4, "it is vkt2..."}));
}

}  // namespace
}  // namespace Tulvo::Tests
