// SPDX-License-Identifier: Apache-2.0
#include "tests/decoders/decoders.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

namespace Tulvo::Tests {

namespace {

using Parser = VKTInventoryParseResponse;
using Result = VKTInventoryErrorCode;

Parser ParserFor(const Answer& answer)
{
    Parser parser;
    parser.vktType = answer.vktType;
    return parser;
}

// The three shapes of routines.

template <class Output>
Result Run(Result (Parser::*routine)(const Bytes&, std::uint8_t, Output&) const,
           const Answer& answer, Output& output)
{
    return (ParserFor(answer).*routine)(answer.response, answer.completionCode, output);
}

template <class Number, class Output>
Result Run(Result (Parser::*routine)(const Bytes&, std::uint8_t, Number, Output&) const,
           const Answer& answer, Output& output)
{
    return (ParserFor(answer).*routine)(answer.response, answer.completionCode,
                                        static_cast<Number>(answer.number), output);
}

Result Run(void (Parser::*routine)(const VKTStatus&, std::uint64_t&) const, const Answer& answer,
           std::uint64_t& nodeCount)
{
    VKTStatus status;
    status.platformId = static_cast<std::int32_t>(answer.number);
    (ParserFor(answer).*routine)(status, nodeCount);
    return VKT_INVENTORY_SUCCESS;
}

template <class Output>
void LeaveAlone(const Answer&, Output&)
{
}

/// A list of statuses has its length whatever the answer says.
void LeaveAlone(const Answer& answer, std::vector<PSUStatus>& statuses)
{
    statuses.resize(answer.number);
}

template <class Output, auto routine>
struct Routine
{
    static Outcome Decode(const Answer& answer)
    {
        return OutcomeOf<Output>([&](Output& output) { return Run(routine, answer, output); });
    }

    static Result DecodeAgain(const Answer& answer)
    {
        static Output output;
        return Run(routine, answer, output);
    }

    static Fields Untouched(const Answer& answer)
    {
        Output output;
        SetBefore(output);
        LeaveAlone(answer, output);
        return FieldsOf(output);
    }
};

template <class Output, auto routine>
DecoderRow Row(const char* name, Verdict (*verdict)(const Answer&), const Bytes& ofFirstGeneration,
               const Bytes& ofVkt2, std::uint64_t number = 1)
{
    using Wrapped = Routine<Output, routine>;
    return {name,
            Wrapped::Decode,
            Wrapped::DecodeAgain,
            Wrapped::Untouched,
            verdict,
            {VKT_TYPE_FIRST_GENERATION, 0, ofFirstGeneration, number},
            {VKT_TYPE_VKT2, 0, ofVkt2, number}};
}

constexpr std::uint64_t kSlot = 2;
constexpr std::uint64_t kSlots = 9;
constexpr std::uint64_t kPlatform = 0xFD;

std::vector<DecoderRow> MakeTable()
{
    using Consumption = ChassisPowerCon;
    using Statuses = std::vector<PSUStatus>;
    const Bytes moduleStatus = Hex("FD 00 00 00 00 00 00 00 00 00 00 00 00 03");
    return {
        Row<std::string, &Parser::ParseMachineType>("ParseMachineType", OfMachineType,
                                                    Chars("7X2Z"), Chars("..7X2Z")),
        Row<std::string, &Parser::ParseGetSerialNumber>("ParseGetSerialNumber", ByLength<3, 1>,
                                                        Chars("J30ABC12  "), Chars("..J30ABC12  ")),
        Row<std::string, &Parser::ParseGetFirmwareVersion>(
            "ParseGetFirmwareVersion", ByLength<7, 6>, Chars("12...ABC123"), Chars(".12...ABC123")),
        Row<std::string, &Parser::ParseName>("ParseName", ByLength<3, 1>, Chars("Chassis A"),
                                             Chars("..Chassis A")),
        Row<Consumption, &Parser::ParseChassisPowerConsumption>(
            "ParseChassisPowerConsumption", ByLength<7, 6>, Hex("2C 01 90 01 F4 01"),
            Hex("00 2C 01 90 01 F4 01")),
        Row<ChassisPowerCap, &Parser::ParseChassisPowerCap>(
            "ParseChassisPowerCap", ByLength<11, 10>, Hex("00 00 B0 04 00 00 E8 03 FF FF"),
            Hex("00 00 00 B0 04 00 00 E8 03 FF FF")),
        Row<Consumption, &Parser::ParseNodePowerConsumption>(
            "ParseNodePowerConsumption", ByLength<6, 6>, Hex("FF FF 00 00 64 00"),
            Hex("00 FF FF 00 00 64 00")),
        Row<PSUFanSpeed, &Parser::ParsePSUFanSpeed>("ParsePSUFanSpeed", ByLength<8, 4>,
                                                    Hex("10 27 05 01"),
                                                    Hex("00 E8 03 02 00 00 00 02"), kSlot),
        Row<std::string, &Parser::ParsePSUVersion>("ParsePSUVersion", ByLength<2, 2>, Hex("03 01"),
                                                   Hex("03 01")),
        Row<std::string, &Parser::ParsePSUManufacture>("ParsePSUManufacture", OfPSUManufacture,
                                                       Chars(".ACME"), Chars("ACME.")),
        Row<std::string, &Parser::ParsePSUPosition>("ParsePSUPosition", ByLength<2, 2>,
                                                    Hex("01 0A"), Hex("01 0A")),
        Row<Statuses, &Parser::ParsePSUStatus>("ParsePSUStatus", ByLength<6, 6>,
                                               Hex("05 00 07 06 00 00"),
                                               Hex("05 00 00 00 00 00 06 00 07 00"), kSlots),
        Row<NodeStatus, &Parser::ParseNodeStatus>("ParseNodeStatus", OfNodeStatus,
                                                  Hex("80 02 FF 01"), Hex("00 80 02 FF 01")),
        Row<VKTStatus, &Parser::ParseVKTStatusImp>("ParseVKTStatusImp", OfVKTStatus, moduleStatus,
                                                   moduleStatus),
        Row<std::uint64_t, &Parser::ParseNodeCount>("ParseNodeCount", OfNodeCount, {}, {},
                                                    kPlatform),
    };
}

}  // namespace

const std::vector<DecoderRow>& DecoderTable()
{
    static const std::vector<DecoderRow> table = MakeTable();
    return table;
}

const DecoderRow& DecoderOf(std::string_view routine)
{
    const auto& table = DecoderTable();
    const auto row = std::find_if(table.begin(), table.end(), [routine](const DecoderRow& decoder) {
        return decoder.routine == routine;
    });
    if (row == table.end()) {
        throw std::out_of_range("no decoder is called " + std::string(routine));
    }
    return *row;
}

}  // namespace Tulvo::Tests
