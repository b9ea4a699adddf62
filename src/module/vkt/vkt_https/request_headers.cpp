// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/request_headers.h"

#include <cstring>

namespace Tulvo::Https {
namespace {

// "Expect:" without a value takes libcurl's own line away: waiting for a 100 costs a round trip.
constexpr const char* kLines[] = {
    "Content-Type: application/json",
    "Accept: application/json",
    "OData-Version: 4.0",
    "Expect:",
};

void WipeAndFree(curl_slist* lines)
{
    for (curl_slist* line = lines; line != nullptr; line = line->next) {
        explicit_bzero(line->data, std::strlen(line->data));
    }
    curl_slist_free_all(lines);
}

}  // namespace

RequestHeaders::RequestHeaders(const HttpRequest& request)
{
    for (const char* line : kLines) {
        Add(line);
    }
    if (!request.sessionToken.empty()) {
        constexpr std::string_view kName = "X-Auth-Token: ";
        SecretText line;
        line.text.reserve(kName.size() + request.sessionToken.size());  // Growing leaves copies.
        line.text.append(kName).append(request.sessionToken);
        Add(line.text.c_str());
    }
}

RequestHeaders::~RequestHeaders()
{
    WipeAndFree(lines_);
}

void RequestHeaders::Add(const char* line)
{
    curl_slist* longer = failed_ ? nullptr : curl_slist_append(lines_, line);
    if (longer == nullptr) {
        WipeAndFree(lines_);
        failed_ = true;
    }
    lines_ = longer;
}

}  // namespace Tulvo::Https
