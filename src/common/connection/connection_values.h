// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the numbers of a ConnectionInfo mean. C++11, like the record's own header.
#ifndef COMMON_CONNECTION_CONNECTION_VALUES_H
#define COMMON_CONNECTION_CONNECTION_VALUES_H

#include <cstdint>

namespace Tulvo {
namespace TulvoConnection {

/// Of ConnectionInfo::connectionType. No other value names a transport.
enum ConnectionType : std::int32_t
{
    kConnectOverRmcpPlus = 7,  ///< An IPMI 2.0 session over UDP.
    kConnectOverHttps = 9,     ///< Each IPMI request in an HTTPS call.
};

/// Of ConnectionInfo::tlsVerification: who vouches for the module over HTTPS.
enum TlsVerification : std::int32_t
{
    kTlsVerifyAuthority = 0,  ///< The system's authorities, or those of `HTTPS_CA_FILE`.
    kTlsVerifyPinnedKey = 1,  ///< The public key `HTTPS_PINNED_KEY`, and nothing else.
    kTlsVerifyNothing = 2,    ///< Nobody: whoever answers gets the password.
};

/// Of ConnectionInfo::authentication: how HTTPS requests are authenticated.
enum Authentication : std::int32_t
{
    kAuthenticateBasic = 0,      ///< User name and password with every request.
    kAuthenticateBySession = 1,  ///< A Redfish session: one log-in, then its token.
};

}  // namespace TulvoConnection
}  // namespace Tulvo

#endif
