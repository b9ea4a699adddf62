// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/vkt_inventory.h"

#include <set>

#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/queries.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;

/// A facade for each connection type.
class Facade : public Backend
{
protected:
    Facade() : Backend(0) {}

    void Build(std::int32_t connectionType)
    {
        connection.connectionType = connectionType;
        info.Tells(VKT_TYPE_FIRST_GENERATION);
        connectionType == 7 ? vkt.Answers(kSmallEnclosure) : service.Answers(kSmallEnclosure);
        Construct();
    }

    /// The module answers the next request over either transport.
    void Answers(const Bytes& response, int times = 1)
    {
        connection.connectionType == 7 ? vkt.Answers(response, times)
                                       : service.Answers(response, times);
    }
};

TEST_F(Facade, HasNoBackendAndWritesNothingForAnUnknownConnectionType)
{
    for (const std::int32_t connectionType : {0, 1, 6, 8, 10, -7, -9, 0x10007}) {
        connection.connectionType = connectionType;
        Construct();
        inventory.reset();
        EXPECT_THAT(journal.Of({"client", "https", "info", "config", "sleep", "log"}), IsEmpty())
            << connectionType;
    }
}

TEST_F(Facade, HasTheDirectBackendForType7)
{
    Build(7);
    EXPECT_THAT(journal.Of({"https"}), IsEmpty());
    EXPECT_EQ(journal.Of({"info"}).front(), "info over client 1");
}

TEST_F(Facade, HasTheHttpsBackendForType9)
{
    Build(9);
    EXPECT_THAT(journal.Of({"client"}), IsEmpty());
    EXPECT_EQ(journal.Of({"info"}).front(), "info over https 1");
}

TEST_F(Facade, DestroysItsBackend)
{
    Build(9);
    Forget();
    inventory.reset();
    EXPECT_EQ(journal.Of({"https"}), (Lines{"https 1 destroyed"}));
}

class EveryTransport : public Facade, public ::testing::WithParamInterface<std::int32_t>
{
};

TEST_P(EveryTransport, CarriesEverySingleRequestQueryToItsOwnOperation)
{
    Build(GetParam());
    for (const Query& query : SingleRequestQueries()) {
        Forget();
        Answers(query.answer);
        const Outcome outcome = query.ask(*inventory);
        EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS) << query.name;
        EXPECT_EQ(outcome.fields, query.fields) << query.name;
        EXPECT_EQ(journal.Requests(), (Lines{query.request})) << query.name;
    }
}

TEST_P(EveryTransport, CarriesTheOtherQueriesToTheirOwnOperations)
{
    Build(GetParam());
    Forget();
    Answers(Hex("10 27 05 01"), 2);
    std::vector<PSUFanSpeed> fans;
    EXPECT_EQ(inventory->GetPSUFanSpeed(fans), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(fans.size(), 2U);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A5 01", "32 A5 02"}));

    Forget();
    Answers(Hex("04 41 43 4D 45"), 6);
    std::vector<PSUFwInfo> firmware;
    EXPECT_EQ(inventory->GetPSUFwInfo(firmware), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(firmware.size(), 2U);
    EXPECT_EQ(journal.Requests().size(), 6U);

    Forget();
    Answers(kLargeEnclosure);
    VKTStatus status;
    EXPECT_EQ(inventory->GetVKTStatus(status), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(status.platformId, 0xFD);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A8"}));

    Forget();
    Answers({0x00});
    EXPECT_EQ(inventory->SelectPSU(1), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), (Lines{"32 F4 00 01"}));

    Forget();
    EXPECT_EQ(inventory->GetNodeNub(), 4U);
    EXPECT_THAT(journal.Requests(), IsEmpty());
}

TEST_P(EveryTransport, SendsTheSameRequestsForTwoInventoriesSideBySide)
{
    Build(GetParam());
    const std::unique_ptr<VKTInventory> first = std::move(inventory);
    Build(GetParam());
    Forget();
    Answers(Chars("7X2Z"), 2);
    std::string machineType;
    EXPECT_EQ(first->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(inventory->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), Lines(2, "32 B0 05 00"));
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

TEST_P(EveryTransport, WritesEachRecordFromAStatementOfItsOwn)
{
    using namespace std::string_literals;
    Build(GetParam());
    Forget();
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

INSTANTIATE_TEST_SUITE_P(Transports, EveryTransport, ::testing::Values(7, 9),
                         [](const auto& row) { return row.param == 7 ? "Direct" : "Https"; });

}  // namespace
}  // namespace Tulvo::Tests
