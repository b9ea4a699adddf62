// SPDX-License-Identifier: Apache-2.0
// The road over HTTPS: construction, failed exchanges, the queries that are one request.
#include "module/vkt/vkt_inventory/impl/vkt_inventory_https_impl.h"

#include <limits>

#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/queries.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;

/// A transport's code and what the library makes of it.
struct ResultCase
{
    std::int32_t code;
    VKTInventoryErrorCode result;
};

const std::vector<ResultCase> kResults = {
    {1, VKT_INVENTORY_TRANSPORT_ERROR}, {2, VKT_INVENTORY_TRANSPORT_ERROR},
    {3, VKT_INVENTORY_TRANSPORT_ERROR}, {4, VKT_INVENTORY_TRANSPORT_ERROR},
    {5, VKT_INVENTORY_TRANSPORT_ERROR}, {6, VKT_INVENTORY_CONNECT_FAILED},
    {7, VKT_INVENTORY_FAILED},          {8, VKT_INVENTORY_NO_DATA},
    {9, VKT_INVENTORY_FAILED},          {1000, VKT_INVENTORY_FAILED},
    {-1, VKT_INVENTORY_FAILED},
};

TEST(ToInventoryErrorCode, GroupsTheCodesOfTheTransport)
{
    for (const ResultCase& row : kResults) {
        EXPECT_EQ(ToInventoryErrorCode(static_cast<VKTHttpsErrorCode>(row.code)), row.result)
            << row.code;
    }
}

using HttpsConstruction = Https;

TEST_F(HttpsConstruction, AsksForTheTypeThenTheStatusOverOneTransport)
{
    connection.connectTimeoutSeconds = 2;
    connection.requestTimeoutSeconds = 3;
    connection.tlsVerification = 1;
    connection.addressFamily = 6;
    connection.authentication = -1;
    info.Tells(VKT_TYPE_FIRST_GENERATION);
    service.Answers(kSmallEnclosure);
    Construct();
    EXPECT_EQ(journal.Of({"https", "client", "info", "config", "sleep"}),
              (Lines{"https 1 made for 10.0.0.9 admin secret 443 2 3 1 9 6 -1", "info over https 1",
                     "info asked", "https 1 send 32 A8"}));
    Forget();
    inventory.reset();
    EXPECT_EQ(journal.Of({"https", "client", "info", "log"}), (Lines{"https 1 destroyed"}));
}

TEST_F(HttpsConstruction, WritesTheseRecords)
{
    info.Tells(VKT_TYPE_FIRST_GENERATION);
    service.Answers(kSmallEnclosure);
    Construct();
    EXPECT_EQ(log.Lines(), (LogLines{
                               {3, "Try to get VKT status, retry 1 time"},
                               {3, "Succeeded get VKT Status"},
                               {4, "Entering  Tulvo::VKTInventoryParseResponse::ParseVKTStatusImp"},
                               {3, "VKT Type: 0xfe"},
                               {4, " GetVKTStatus success, platformId =0xfe"},
                           }));
}

TEST_F(HttpsConstruction, CountsNodesByPlatform)
{
    for (const auto& [platform, nodes] :
         {std::pair(0xFC, 12U), {0xFD, 12U}, {0xFE, 4U}, {0x12, 4U}}) {
        Build(VKT_TYPE_VKT2, Status(static_cast<std::uint8_t>(platform), 0));
        EXPECT_EQ(inventory->GetNodeNub(), nodes) << platform;
    }
}

TEST_F(HttpsConstruction, TriesSixTimesWithoutAPauseWhenTheModuleIsUnreachable)
{
    info.Fails(VKT_INFO_TRANSPORT_ERROR);
    service.Fails(VKT_HTTPS_CONNECT_FAILED, 6);
    Construct();
    EXPECT_EQ(journal.Requests(), Lines(6, "32 A8"));
    EXPECT_THAT(journal.Of({"sleep"}), IsEmpty());
    EXPECT_EQ(inventory->GetNodeNub(), 0U);
}

TEST_F(HttpsConstruction, WaitsEighteenSecondsForAModuleThatKeepsRefusing)
{
    info.Tells(VKT_TYPE_VKT2);
    service.Refuses(0xC1, {}, 6);
    Construct();
    EXPECT_EQ(sleep.milliseconds, 18000U);
    EXPECT_EQ(inventory->GetNodeNub(), 0U);
}

TEST_F(HttpsConstruction, CountsNothingWhenTheStatusIsRefusedButRemembersThePlatform)
{
    info.Tells(VKT_TYPE_VKT2);
    service.Refuses(0xC1, kLargeEnclosure, 6);
    Construct();
    Forget();
    EXPECT_EQ(inventory->GetNodeNub(), 0U);
    service.Answers({});
    ChassisPowerCap cap;
    inventory->GetChassisPowerCap(cap);
    EXPECT_EQ(journal.Requests(), (Lines{"32 9D 0D"}));
}

TEST_F(HttpsConstruction, TakesATypeThatComesWithAFailure)
{
    info.TellsInVain(VKT_TYPE_VKT2);
    service.Answers(kSmallEnclosure);
    Construct();
    service.Answers(Hex("00 00") + Chars("7X2Z"));
    std::string machineType;
    EXPECT_EQ(inventory->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(machineType, "7X2Z");
}

TEST_F(HttpsConstruction, KeepsTheUnknownTypeWhenNobodyTellsIt)
{
    info.Fails(VKT_INFO_NO_DATA);
    service.Answers(kSmallEnclosure);
    Construct();
    Forget();
    service.Answers(Hex("03 01"), 2);
    service.Answers(Hex("04") + Chars("ACME"), 2);
    std::vector<PSUFwInfo> firmware;
    EXPECT_EQ(inventory->GetPSUFwInfo(firmware), VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(log.Lines(2), LogLines(2, {2, "[WARN]: PSU manufacture is empty"}));
}

class HttpsQuery : public Https, public ::testing::WithParamInterface<Query>
{
protected:
    /// What the query writes before it sends.
    LogLines Entry() const
    {
        if (!GetParam().tracesEntryOverHttps) {
            return {};
        }
        return {{4, std::string("Entering  Tulvo::VKTInventoryHttpsImpl::") + GetParam().name}};
    }
};

TEST_P(HttpsQuery, SendsItsRequestAndWritesNoRecordButItsEntry)
{
    Build();
    service.Answers(GetParam().answer);
    const Outcome outcome = GetParam().ask(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, GetParam().fields);
    EXPECT_EQ(journal.Of({"https", "client", "info", "config", "sleep"}),
              (Lines{std::string("https 1 send ") + GetParam().request}));
    EXPECT_EQ(OwnLines(), Entry());
}

TEST_P(HttpsQuery, LeavesTheOutputAloneWhenTheExchangeFails)
{
    Build();
    for (const ResultCase& row : kResults) {
        Forget();
        service.Fails(row.code);
        const Outcome outcome = GetParam().ask(*inventory);
        EXPECT_EQ(outcome.result, row.result) << row.code;
        EXPECT_EQ(outcome.fields, GetParam().untouched);
        const LogLines failure = {{1, GetParam().overHttps + std::to_string(row.code)}};
        EXPECT_EQ(log.Lines(), Entry() + failure);
    }
}

TEST_P(HttpsQuery, FailsOnARefusal)
{
    Build();
    service.Refuses(0xC1, GetParam().answer);
    EXPECT_EQ(GetParam().ask(*inventory).result, VKT_INVENTORY_FAILED);
}

TEST_P(HttpsQuery, FailsOnAnEmptyAnswer)
{
    Build();
    service.Answers({});
    EXPECT_EQ(GetParam().ask(*inventory).result, VKT_INVENTORY_FAILED);
}

INSTANTIATE_TEST_SUITE_P(Queries, HttpsQuery, ::testing::ValuesIn(SingleRequestQueries()),
                         [](const auto& row) { return std::string(row.param.name); });

using HttpsNodes = Https;

TEST_F(HttpsNodes, OutOfRangeAreRejectedWithoutARequest)
{
    Build();
    NodeStatus status;
    SetBefore(status);
    ChassisPowerCon consumption;
    SetBefore(consumption);
    EXPECT_EQ(inventory->GetNodeStatus(0, status), VKT_INVENTORY_FAILED);
    EXPECT_EQ(inventory->GetNodeStatus(5, status), VKT_INVENTORY_FAILED);
    EXPECT_EQ(inventory->GetNodePowerConsumption(0, consumption), VKT_INVENTORY_FAILED);
    EXPECT_EQ(
        inventory->GetNodePowerConsumption(std::numeric_limits<std::uint64_t>::max(), consumption),
        VKT_INVENTORY_FAILED);
    EXPECT_EQ(FieldsOf(status), (Fields{kBefore, kBefore, kBefore, "-77"}));
    EXPECT_EQ(FieldsOf(consumption), Untouched(3));
    EXPECT_THAT(journal.Of({"https"}), IsEmpty());
    EXPECT_EQ(log.Lines(), (LogLines{{1, "node 0is wrong: need 1-4"},
                                     {1, "node 5is wrong: need 1-4"},
                                     {1, "node 0is wrong: need 1-4"},
                                     {1, "node 18446744073709551615is wrong: need 1-4"}}));
    EXPECT_EQ(OwnLines(), log.Lines());
}

TEST_F(HttpsNodes, AreAskedForUpToTheLast)
{
    Build();
    NodeStatus status;
    service.Answers(Hex("80 02 FF 01"));
    EXPECT_EQ(inventory->GetNodeStatus(4, status), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A7 04"}));
}

TEST_F(HttpsNodes, AreAllOutOfRangeWhenTheStatusWasNeverRead)
{
    BuildUnread();
    ChassisPowerCon consumption;
    EXPECT_EQ(inventory->GetNodePowerConsumption(1, consumption), VKT_INVENTORY_FAILED);
    EXPECT_EQ(log.Lines(), (LogLines{{1, "node 1is wrong: need 1-0"}}));
    EXPECT_THAT(journal.Of({"https"}), IsEmpty());
}

TEST_F(HttpsNodes, AreCountedWithoutARequest)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    EXPECT_EQ(inventory->GetNodeNub(), 12U);
    EXPECT_EQ(inventory->GetNodeNub(), 12U);
    EXPECT_THAT(journal.Of({"https", "log"}), IsEmpty());
}

TEST_F(Https, AsksForChassisPowerByPlatform)
{
    ChassisPowerCon consumption;
    ChassisPowerCap cap;
    for (const auto& [platform, selector] :
         {std::pair(0xFC, "0D"), {0xFD, "0D"}, {0xFE, "05"}, {0x10, "05"}}) {
        Build(VKT_TYPE_FIRST_GENERATION, Status(static_cast<std::uint8_t>(platform), 3));
        service.Answers({}, 2);
        inventory->GetChassisPowerConsumption(consumption);
        inventory->GetChassisPowerCap(cap);
        EXPECT_EQ(journal.Requests(),
                  (Lines{std::string("32 98 ") + selector, std::string("32 9D ") + selector}));
    }
}

}  // namespace
}  // namespace Tulvo::Tests
