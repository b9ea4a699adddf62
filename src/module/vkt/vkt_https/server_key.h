// SPDX-License-Identifier: Apache-2.0
/// @file
/// The pin of the key that a server shows, trusted or not, so that a person can compare it with the
/// module's own display and pin it.
#ifndef MODULE_VKT_VKT_HTTPS_SERVER_KEY_H
#define MODULE_VKT_VKT_HTTPS_SERVER_KEY_H

#include <string>

#include "module/vkt/vkt_https/curl_options.h"

namespace Tulvo::Https {

/// Has every handshake of the handle put the server's pin (`sha256//BASE64`) into `pin`, which must
/// outlive the handle. Watches only: what is trusted stays as it is. A libcurl over another TLS
/// library than OpenSSL leaves `pin` empty.
void WatchServerKey(CURL* handle, std::string& pin);

}  // namespace Tulvo::Https

#endif
