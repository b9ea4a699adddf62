// SPDX-License-Identifier: Apache-2.0
/// @file
/// IPMI 2.0 over LAN (RMCP+) as a transport. Settings are values: nothing is asked of the
/// configuration, and two objects share nothing.
#ifndef MODULE_IPMI_IPMI_CLIENT_RMCP_TRANSPORT_H
#define MODULE_IPMI_IPMI_CLIENT_RMCP_TRANSPORT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/platform/export.h"
#include "module/ipmi/ipmi_client/ipmi_transport.h"

namespace Tulvo {

/// Values that cannot be make Open() fail.
struct RmcpSettings
{
    std::string host;                         ///< Name, IPv4 or IPv6 address, brackets allowed.
    std::uint16_t port = 623;                 ///< UDP.
    std::string user;                         ///< At most 16 bytes; empty for the null user.
    std::string password;                     ///< At most 20 bytes.
    std::optional<std::uint8_t> cipherSuite;  ///< Not set: 17, and 3 where there is no 17.
    std::optional<std::uint8_t> privilege;    ///< The ceiling. Not set: 4, and less if need be.
    std::string kg;                           ///< At most 20 bytes; empty for none.
};

/// A transport with these settings; nothing is sent before Open().
VKT_EXPORT std::unique_ptr<IpmiTransport> MakeRmcpTransport(const RmcpSettings& settings);

}  // namespace Tulvo

#endif
