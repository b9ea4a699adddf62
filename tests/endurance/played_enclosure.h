// SPDX-License-Identifier: Apache-2.0
/// @file
/// An enclosure simulated in processes of its own, and users of the library who ask it repeatedly.
#ifndef TESTS_ENDURANCE_PLAYED_ENCLOSURE_H
#define TESTS_ENDURANCE_PLAYED_ENCLOSURE_H

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "common/connection/connection_info.h"
#include "common/connection/connection_values.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Tests {

/// How an enclosure is reached.
struct Transport
{
    const char* name;
    const char* endpoint;  ///< The simulator's name for it.
    TulvoConnection::ConnectionType type;
    TulvoConnection::Authentication authentication;
};

inline constexpr Transport kRmcp = {"RMCP+", "rmcp", TulvoConnection::kConnectOverRmcpPlus,
                                    TulvoConnection::kAuthenticateBasic};
inline constexpr Transport kHttps = {"HTTPS", "https", TulvoConnection::kConnectOverHttps,
                                     TulvoConnection::kAuthenticateBasic};
inline constexpr Transport kHttpsInSessions = {"HTTPS in sessions", "https",
                                               TulvoConnection::kConnectOverHttps,
                                               TulvoConnection::kAuthenticateBySession};

/// One simulated enclosure.
class PlayedEnclosure
{
public:
    explicit PlayedEnclosure(const std::string& scenario);

    const nlohmann::json& Scenario() const { return scenario_; }
    /// Over HTTPS the enclosure is trusted by its key, which the caller has to configure.
    TulvoConnection::ConnectionInfo Record(const Transport& transport) const;
    std::string Pin() const { return endpoints_.at("https").at("pin"); }
    /// The simulator itself and the RMCP+ server that it runs.
    std::vector<pid_t> Processes() const;
    /// Ends it.
    /// @return what was wrong: sessions that were left open, or an end with an error.
    std::string End();

private:
    nlohmann::json scenario_;
    Simulator::SimulatorProcess process_;
    nlohmann::json endpoints_;
};

/// One user, who makes a facade and asks all questions in turn, again and again.
struct User
{
    const PlayedEnclosure& enclosure;
    Transport transport;

    /// Asks `count` questions; each facade is asked `questionsPerFacade`.
    /// @return what the first wrong answer was to, and what it was; empty without one.
    std::string Ask(int count, int questionsPerFacade) const;
};

}  // namespace Tulvo::Tests

#endif
