// SPDX-License-Identifier: Apache-2.0
// What is particular to HTTPS: one transport object, its codes, and traces of entry.
#include "module/vkt/vkt_inventory/impl/vkt_inventory_https_impl.h"

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

TEST_F(HttpsConstruction, TriesSixTimesWithoutAPauseWhenTheModuleIsUnreachable)
{
    info.Fails(VKT_INFO_TRANSPORT_ERROR);
    service.Fails(VKT_HTTPS_CONNECT_FAILED, 6);
    Construct();
    EXPECT_EQ(journal.Requests(), Lines(6, "32 A8"));
    EXPECT_THAT(journal.Of({"sleep"}), IsEmpty());
    EXPECT_EQ(inventory->GetNodeNub(), 0U);
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

INSTANTIATE_TEST_SUITE_P(Queries, HttpsQuery, ::testing::ValuesIn(SingleRequestQueries()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Https, EndsAWalkOverPowerSuppliesWithTheCodeOfTheTransport)
{
    Build();
    for (const ResultCase& row : kResults) {
        Forget();
        service.Fails(row.code);
        std::vector<PSUFanSpeed> fans;
        EXPECT_EQ(inventory->GetPSUFanSpeed(fans), row.result) << row.code;
        EXPECT_EQ(log.Lines(),
                  (LogLines{{1, "Failed to get the vkt PSU fan speed through https, ret = " +
                                    std::to_string(row.code)}}));
    }
}

}  // namespace
}  // namespace Tulvo::Tests
