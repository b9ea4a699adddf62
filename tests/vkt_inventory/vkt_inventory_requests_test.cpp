// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/fakes/journal.h"

namespace Tulvo::Tests {
namespace {

constexpr VKTIype kFirst = VKT_TYPE_FIRST_GENERATION;
constexpr VKTIype kVkt2 = VKT_TYPE_VKT2;
constexpr VKTIype kUnknown = VKT_TYPE_UNKNOWN;

/// A request and its bytes: network function, command, data.
struct RequestCase
{
    const char* name;
    IPMICOMMAND request;
    const char* bytes;
};

class Request : public ::testing::TestWithParam<RequestCase>
{
};

TEST_P(Request, HasItsBytes)
{
    EXPECT_EQ(Fakes::ToText(GetParam().request), GetParam().bytes);
}

std::string NameOfRequest(const ::testing::TestParamInfo<RequestCase>& row)
{
    return row.param.name;
}

INSTANTIATE_TEST_SUITE_P(Module, Request,
                         ::testing::ValuesIn(std::vector<RequestCase>{
                             {"MachineType", Requests::MachineType(), "32 B0 05 00"},
                             {"SerialNumber", Requests::SerialNumber(), "32 B0 05 01"},
                             {"FirmwareVersion", Requests::FirmwareVersion(), "32 A8"},
                             {"Name", Requests::Name(), "32 B0 05 0B"},
                             {"StatusIsTheRequestOfTheFirmwareVersion", Requests::VKTStatus(),
                              "32 A8"},
                             {"PowerSupplyStatus", Requests::PSUStatus(), "32 91"},
                         }),
                         NameOfRequest);

INSTANTIATE_TEST_SUITE_P(
    ChassisPower, Request,
    ::testing::ValuesIn(std::vector<RequestCase>{
        {"ConsumptionOfPlatformFC", Requests::ChassisPowerConsumption(0xFC), "32 98 0D"},
        {"ConsumptionOfPlatformFD", Requests::ChassisPowerConsumption(0xFD), "32 98 0D"},
        {"ConsumptionOfPlatformFE", Requests::ChassisPowerConsumption(0xFE), "32 98 05"},
        {"ConsumptionOfPlatformFB", Requests::ChassisPowerConsumption(0xFB), "32 98 05"},
        {"ConsumptionOfPlatform0", Requests::ChassisPowerConsumption(0), "32 98 05"},
        {"ConsumptionOfANegativePlatform", Requests::ChassisPowerConsumption(-4), "32 98 05"},
        {"ConsumptionOfTheLowestPlatform",
         Requests::ChassisPowerConsumption(std::numeric_limits<std::int32_t>::min()), "32 98 05"},
        {"CapOfPlatformFC", Requests::ChassisPowerCap(0xFC), "32 9D 0D"},
        {"CapOfPlatformFD", Requests::ChassisPowerCap(0xFD), "32 9D 0D"},
        {"CapOfPlatformFE", Requests::ChassisPowerCap(0xFE), "32 9D 05"},
        {"CapOfAnUnknownPlatform", Requests::ChassisPowerCap(0x10), "32 9D 05"},
    }),
    NameOfRequest);

INSTANTIATE_TEST_SUITE_P(
    SlotsAndNodes, Request,
    ::testing::ValuesIn(std::vector<RequestCase>{
        {"FanSpeedOfSlot1", Requests::PSUFanSpeed(1), "32 A5 01"},
        {"FanSpeedOfSlot9", Requests::PSUFanSpeed(9), "32 A5 09"},
        {"FanSpeedOfSlot300InItsLow8Bits", Requests::PSUFanSpeed(300), "32 A5 2C"},
        {"StatusOfNode1", Requests::NodeStatus(1), "32 A7 01"},
        {"StatusOfNode12", Requests::NodeStatus(12), "32 A7 0C"},
        {"StatusOfNode300InItsLow8Bits", Requests::NodeStatus(300), "32 A7 2C"},
        {"ConsumptionOfNode1", Requests::NodePowerConsumption(1), "32 98 01"},
        {"ConsumptionOfNode12", Requests::NodePowerConsumption(12), "32 98 0C"},
        {"ConsumptionOfNode300InItsLow8Bits", Requests::NodePowerConsumption(300), "32 98 2C"},
    }),
    NameOfRequest);

INSTANTIATE_TEST_SUITE_P(
    RegisterReadsOfTheFirstGeneration, Request,
    ::testing::ValuesIn(std::vector<RequestCase>{
        {"VersionOfSlot1", Requests::PSUVersion(kFirst, 1), "06 52 0F D0 02 FC"},
        {"VersionOfSlot2", Requests::PSUVersion(kFirst, 2), "06 52 0D D0 02 FC"},
        {"VersionOfSlot9", Requests::PSUVersion(kFirst, 9), "06 52 0D D0 02 FC"},
        {"VersionOfSlot257IsNotThatOfSlot1", Requests::PSUVersion(kFirst, 257),
         "06 52 0D D0 02 FC"},
        {"VersionOfAnUnknownType", Requests::PSUVersion(kUnknown, 1), "06 52 0F D0 02 FC"},
        {"VersionOfATypeOfNoGeneration", Requests::PSUVersion(static_cast<VKTIype>(-1), 2),
         "06 52 0D D0 02 FC"},
        {"ManufactureOfSlot1", Requests::PSUManufacture(kFirst, 1), "06 52 0F D0 05 99"},
        {"ManufactureOfSlot2", Requests::PSUManufacture(kUnknown, 2), "06 52 0D D0 05 99"},
        {"PositionOfSlot1", Requests::PSUPosition(kFirst, 1), "06 52 0F D0 20 F0"},
        {"PositionOfSlot2", Requests::PSUPosition(kUnknown, 2), "06 52 0D D0 20 F0"},
    }),
    NameOfRequest);

INSTANTIATE_TEST_SUITE_P(
    RegisterReadsOfVkt2, Request,
    ::testing::ValuesIn(std::vector<RequestCase>{
        {"VersionOfSlot1", Requests::PSUVersion(kVkt2, 1), "32 92 01 02 FC"},
        {"VersionOfSlot2", Requests::PSUVersion(kVkt2, 2), "32 92 02 02 FC"},
        {"VersionOfSlot300InItsLow8Bits", Requests::PSUVersion(kVkt2, 300), "32 92 2C 02 FC"},
        {"ManufactureOfSlot9", Requests::PSUManufacture(kVkt2, 9), "32 92 09 05 99"},
        {"PositionOfSlot6", Requests::PSUPosition(kVkt2, 6), "32 92 06 20 F0"},
    }),
    NameOfRequest);

INSTANTIATE_TEST_SUITE_P(
    SelectPSUOfTheFirstGeneration, Request,
    ::testing::ValuesIn(std::vector<RequestCase>{
        {"Supply1", Requests::SelectPSU(kFirst, 0xFE, 1), "32 F4 00 01"},
        {"Supply3", Requests::SelectPSU(kFirst, 0xFE, 3), "32 F4 00 03"},
        {"Supply4IsSentAs3", Requests::SelectPSU(kFirst, 0xFE, 4), "32 F4 00 03"},
        {"Supply5IsSentAs3WhateverThePlatform", Requests::SelectPSU(kFirst, 0xFD, 5),
         "32 F4 00 03"},
        {"Supply300IsSentAs3", Requests::SelectPSU(kUnknown, 0xFC, 300), "32 F4 00 03"},
        {"Supply0", Requests::SelectPSU(kUnknown, 0xFE, 0), "32 F4 00 00"},
        {"SupplyMinus1InItsLowByte", Requests::SelectPSU(kFirst, 0xFE, -1), "32 F4 00 FF"},
        {"SupplyMinus300InItsLowByte", Requests::SelectPSU(kFirst, 0xFE, -300), "32 F4 00 D4"},
        {"LowestSupplyInItsLowByte",
         Requests::SelectPSU(kFirst, 0xFE, std::numeric_limits<std::int32_t>::min()),
         "32 F4 00 00"},
    }),
    NameOfRequest);

INSTANTIATE_TEST_SUITE_P(
    SelectPSUOfVkt2, Request,
    ::testing::ValuesIn(std::vector<RequestCase>{
        {"Supply5OfPlatformFD", Requests::SelectPSU(kVkt2, 0xFD, 5), "32 F4 00 05"},
        {"Supply5OfPlatformFC", Requests::SelectPSU(kVkt2, 0xFC, 5), "32 F4 00 05"},
        {"Supply9OfPlatformFC", Requests::SelectPSU(kVkt2, 0xFC, 9), "32 F4 00 09"},
        {"Supply10OfPlatformFCIsNotSent", Requests::SelectPSU(kVkt2, 0xFC, 10), "32 F4 00"},
        {"Supply12OfPlatformFCIsNotSent", Requests::SelectPSU(kVkt2, 0xFC, 12), "32 F4 00"},
        {"Supply12OfPlatformFDIsNotSent", Requests::SelectPSU(kVkt2, 0xFD, 12), "32 F4 00"},
        {"SupplyMinus1OfPlatformFD", Requests::SelectPSU(kVkt2, 0xFD, -1), "32 F4 00 FF"},
        {"Supply2OfPlatformFE", Requests::SelectPSU(kVkt2, 0xFE, 2), "32 F4 00 02"},
        {"Supply3OfPlatformFEIsNotSent", Requests::SelectPSU(kVkt2, 0xFE, 3), "32 F4 00"},
        {"Supply5OfPlatformFEIsNotSent", Requests::SelectPSU(kVkt2, 0xFE, 5), "32 F4 00"},
        {"SupplyMinus300OfPlatformFE", Requests::SelectPSU(kVkt2, 0xFE, -300), "32 F4 00 D4"},
        {"Supply1OfAnUnknownPlatformIsNotSent", Requests::SelectPSU(kVkt2, 0x10, 1), "32 F4 00"},
        {"Supply1OfPlatform0IsNotSent", Requests::SelectPSU(kVkt2, 0, 1), "32 F4 00"},
    }),
    NameOfRequest);

}  // namespace
}  // namespace Tulvo::Tests
