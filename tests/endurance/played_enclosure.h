// SPDX-License-Identifier: Apache-2.0
/// @file
/// An enclosure in processes of its own, and users of the library who ask it again and again.
#ifndef TESTS_ENDURANCE_PLAYED_ENCLOSURE_H
#define TESTS_ENDURANCE_PLAYED_ENCLOSURE_H

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "common/connection/connection_info.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Tests {

/// A way to an enclosure.
struct Road
{
    const char* name;
    const char* endpoint;  ///< What the simulator calls it.
    std::int32_t connectionType;
    std::int32_t authentication;
};

inline constexpr Road kRmcp = {"RMCP+", "rmcp", 7, 0};
inline constexpr Road kHttps = {"HTTPS", "https", 9, 0};
inline constexpr Road kHttpsInSessions = {"HTTPS in sessions", "https", 9, 1};

/// One simulated enclosure.
class PlayedEnclosure
{
public:
    explicit PlayedEnclosure(const std::string& scenario);

    const nlohmann::json& Scenario() const { return scenario_; }
    /// Over HTTPS the enclosure is trusted by its key, which the caller makes known.
    TulvoConnection::ConnectionInfo Record(const Road& road) const;
    std::string Pin() const { return endpoints_.at("https").at("pin"); }
    /// The simulator itself and the RMCP+ server that it runs.
    std::vector<pid_t> Processes() const;
    /// Ends it.
    /// @return what was amiss: sessions that were left open, or an end with an error.
    std::string End();

private:
    nlohmann::json scenario_;
    Simulator::SimulatorProcess process_;
    nlohmann::json endpoints_;
};

/// One user, who makes a facade and asks all questions in turn, anew and anew.
struct User
{
    const PlayedEnclosure& enclosure;
    Road road;

    /// Asks `count` questions; each facade is asked `questionsPerFacade`.
    /// @return what the first wrong answer was to, and what it was; empty without one.
    std::string Ask(int count, int questionsPerFacade) const;
};

}  // namespace Tulvo::Tests

#endif
