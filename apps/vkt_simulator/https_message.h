// SPDX-License-Identifier: Apache-2.0
/// @file
/// One HTTPS request and its reply, without the connection that carries them.
#ifndef APPS_VKT_SIMULATOR_HTTPS_MESSAGE_H
#define APPS_VKT_SIMULATOR_HTTPS_MESSAGE_H

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace Tulvo::Simulator {

enum class BodyState
{
    kWhole,
    kTooLong,
    kUnreadable  ///< broken off, or encoded in a way that the server does not know
};

struct HttpsRequest
{
    std::string method;
    std::string target;         ///< path and query as they stand in the request line
    std::string authorization;  ///< this and the next three: header fields, empty when missing
    std::string token;
    std::string contentType;
    std::string odataVersion;
    std::string body;
    BodyState bodyState = BodyState::kWhole;
};

struct HttpsReply
{
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;  ///< beside content type and length
    std::string body;                                          ///< JSON, or nothing
    std::chrono::milliseconds latency{0};                      ///< how much later it is sent
    bool closed = false;  ///< the connection is closed instead of sending anything
};

}  // namespace Tulvo::Simulator

#endif
