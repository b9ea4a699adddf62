// SPDX-License-Identifier: Apache-2.0
// Whatever a module answers, every decoder gives a result that it can be held to.
#include <gtest/gtest.h>

#include "tests/fakes/fake_log.h"
#include "tests/vkt_inventory/decoder_case.h"

namespace Tulvo::Tests {
namespace {

constexpr auto kSuccess = VKT_INVENTORY_SUCCESS;
constexpr auto kFailed = VKT_INVENTORY_FAILED;
constexpr auto kNoData = VKT_INVENTORY_NO_DATA;

/// How an answer of `length` bytes that are all the letter A ends.
struct Verdict
{
    VKTInventoryErrorCode result;
    bool filled;
};

Verdict Refused()
{
    return {kFailed, false};
}

Verdict FilledFrom(const Answer& answer, std::size_t minimum)
{
    const bool good = answer.completionCode == 0 && answer.response.size() >= minimum;
    return good ? Verdict{kSuccess, true} : Refused();
}

bool IsVkt2(const Answer& answer)
{
    return answer.vktType == VKT_TYPE_VKT2;
}

/// For a decoder that needs `onVkt2` bytes of a VKT2 and `elsewhere` of any other module.
template <std::size_t onVkt2, std::size_t elsewhere>
Verdict ByLength(const Answer& answer)
{
    constexpr std::array<std::size_t, 2> kNeeded{elsewhere, onVkt2};
    return FilledFrom(answer, kNeeded[IsVkt2(answer) ? 1 : 0]);
}

Verdict OfNodeStatus(const Answer& answer)
{
    const std::size_t length = answer.response.size();
    const bool fits = length == 4 || (length == 5 && IsVkt2(answer));
    return fits ? FilledFrom(answer, 0) : Refused();
}

Verdict OfVKTStatus(const Answer& answer)
{
    const bool good = answer.completionCode == 0 && !answer.response.empty();
    return {good ? kSuccess : kNoData, answer.response.size() >= 14};
}

Verdict OfManufacture(const Answer& answer)
{
    if (answer.completionCode != 0 || answer.response.size() < 5) {
        return {kSuccess, false};
    }
    const bool known = answer.vktType == kFirst || IsVkt2(answer);
    return known ? Verdict{kSuccess, true} : Verdict{kNoData, false};
}

struct DecoderRow
{
    const char* name;
    Decode decode;
    Verdict (*verdict)(const Answer&);
    Fields untouched;
};

const std::vector<DecoderRow> kDecoders = {
    {"MachineType", DecodeMachineType, ByLength<6, 4>, Untouched(1)},
    {"SerialNumber", DecodeSerialNumber, ByLength<3, 1>, Untouched(1)},
    {"FirmwareVersion", DecodeFirmwareVersion, ByLength<7, 6>, Untouched(1)},
    {"Name", DecodeName, ByLength<3, 1>, Untouched(1)},
    {"ChassisPowerConsumption", DecodeChassisPowerConsumption, ByLength<7, 6>, Untouched(3)},
    {"ChassisPowerCap", DecodeChassisPowerCap, ByLength<11, 10>, Untouched(5)},
    {"NodePowerConsumption", DecodeNodePowerConsumption, ByLength<6, 6>, Untouched(3)},
    {"PSUFanSpeed", DecodePSUFanSpeed, ByLength<8, 4>, Untouched(6)},
    {"PSUVersion", DecodePSUVersion, ByLength<2, 2>, Untouched(1)},
    {"PSUManufacture", DecodePSUManufacture, OfManufacture, Untouched(1)},
    {"PSUPosition", DecodePSUPosition, ByLength<2, 2>, Untouched(1)},
    {"PSUStatus", DecodePSUStatus, ByLength<6, 6>, Untouched(4)},
    {"NodeStatus", DecodeNodeStatus, OfNodeStatus, {kBefore, kBefore, kBefore, "-77"}},
    {"VKTStatus", DecodeVKTStatus, OfVKTStatus, {"-77", "-77"}},
};

class AnyInput : public ::testing::TestWithParam<DecoderRow>
{
protected:
    Fakes::FakeLog log;  // traces are on: a dump must not read past the end either
};

/// Calls `check` for every length, completion code and module type, known or not.
template <class Check>
void ForEveryAnswer(const Check& check)
{
    for (const int type : {0, 1, 2, -1, 77}) {
        for (const int completionCode : {0, 0xC1, 0xFF}) {
            for (std::size_t length = 0; length <= 255; ++length) {
                SCOPED_TRACE(::testing::Message() << "type " << type << ", completion code "
                                                  << completionCode << ", " << length << " bytes");
                check(Answer{static_cast<VKTIype>(type), static_cast<std::uint8_t>(completionCode),
                             Bytes(length)});
            }
        }
    }
}

TEST_P(AnyInput, OfLettersEndsAsItsLengthCodeAndTypeSay)
{
    ForEveryAnswer([&](Answer answer) {
        answer.response.assign(answer.response.size(), 'A');
        const Outcome outcome = GetParam().decode(answer);
        const Verdict verdict = GetParam().verdict(answer);
        EXPECT_EQ(outcome.result, verdict.result);
        EXPECT_EQ(outcome.fields != GetParam().untouched, verdict.filled);
        log.Clear();
    });
}

TEST_P(AnyInput, OfMixedBytesEndsInTheSameWayButIsNoMachineType)
{
    ForEveryAnswer([&](Answer answer) {
        for (std::size_t at = 0; at < answer.response.size(); ++at) {
            answer.response[at] = static_cast<std::uint8_t>(at * 37 + 11);
        }
        const Outcome outcome = GetParam().decode(answer);
        Verdict verdict = GetParam().verdict(answer);
        if (GetParam().decode == DecodeMachineType && verdict.filled) {
            verdict = {kNoData, false};
        }
        EXPECT_EQ(outcome.result, verdict.result);
        EXPECT_EQ(outcome.fields != GetParam().untouched, verdict.filled);
        log.Clear();
    });
}

INSTANTIATE_TEST_SUITE_P(Decoders, AnyInput, ::testing::ValuesIn(kDecoders),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace Tulvo::Tests
