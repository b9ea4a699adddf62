// SPDX-License-Identifier: Apache-2.0
/// @file
/// The enclosure's Redfish service: raw IPMI as an OEM action, and log-in sessions. It is strict,
/// so that a client's deviation shows here and not with a real module.
#ifndef APPS_VKT_SIMULATOR_HTTPS_SERVICE_H
#define APPS_VKT_SIMULATOR_HTTPS_SERVICE_H

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "apps/vkt_simulator/https_message.h"
#include "apps/vkt_simulator/scenario.h"
#include "apps/vkt_simulator/session_table.h"

namespace Tulvo::Simulator {

/// Where raw IPMI requests go.
inline constexpr std::string_view kActionPath =
    "/redfish/v1/Managers/1/Actions/Oem/VKTManager.SendIpmiCommand";
/// Where sessions are opened; each is closed at "/" and its id below.
inline constexpr std::string_view kSessionsPath = "/redfish/v1/SessionService/Sessions";

/// Serves any number of threads.
class HttpsService
{
public:
    explicit HttpsService(const Scenario& scenario);

    /// Plays another scenario of the same account. What is open stays open.
    void Change(const Scenario& scenario);
    /// The reply to every request there can be; refusals are replies too.
    HttpsReply Answer(const HttpsRequest& request);
    std::size_t OpenSessions();

private:
    HttpsReply Route(const HttpsRequest& request);
    HttpsReply SendIpmiCommand(const HttpsRequest& request);
    HttpsReply OpenSession(const HttpsRequest& request);
    HttpsReply CloseSession(const HttpsRequest& request);
    void RefuseWhenBusy() const;
    bool IsAccount(const std::string& authorization);
    void DemandLogIn(const HttpsRequest& request);

    const Credentials credentials_;
    const std::string basic_;  ///< what Authorization must be
    std::mutex mutex_;         ///< for all that follows
    bool busy_;
    SessionTable sessions_;
    std::vector<HttpsFault> faults_;
    FaultyEnclosure enclosure_;
    std::chrono::milliseconds logInLatency_{0};  ///< of the request that is being answered
};

}  // namespace Tulvo::Simulator

#endif
