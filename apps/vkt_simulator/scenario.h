// SPDX-License-Identifier: Apache-2.0
/// @file
/// A scenario: one enclosure, its module's account and its faults, read from a JSON file whose
/// members docs/scenarios.md describes.
#ifndef APPS_VKT_SIMULATOR_SCENARIO_H
#define APPS_VKT_SIMULATOR_SCENARIO_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/vkt_simulator/enclosure.h"
#include "apps/vkt_simulator/fault.h"
#include "apps/vkt_simulator/https_fault.h"

namespace Tulvo::Simulator {

/// How many sessions a module can have at most.
constexpr std::uint32_t kMaxSessions = 63;

struct Credentials
{
    std::string user;
    std::string password;
    int privilege = 4;  ///< IPMI's number: 2 user, 3 operator, 4 administrator

    friend bool operator==(const Credentials&, const Credentials&) = default;
};

struct Scenario
{
    std::string description;  ///< one line
    Credentials credentials;
    EnclosureState enclosure;
    std::vector<Fault> faults;
    std::uint32_t sessions = kMaxSessions;  ///< how many are possible at the same time; 0: too busy
    HttpsBehaviour https;
    /// The request, from 1 and over each transport, that the module does not survive.
    std::optional<std::uint32_t> crashAtRequest;
};

/// Reads `text`; messages call it `name`. Nothing is guessed: what is unknown, missing, of another
/// type, out of range or in contradiction with the rest is an error.
/// @throws std::runtime_error with name, place (a JSON pointer, or line and column) and reason.
Scenario ParseScenario(const std::string& text, const std::string& name);

/// @throws std::runtime_error naming the file when it cannot be read.
std::string ReadScenarioFile(const std::string& file);

}  // namespace Tulvo::Simulator

#endif
