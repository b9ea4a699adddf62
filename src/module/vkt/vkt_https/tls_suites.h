// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which cipher suites are offered.
#ifndef MODULE_VKT_VKT_HTTPS_TLS_SUITES_H
#define MODULE_VKT_VKT_HTTPS_TLS_SUITES_H

#include <openssl/ssl.h>

namespace Tulvo::Https {

/// Takes the anonymous and the unencrypted suites from those that `context` offers. OpenSSL's
/// configuration may allow them to a whole host; with the first the server shows no key, with the
/// second anybody reads the password.
/// @return false when none is left.
bool DropUnsafeSuites(SSL_CTX* context);

}  // namespace Tulvo::Https

#endif
