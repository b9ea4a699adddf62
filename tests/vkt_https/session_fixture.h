// SPDX-License-Identifier: Apache-2.0
/// @file
/// A module with Redfish sessions.
#ifndef TESTS_VKT_HTTPS_SESSION_FIXTURE_H
#define TESTS_VKT_HTTPS_SESSION_FIXTURE_H

#include <atomic>
#include <string>
#include <vector>

#include "tests/vkt_https/https_fixture.h"

namespace Tulvo::Tests {

inline constexpr const char* kAction =
    "POST /redfish/v1/Managers/1/Actions/Oem/VKTManager.SendIpmiCommand";
inline constexpr const char* kLogin = "POST /redfish/v1/SessionService/Sessions";
inline constexpr const char* kDelete1 = "DELETE /redfish/v1/SessionService/Sessions/1";
inline constexpr const char* kDelete2 = "DELETE /redfish/v1/SessionService/Sessions/2";

/// The client logs in; the members say how the module misbehaves.
class Session : public HttpsTest
{
protected:
    Session();
    ~Session() override;

    std::string Answer(const Request& arrived);
    void ConnectAs(const std::string& password, std::int32_t authentication = 1);
    /// Method and path of each request that arrived.
    std::vector<std::string> Arrived() const;

    std::string loginStatus = "201 Created";
    std::string loginBody = "{}";
    std::string deletionStatus = "204 No Content";
    std::string deletionBody;
    std::string refusalStatus = "401 Unauthorized";  ///< For requests without the valid token.
    std::string refusal = "{}";
    std::string tokenField = "X-Auth-Token: token-";
    std::string locationField = "Location: /redfish/v1/SessionService/Sessions/";
    std::atomic<int> logins = 0;
    std::atomic<int> validLogin = 1;  ///< Number of the only log-in whose token is taken.
};

}  // namespace Tulvo::Tests

#endif
