// SPDX-License-Identifier: Apache-2.0
/// @file
/// IPMI in requests over TLS as a transport. Settings are values: nothing is asked of the
/// configuration, and two objects share nothing.
#ifndef MODULE_VKT_VKT_HTTPS_HTTPS_TRANSPORT_H
#define MODULE_VKT_VKT_HTTPS_HTTPS_TRANSPORT_H

#include <cstdint>
#include <memory>
#include <string>

#include "common/platform/export.h"
#include "module/ipmi/ipmi_client/ipmi_transport.h"

namespace Tulvo {

/// Who vouches for the server.
enum class HttpsTrust : std::uint8_t
{
    kAuthorities,    ///< The system's.
    kAuthorityFile,  ///< Those in a file.
    kPinnedKey,      ///< Its public key, known beforehand.
    kAnybody,        ///< Nobody.
};

/// Values that cannot be make Open() fail.
struct HttpsSettings
{
    std::string host;                             ///< Name, IPv4 or IPv6 address, brackets allowed.
    std::uint16_t port = 443;                     ///< TCP.
    std::string user;                             ///< Without a colon for Basic authentication.
    std::string password;                         ///< Without control characters.
    HttpsTrust trust = HttpsTrust::kAuthorities;  ///< Who vouches for the server.
    std::string trusted;               ///< The file's path, or the pin: "sha256//" and Base64.
    bool basicAuthentication = false;  ///< Else a Redfish session.
};

/// A transport with these settings; nothing is sent before Open().
VKT_EXPORT std::unique_ptr<IpmiTransport> MakeHttpsTransport(const HttpsSettings& settings);

}  // namespace Tulvo

#endif
