// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_vkt_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "tests/fakes/journal.h"

namespace Tulvo::Fakes {
namespace {

using ::testing::ElementsAre;

TEST(FakeVKTInfo, NamesTheClientThatItWasGiven)
{
    Journal journal;
    FakeVKTInfo service;
    service.Tells(VKT_TYPE_VKT2);
    IpmiClient client("host", "user", "secret", "623", 3);
    VKTIype type = VKT_TYPE_UNKNOWN;
    EXPECT_EQ(VKTInfo(&client).GetVktType(type), VKT_INFO_SUCCESS);
    EXPECT_EQ(type, VKT_TYPE_VKT2);
    EXPECT_THAT(journal.Of({"info"}), ElementsAre("info over client 1", "info asked"));
}

TEST(FakeVKTInfo, LeavesTheTypeAloneWhenItFails)
{
    FakeVKTInfo service;
    service.Fails(VKT_INFO_TRANSPORT_ERROR);
    VKTIype type = VKT_TYPE_VKT2;
    EXPECT_EQ(service.PlayGetVktType(type), VKT_INFO_TRANSPORT_ERROR);
    EXPECT_EQ(type, VKT_TYPE_VKT2);
}

TEST(FakeVKTInfo, FailsTheTestWhenMoreIsAskedThanScripted)
{
    FakeVKTInfo service;
    VKTIype type = VKT_TYPE_UNKNOWN;
    EXPECT_NONFATAL_FAILURE(service.PlayGetVktType(type), "nothing scripted for GetVktType()");
}

}  // namespace
}  // namespace Tulvo::Fakes
