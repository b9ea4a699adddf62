// SPDX-License-Identifier: Apache-2.0
// What is particular to RMCP+: a session for every request, and how it is opened.
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

TEST_F(DirectSession, TracesARequestWithoutAnAnswerAsIfItHadOne)
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
        {"StopAfterAnUnknownState", 3, {77}, "connect failed with error:77"},
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

using DirectPowerSupplies = Direct;

TEST_F(DirectPowerSupplies, HaveASessionForEveryRequest)
{
    Build();
    vkt.Answers(Hex("10 27 05 01"), 2);
    std::vector<PSUFanSpeed> fans;
    inventory->GetPSUFanSpeed(fans);
    vkt.Answers(Hex("04 41 43 4D 45"), 6);
    std::vector<PSUFwInfo> firmware;
    inventory->GetPSUFwInfo(firmware);
    EXPECT_EQ(journal.Of({"client", "sleep"}),
              Exchange(3, "32 A5 01") + Exchange(4, "32 A5 02") + Exchange(5, "06 52 0F D0 02 FC") +
                  Exchange(6, "06 52 0D D0 02 FC") + Exchange(7, "06 52 0F D0 05 99") +
                  Exchange(8, "06 52 0D D0 05 99") + Exchange(9, "06 52 0F D0 20 F0") +
                  Exchange(10, "06 52 0D D0 20 F0"));
}

}  // namespace
}  // namespace Tulvo::Tests
