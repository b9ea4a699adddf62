// SPDX-License-Identifier: Apache-2.0
/// @file
/// Hands a request's body to libcurl, once unless it may be repeated.
#ifndef MODULE_VKT_VKT_HTTPS_REQUEST_BODY_H
#define MODULE_VKT_VKT_HTTPS_REQUEST_BODY_H

#include <string_view>

#include "module/vkt/vkt_https/curl_options.h"

namespace Tulvo::Https {

/// libcurl repeats a request by itself when a kept connection dies before the first byte of the
/// reply, although the server may have executed it by then. With a body that can be read only once
/// it cannot: the repetition fails instead, and a request without its body is not executed.
class RequestBody
{
public:
    RequestBody(std::string_view body, bool mayBeRepeated)
        : body_(body), rest_(body), mayBeRepeated_(mayBeRepeated)
    {
    }

    /// Makes this the handle's body; must live as long as the exchange.
    void AttachTo(CurlOptions& options);

    /// Libcurl has all of it; so is it with an empty one.
    bool IsTaken() const { return rest_.empty(); }

private:
    static std::size_t Read(char* buffer, std::size_t size, std::size_t count, void* self);
    static int Rewind(void* self, curl_off_t offset, int origin);

    std::string_view body_;
    std::string_view rest_;
    bool mayBeRepeated_;
};

}  // namespace Tulvo::Https

#endif
