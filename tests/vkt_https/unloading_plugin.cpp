// SPDX-License-Identifier: Apache-2.0
// A plug-in of a host: asks a module whose name is not found before the time is over.
#include "module/vkt/vkt_https/vkt_https.h"

extern "C" __attribute__((visibility("default"))) bool RequestTimesOut()
{
    Tulvo::TulvoConnection::ConnectionInfo record;
    record.address = "module.example";
    record.connectTimeoutSeconds = 1;
    record.requestTimeoutSeconds = 1;
    Tulvo::VKTHttps client(record);
    std::vector<std::uint8_t> response;
    std::uint8_t completionCode = 0;
    return client.SendIpmiCmdOverHttps({0xB0, {}, 0x32}, response, completionCode) ==
           Tulvo::VKT_HTTPS_TIMEOUT;
}
