// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/tls_suites.h"

#include <string>

namespace Tulvo::Https {
namespace {

bool IsSafe(const SSL_CIPHER* suite)
{
    return SSL_CIPHER_get_auth_nid(suite) != NID_auth_null &&
           SSL_CIPHER_get_cipher_nid(suite) != NID_undef;
}

}  // namespace

// What is left is named one by one: a rule such as "DEFAULT:!aNULL" would bring back what the
// host's administrator has taken away. TLS 1.3's suites are in a list of their own, which holds
// only safe ones and in which OpenSSL does not look for these names.
bool DropUnsafeSuites(SSL_CTX* context)
{
    std::string names;
    const STACK_OF(SSL_CIPHER)* const suites = SSL_CTX_get_ciphers(context);
    for (int i = 0; i < sk_SSL_CIPHER_num(suites); ++i) {
        const SSL_CIPHER* const suite = sk_SSL_CIPHER_value(suites, i);
        if (IsSafe(suite)) {
            names += names.empty() ? "" : ":";
            names += SSL_CIPHER_get_name(suite);
        }
    }
    return SSL_CTX_set_cipher_list(context, names.c_str()) == 1;
}

}  // namespace Tulvo::Https
