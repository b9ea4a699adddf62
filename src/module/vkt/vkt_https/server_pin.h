// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which public key a server shows, for a person who reviews it before it is trusted.
#ifndef MODULE_VKT_VKT_HTTPS_SERVER_PIN_H
#define MODULE_VKT_VKT_HTTPS_SERVER_PIN_H

#include <cstdint>
#include <string>
#include <variant>

#include "common/failure/call_limit.h"
#include "common/failure/failure.h"
#include "common/platform/export.h"

namespace Tulvo {

/// Shakes hands over TLS and closes the connection. Nothing is sent over it, no credential is asked
/// for, and of the certificate nothing is verified; the handshake proves only that the server has
/// the key that it shows. Blocks its thread; any number of calls may run side by side. Nothing is
/// thrown but std::bad_alloc.
/// @param host  name, IPv4 or IPv6 address, brackets allowed.
/// @param port  TCP; 0 is 443.
/// @param limit until when, and what stops it; its gate is not asked, for nobody logs in.
/// @return the pin of the server's key, "sha256//" and 44 characters of Base64, or why there is
///         none.
VKT_EXPORT std::variant<std::string, Failure> ReadServerPin(const std::string& host,
                                                            std::uint16_t port,
                                                            const CallLimit& limit);

}  // namespace Tulvo

#endif
