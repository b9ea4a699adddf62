// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/request_body.h"

#include <algorithm>
#include <cstdio>

namespace Tulvo::Https {

void RequestBody::AttachTo(CurlOptions& options)
{
    options.Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(rest_.size()))
        .Set(CURLOPT_READFUNCTION, &Read)
        .Set(CURLOPT_READDATA, this)
        .Set(CURLOPT_SEEKFUNCTION, &Rewind)
        .Set(CURLOPT_SEEKDATA, this);
}

std::size_t RequestBody::Read(char* buffer, std::size_t size, std::size_t count, void* self)
{
    std::string_view& rest = static_cast<RequestBody*>(self)->rest_;
    if (rest.empty()) {
        return CURL_READFUNC_ABORT;  // Asked for beyond the announced size: a repetition.
    }
    const std::size_t taken = rest.copy(buffer, std::min(size * count, rest.size()));
    rest.remove_prefix(taken);
    return taken;
}

int RequestBody::Rewind(void* self, curl_off_t offset, int origin)
{
    auto* const request = static_cast<RequestBody*>(self);
    if (!request->mayBeRepeated_ || offset != 0 || origin != SEEK_SET) {
        return CURL_SEEKFUNC_FAIL;
    }
    request->rest_ = request->body_;
    return CURL_SEEKFUNC_OK;
}

}  // namespace Tulvo::Https
