// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_impl.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace Tulvo::Tests {
namespace {

// NOLINTBEGIN(bugprone-macro-parentheses): a parameter list cannot stand in parentheses
#define VKT_QUERY(Name, Parameters)                \
    VKTInventoryErrorCode Name Parameters override \
    {                                              \
        return VKT_INVENTORY_FAILED;               \
    }
// NOLINTEND(bugprone-macro-parentheses)

/// A backend that leaves one operation to the base.
class WithoutGetNodeNub : public VKTInventoryImpl
{
public:
    WithoutGetNodeNub() : VKTInventoryImpl({}) {}
    VKT_QUERY(GetMachineType, (std::string&))
    VKT_QUERY(GetSerialNumber, (std::string&))
    VKT_QUERY(GetFirmwareVersion, (std::string&))
    VKT_QUERY(GetName, (std::string&))
    VKT_QUERY(GetChassisPowerConsumption, (ChassisPowerCon&))
    VKT_QUERY(GetChassisPowerCap, (ChassisPowerCap&))
    VKT_QUERY(GetPSUFanSpeed, (std::vector<PSUFanSpeed>&))
    VKT_QUERY(GetPSUFwInfo, (std::vector<PSUFwInfo>&))
    VKT_QUERY(GetPSUStatus, (std::vector<PSUStatus>&))
    VKT_QUERY(GetNodeStatus, (std::uint64_t, NodeStatus&))
    VKT_QUERY(GetNodePowerConsumption, (std::uint64_t, ChassisPowerCon&))
    VKT_QUERY(GetVKTStatus, (VKTStatus&))
    VKT_QUERY(SelectPSU, (std::int32_t))
};

/// A backend that leaves none.
class Complete : public WithoutGetNodeNub
{
public:
    std::uint64_t GetNodeNub() override { return VKTInventoryImpl::GetNodeNub(); }
};

TEST(VKTInventoryImpl, LeavesNoOperationToTheBase)
{
    EXPECT_TRUE(std::is_abstract_v<WithoutGetNodeNub>);
    EXPECT_FALSE(std::is_abstract_v<Complete>);
}

TEST(VKTInventoryImpl, CountsNoNodesBeforeTheStatusWasRead)
{
    EXPECT_EQ(Complete().GetNodeNub(), 0U);
}

}  // namespace
}  // namespace Tulvo::Tests
