// SPDX-License-Identifier: Apache-2.0
/// @file
/// The header lines of a request, in the form in which libcurl takes them.
#ifndef MODULE_VKT_VKT_HTTPS_REQUEST_HEADERS_H
#define MODULE_VKT_VKT_HTTPS_REQUEST_HEADERS_H

#include <curl/curl.h>

#include "module/vkt/vkt_https/http_message.h"

namespace Tulvo::Https {

/// A list of lines that is wiped when it ends, for it may hold a session token.
class RequestHeaders
{
public:
    explicit RequestHeaders(const HttpRequest& request);
    ~RequestHeaders();
    RequestHeaders(const RequestHeaders&) = delete;
    RequestHeaders& operator=(const RequestHeaders&) = delete;

    /// Null when memory ran out.
    curl_slist* Lines() const { return lines_; }

private:
    void Add(const char* line);

    curl_slist* lines_ = nullptr;
    bool failed_ = false;
};

}  // namespace Tulvo::Https

#endif
