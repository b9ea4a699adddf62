// SPDX-License-Identifier: Apache-2.0
/// @file
/// Why an exchange gave no IPMI answer. Every layer returns it upwards; only VKTHttps writes it to
/// the log, so that one failure is one record.
#ifndef MODULE_VKT_VKT_HTTPS_FAILURE_H
#define MODULE_VKT_VKT_HTTPS_FAILURE_H

#include <curl/curl.h>

#include <string>
#include <string_view>
#include <vector>

#include "module/vkt/vkt_https/vkt_https.h"

namespace Tulvo::Https {

/// One failure, in the order in which a person reads it.
struct Failure
{
    VKTHttpsErrorCode code = VKT_HTTPS_INTERNAL_ERROR;
    std::string what{};    ///< What came back, in this library's own words.
    std::string advice{};  ///< What to do about it; may be empty.
    std::string detail{};  ///< What libcurl or the server says about it: untrusted; may be empty.

    CURLcode result = CURLE_OK;   ///< Libcurl's, where it says what failed.
    int systemError = 0;          ///< The errno of a connection that was not made; 0 for none.
    long status = 0;              ///< The server's answer, where that is the failure.
    std::string retryAfter{};     ///< With a status: as the server sent it; empty for none.
    std::string challenges{};     ///< With a 401: see HttpReply.
    bool mayHaveArrived = false;  ///< The whole request was handed to the network.
};

/// `what (detail); advice` on one line. The detail is made printable and cut to 200 bytes, and it
/// is left out altogether when it holds one of `secrets`: a server may echo what it was sent.
std::string Describe(const Failure& failure, const std::vector<std::string_view>& secrets);

/// Why nothing is carried any more once the program has been told to end.
Failure Interrupted();

/// The enumerator's name.
const char* NameOf(VKTHttpsErrorCode code);

}  // namespace Tulvo::Https

#endif
