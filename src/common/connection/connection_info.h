// SPDX-License-Identifier: Apache-2.0
/// @file
/// How to reach one management module, and as whom. A caller fills this record and hands it to
/// Tulvo::VKTInventory, which copies it; nobody keeps a reference to the caller's.
#ifndef COMMON_CONNECTION_CONNECTION_INFO_H
#define COMMON_CONNECTION_CONNECTION_INFO_H

#include <cstdint>
#include <string>

namespace Tulvo {
namespace TulvoConnection {

/// Connection parameters. Every number starts at 0, which means "the default" wherever the
/// transport reads it.
class ConnectionInfo
{
public:
    std::string address;                      ///< Host name, IPv4 or IPv6 address of the module.
    std::string userName;                     ///< Name to log in with.
    std::string password;                     ///< Password to log in with; never logged.
    std::uint16_t port = 0;                   ///< RMCP+: UDP, 0 is 623; HTTPS: TCP, 0 is 443.
    std::uint16_t connectTimeoutSeconds = 0;  ///< HTTPS: longest time to connect; 0 is 5 s.
    std::uint16_t requestTimeoutSeconds = 0;  ///< HTTPS: longest time for a request; 0 is 30 s.
    /// HTTPS: 0 verify against authorities, 1 verify the pinned public key only, 2 verify nothing.
    std::int32_t tlsVerification = 0;
    std::int32_t connectionType = 0;  ///< 7 RMCP+, 9 HTTPS; no other value names a transport.
    std::int32_t addressFamily = 0;   ///< HTTPS: 0 any, 4 IPv4 only, 6 IPv6 only.
    std::int32_t authentication = 0;  ///< HTTPS: 0 Basic, 1 Redfish session token.
};

}  // namespace TulvoConnection
}  // namespace Tulvo

#endif
