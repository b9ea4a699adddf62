// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the server has to prove that it is the module, before anything of a request is sent.
#ifndef MODULE_VKT_VKT_HTTPS_TLS_TRUST_H
#define MODULE_VKT_VKT_HTTPS_TLS_TRUST_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "module/vkt/vkt_https/curl_options.h"
#include "module/vkt/vkt_https/failure.h"

namespace Tulvo {
enum class HttpsTrust : std::uint8_t;  // See https_transport.h.
}

namespace Tulvo::Https {

/// Who vouches for the server: the system's authorities, unless filled otherwise.
struct ServerTrust
{
    HttpsTrust kind{};
    std::string trusted;  ///< The authorities' file, or pins separated by semicolons.
};

/// What a TlsVerification asks for, from the configuration keys `HTTPS_CA_FILE` and
/// `HTTPS_PINNED_KEY`. To verify nothing writes a warning that names `origin`. A pin that is
/// missing or misspelt is a failure, and so is a key whose setting cannot be used: who asks for a
/// check must get it.
std::optional<Failure> FindConfiguredTrust(std::int32_t tlsVerification, std::string_view origin,
                                           ServerTrust& trust);

/// Has the handle ask for `trust`, or says why that cannot be.
/// @param pins filled with the keys one of which the server must have; untouched where any will do.
std::optional<Failure> SetTrust(CurlOptions& options, const ServerTrust& trust, std::string& pins);

}  // namespace Tulvo::Https

#endif
