// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a server shows of itself in a handshake, trusted or not: a person can compare the key's pin
/// with the module's own display, and pin it.
#ifndef MODULE_VKT_VKT_HTTPS_SERVER_PROOF_H
#define MODULE_VKT_VKT_HTTPS_SERVER_PROOF_H

#include <string>

#include "module/vkt/vkt_https/curl_options.h"

namespace Tulvo::Https {

struct ServerProof
{
    std::string pin;  ///< `sha256//BASE64` of the server's public key; empty if it showed none.
    std::string distrust;  ///< Why OpenSSL does not trust the certificate; empty if it does.
};

/// Has every handshake of the handle fill `proof`, which must outlive the handle. Watches only:
/// what is trusted stays as it is. A libcurl over another TLS library than OpenSSL leaves it empty.
void WatchServerProof(CURL* handle, ServerProof& proof);

}  // namespace Tulvo::Https

#endif
