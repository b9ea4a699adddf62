// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>
#include <vector>

#include "module/vkt/vkt_inventory/impl/vkt_inventory_impl.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace Tulvo::Tests {
namespace {

/// The texts of each record, in the order in which it holds them.
auto TextsOf(ChassisPowerCap& cap)
{
    return std::vector{&cap.min, &cap.max, &cap.protectiveCap, &cap.userCap, &cap.thermalCap};
}
auto TextsOf(ChassisPowerCon& consumption)
{
    return std::vector{&consumption.min, &consumption.avg, &consumption.max};
}
auto TextsOf(NodeStatus& node)
{
    return std::vector{&node.powerState, &node.width, &node.height};
}
auto TextsOf(PSUFanSpeed& fans)
{
    return std::vector{&fans.psu, &fans.speedA, &fans.patA, &fans.speedB, &fans.patB, &fans.status};
}
auto TextsOf(PSUFwInfo& firmware)
{
    return std::vector{&firmware.psu, &firmware.manufacturer, &firmware.version, &firmware.slot,
                       &firmware.name};
}
auto TextsOf(PSUStatus& supply)
{
    return std::vector{&supply.epow, &supply.throttle, &supply.present, &supply.pwrGood};
}

/// Long enough that a string has to allocate it: a copy that shares or a move that forgets shows.
std::string TextOf(std::size_t field)
{
    return "a text that fits into no small buffer, field " + std::to_string(field);
}

template <class Record>
void Fill(Record& record)
{
    std::size_t field = 0;
    for (std::string* text : TextsOf(record)) {
        *text = TextOf(field++);
    }
}

template <class Record>
void ExpectFilled(Record& record)
{
    std::size_t field = 0;
    for (const std::string* text : TextsOf(record)) {
        EXPECT_EQ(*text, TextOf(field++));
    }
}

template <class Record>
void ExpectEmpty(Record& record)
{
    for (const std::string* text : TextsOf(record)) {
        EXPECT_EQ(*text, "");
    }
}

template <class Record>
class TextRecord : public ::testing::Test
{
};

struct RecordNames
{
    template <class Record>
    static std::string GetName(int)
    {
        return std::is_same_v<Record, ChassisPowerCap>   ? "ChassisPowerCap"
               : std::is_same_v<Record, ChassisPowerCon> ? "ChassisPowerCon"
               : std::is_same_v<Record, NodeStatus>      ? "NodeStatus"
               : std::is_same_v<Record, PSUFanSpeed>     ? "PSUFanSpeed"
               : std::is_same_v<Record, PSUFwInfo>       ? "PSUFwInfo"
                                                         : "PSUStatus";
    }
};

using TextRecords = ::testing::Types<ChassisPowerCap, ChassisPowerCon, NodeStatus, PSUFanSpeed,
                                     PSUFwInfo, PSUStatus>;
TYPED_TEST_SUITE(TextRecord, TextRecords, RecordNames);

TYPED_TEST(TextRecord, StartsEmpty)
{
    TypeParam record;
    ExpectEmpty(record);
}

TYPED_TEST(TextRecord, HoldsItsTextsInTheirOrder)
{
    TypeParam record;
    const std::vector<std::string*> texts = TextsOf(record);
    EXPECT_EQ(static_cast<void*>(texts.front()), static_cast<void*>(&record));
    for (std::size_t field = 1; field < texts.size(); ++field) {
        EXPECT_EQ(texts[field], texts[field - 1] + 1) << "field " << field;
    }
}

TYPED_TEST(TextRecord, IsCopiedFieldByField)
{
    TypeParam original;
    Fill(original);
    TypeParam copy(original);
    ExpectFilled(copy);
    ExpectFilled(original);
    TypeParam assigned;
    assigned = copy;
    ExpectFilled(assigned);
    ExpectFilled(copy);
}

TYPED_TEST(TextRecord, IsMovedFieldByField)
{
    TypeParam original;
    Fill(original);
    TypeParam moved(std::move(original));
    ExpectFilled(moved);
    ExpectEmpty(original);  // NOLINT(bugprone-use-after-move): a moved-from record is valid
    TypeParam assigned;
    assigned = std::move(moved);
    ExpectFilled(assigned);
    ExpectEmpty(moved);  // NOLINT(bugprone-use-after-move): as above
}

TYPED_TEST(TextRecord, SurvivesAssignmentToItself)
{
    TypeParam record;
    Fill(record);
    TypeParam& same = record;
    record = same;
    ExpectFilled(record);
}

TEST(NodeStatus, CarriesItsNumberInCopiesAndMoves)
{
    NodeStatus node;
    node.permissionState = 255;
    const NodeStatus copy(node);
    EXPECT_EQ(copy.permissionState, 255);
    NodeStatus assigned;
    assigned = copy;
    EXPECT_EQ(assigned.permissionState, 255);
    NodeStatus moved(std::move(assigned));
    EXPECT_EQ(moved.permissionState, 255);
    NodeStatus moveAssigned;
    moveAssigned = std::move(moved);
    EXPECT_EQ(moveAssigned.permissionState, 255);
}

TEST(NodeStatus, HoldsItsNumberAfterItsTexts)
{
    NodeStatus node;
    EXPECT_EQ(static_cast<void*>(&node.permissionState), static_cast<void*>(&node.height + 1));
}

TEST(VKTStatus, StartsAsPlatformFEWithTwoPowerSupplies)
{
    const VKTStatus status;
    EXPECT_EQ(status.platformId, 254);
    EXPECT_EQ(status.psuCount, 2);
}

TEST(VKTStatus, IsCopiedAndMovedAsTwoNumbers)
{
    VKTStatus original;
    original.platformId = 0xFD;
    original.psuCount = 9;
    VKTStatus assigned;
    assigned = original;
    VKTStatus moveAssigned;
    moveAssigned = std::move(assigned);
    const VKTStatus copy(moveAssigned);
    EXPECT_EQ(copy.platformId, 0xFD);
    EXPECT_EQ(copy.psuCount, 9);
    static_assert(sizeof(VKTStatus) == 2 * sizeof(std::int32_t));
}

TEST(VKTInventoryErrorCode, HasFiveValuesOf32Bits)
{
    static_assert(std::is_same_v<std::underlying_type_t<VKTInventoryErrorCode>, std::int32_t>);
    EXPECT_EQ(VKT_INVENTORY_SUCCESS, 0);
    EXPECT_EQ(VKT_INVENTORY_TRANSPORT_ERROR, 1);
    EXPECT_EQ(VKT_INVENTORY_CONNECT_FAILED, 2);
    EXPECT_EQ(VKT_INVENTORY_FAILED, 3);
    EXPECT_EQ(VKT_INVENTORY_NO_DATA, 4);
}

TEST(VKTInventory, CannotBeCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<VKTInventory>);
    EXPECT_FALSE(std::is_copy_assignable_v<VKTInventory>);
}

}  // namespace
}  // namespace Tulvo::Tests
