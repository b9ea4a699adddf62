// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_VKT_SIMULATOR_CURL_H
#define TESTS_VKT_SIMULATOR_CURL_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/vkt_simulator/shell.h"

namespace Tulvo::Simulator {

inline const std::string kActionPlace =
    "/redfish/v1/Managers/1/Actions/Oem/VKTManager.SendIpmiCommand";
inline const std::string kSessionsPlace = "/redfish/v1/SessionService/Sessions";

inline std::string Url(const nlohmann::json& https, const std::string& place = kActionPlace,
                       const std::string& host = "127.0.0.1")
{
    return "https://" + host + ':' + std::to_string(https.at("port").get<std::uint16_t>()) + place;
}

/// The shell's words for one JSON body to one place.
inline std::string Post(const std::string& body, const std::string& place = kActionPlace)
{
    return "--json '" + body + "' $base" + place;
}

/// The shell's words for one IPMI request with the usual account.
inline std::string IpmiCall(int netFn, int command, const std::string& digits)
{
    return "--user admin:enclosure " +
           Post(R"({"NetFn":)" + std::to_string(netFn) + R"(,"Lun":0,"Command":)" +
                std::to_string(command) + R"(,"RequestData":")" + digits + "\"}");
}

/// What curl prints, and its exit code behind "exit " when that is not 0. `words` may use $base,
/// the server's URL without a path, $ca, its certificate's file, and $pin; the server's certificate
/// is checked against that file.
inline std::string Curl(const nlohmann::json& https, const std::string& words)
{
    const std::string output =
        Shell("base=" + Url(https, "") + " ca=" + https.at("certificateFile").get<std::string>() +
              " pin=" + https.at("pin").get<std::string>() +
              "; curl --silent --show-error --max-time 60 --cacert $ca " + words);
    const std::string good = "exit 0";
    return output.ends_with(good) ? output.substr(0, output.size() - good.size()) : output;
}

}  // namespace Tulvo::Simulator

#endif
