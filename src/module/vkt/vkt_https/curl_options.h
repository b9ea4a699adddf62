// SPDX-License-Identifier: Apache-2.0
/// @file
/// Sets options of a libcurl handle so that none fails unnoticed: an option that libcurl refuses
/// may be the one that protects the password.
#ifndef MODULE_VKT_VKT_HTTPS_CURL_OPTIONS_H
#define MODULE_VKT_VKT_HTTPS_CURL_OPTIONS_H

#include <curl/curl.h>

#include <type_traits>

namespace Tulvo::Https {

class CurlOptions
{
public:
    explicit CurlOptions(CURL* handle) : handle_(handle) {}

    /// Sets one option; after a refusal nothing more is set.
    template <typename Value>
    CurlOptions& Set(CURLoption option, Value value)
    {
        // libcurl reads its variadic argument as one of these without being able to check it.
        static_assert(std::is_same_v<Value, long> || std::is_same_v<Value, curl_off_t> ||
                      std::is_pointer_v<Value>);
        if (refusal_ == CURLE_OK) {
            refusal_ = (curl_easy_setopt)(handle_, option, value);
        }
        return *this;
    }

    /// What libcurl said to the first option that it refused.
    CURLcode Refusal() const { return refusal_; }

private:
    CURL* handle_;
    CURLcode refusal_ = CURLE_OK;
};

}  // namespace Tulvo::Https

#endif
