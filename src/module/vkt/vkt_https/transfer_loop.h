// SPDX-License-Identifier: Apache-2.0
/// @file
/// Carries out the transfers of one libcurl handle within limits, and hears a stop request at once:
/// libcurl's own call returns to its caller once a second.
#ifndef MODULE_VKT_VKT_HTTPS_TRANSFER_LOOP_H
#define MODULE_VKT_VKT_HTTPS_TRANSFER_LOOP_H

#include <curl/curl.h>

#include <memory>
#include <optional>

#include "common/failure/call_limit.h"

namespace Tulvo::Https {

/// The handle's connections are kept here. After a transfer the handle stays, for libcurl to tell
/// of its connection, until the next one starts. Must outlive the handle.
class TransferLoop
{
public:
    /// Starts the transfer that the handle's options say; one that has not ended is given up.
    CURLcode Start(CURL* handle);

    /// Goes on with it.
    /// @return its result, or nothing when the limit was over first.
    std::optional<CURLcode> Continue(const CallLimit& limit);

    /// Gives up a transfer that has not ended, and its connection.
    void Drop(CURL* handle);

    /// Forgets all without a byte to the server; what libcurl holds stays allocated.
    void Abandon() { static_cast<void>(multi_.release()); }

private:
    struct Close
    {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };

    std::unique_ptr<CURLM, Close> multi_;
};

}  // namespace Tulvo::Https

#endif
