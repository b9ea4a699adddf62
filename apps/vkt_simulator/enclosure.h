// SPDX-License-Identifier: Apache-2.0
/// @file
/// An enclosure as its management module shows it on the wire: a state, and the answer to every
/// request that a module of either generation serves. It knows nothing of sessions, sockets or
/// faults, and shares no code with whatever reads its answers.
#ifndef APPS_VKT_SIMULATOR_ENCLOSURE_H
#define APPS_VKT_SIMULATOR_ENCLOSURE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Tulvo::Simulator {

enum class Generation
{
    kFirst,
    kVkt2
};

/// One answer: the IPMI completion code and the bytes after it.
struct Answer
{
    std::uint8_t completionCode = 0;
    std::vector<std::uint8_t> bytes;

    friend bool operator==(const Answer&, const Answer&) = default;
};

/// Consumption in the module's unit. 0 and 0xFFFF are what a module sends for readings it lacks.
struct PowerReading
{
    std::uint16_t minimum = 0;
    std::uint16_t average = 0;
    std::uint16_t maximum = 0;
};

/// Limits in the module's unit; 0 is what a module sends for a limit that is not set.
struct PowerCaps
{
    std::uint16_t minimum = 0;
    std::uint16_t maximum = 0;
    std::uint16_t protective = 0;
    std::uint16_t user = 0;
    std::uint16_t thermal = 0;
};

struct Firmware
{
    std::string build;  ///< at most MaxBuildLength()
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
};

struct Node
{
    std::uint8_t powerState = 0;  ///< 0x00 off, 0x20 no permission, 0x40 power fault, 0x80 on
    std::uint8_t width = 0;       ///< 1 half, 2 full, 0xFF not known
    std::uint8_t height = 0;      ///< in units, 0xFF not known
    std::uint8_t permission = 0;
    PowerReading power;
};

struct Fan
{
    std::uint16_t speed = 0;
    std::uint8_t pattern = 0;
};

struct PowerSupply
{
    bool present = false;
    bool powerGood = false;
    bool earlyPowerWarning = false;
    bool throttle = false;
    std::uint8_t fanStatus = 0;  ///< 0 not present, 1 abnormal, 2 normal
    std::array<Fan, 2> fans;     ///< a first-generation supply has the first alone
    std::uint8_t firmwareMajor = 0;
    std::uint8_t firmwareMinor = 0;
    std::string manufacturer;  ///< four characters
    std::uint16_t position = 0;
};

struct EnclosureState
{
    Generation generation = Generation::kFirst;
    std::uint8_t platformId = 0xFE;   ///< 0xFC, 0xFD or 0xFE; a first generation counts as 0xFE
    std::uint8_t generationCode = 0;  ///< of the platform; with 0xFC and 0xFD it tells the slots
    std::string machineType;          ///< at most kMaxTextLength, as the other two
    std::string serialNumber;
    std::string name;
    Firmware firmware;
    PowerReading power;
    PowerCaps caps;
    std::vector<Node> nodes;            ///< NodeCount() of them
    std::vector<PowerSupply> supplies;  ///< SupplyCount() of them
    std::uint8_t selectedSupply = 1;
};

/// Longest identity text: with everything around it, it still fits an answer of 35 bytes, which is
/// what an RMCP+ server of this kind can send.
constexpr std::size_t kMaxTextLength = 32;

/// Longest firmware build name that ends, with its zero byte, before the generation code.
std::size_t MaxBuildLength(Generation generation);

/// How many nodes an enclosure of this platform holds.
std::size_t NodeCount(std::uint8_t platformId);

/// How many slots for power supplies an enclosure of this platform and generation code has.
std::size_t SupplyCount(std::uint8_t platformId, std::uint8_t generationCode);

struct RequestCode
{
    std::uint8_t netFn;
    std::uint8_t command;
};

/// Every request that a module of either generation serves.
std::vector<RequestCode> ServedRequests();

class Enclosure
{
public:
    explicit Enclosure(EnclosureState state) : state_(std::move(state)) {}

    /// The module's answer to one request. Every request has one: unknown commands, wrong lengths
    /// and items that are not there get the completion codes that IPMI has for them.
    Answer Serve(std::uint8_t netFn, std::uint8_t command, const std::vector<std::uint8_t>& data);

    const EnclosureState& State() const { return state_; }

private:
    EnclosureState state_;
};

}  // namespace Tulvo::Simulator

#endif
