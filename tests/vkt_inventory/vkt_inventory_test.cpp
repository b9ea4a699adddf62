// SPDX-License-Identifier: Apache-2.0
// The facade's own: which backend it has. That it carries each query to the backend, the tests of
// the backends show, which ask through it.
#include "module/vkt/vkt_inventory/vkt_inventory.h"

#include "tests/vkt_inventory/backend.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;

class FacadeWithoutBackend : public Backend
{
protected:
    FacadeWithoutBackend() : Backend({"None", 0, "none"}) {}
};

TEST_F(FacadeWithoutBackend, DoesAndWritesNothing)
{
    for (const std::int32_t connectionType : {0, 1, 6, 8, 10, -7, -9, 0x10007}) {
        connection.connectionType = connectionType;
        Construct();
        inventory.reset();
        EXPECT_THAT(Deeds(), IsEmpty()) << connectionType;
        EXPECT_THAT(log.Lines(), IsEmpty()) << connectionType;
    }
}

using Facade = EveryTransport;
INSTANTIATE_TEST_SUITE_P(Over, Facade, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(Facade, HasTheBackendOfItsConnectionType)
{
    info.Tells(VKT_TYPE_FIRST_GENERATION);
    Answers(kSmallEnclosure);
    Construct();
    EXPECT_EQ(journal.Of({"info"}).front(), IsHttps() ? "info over https 1" : "info over client 1");
    EXPECT_THAT(journal.Of({IsHttps() ? "client" : "https"}), IsEmpty());
    Forget();
    inventory.reset();
    EXPECT_EQ(Deeds(), IsHttps() ? Lines{"https 1 destroyed"} : Lines{});
}

TEST_P(Facade, SendsTheSameRequestsBesideAnother)
{
    Build();
    const std::unique_ptr<VKTInventory> first = std::move(inventory);
    Build();
    Answers(Chars("7X2Z"), 2);
    std::string machineType;
    EXPECT_EQ(first->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(inventory->GetMachineType(machineType), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), Lines(2, "32 B0 05 00"));
}

}  // namespace
}  // namespace Tulvo::Tests
