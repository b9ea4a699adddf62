// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/redfish_error.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace Tulvo::Simulator {

namespace {

struct ErrorKind
{
    int status;
    const char* messageId;
    const char* header;  // may be null
    const char* value;
};

// Identifiers of Redfish's base message registry. The last line is for every other status.
constexpr std::array<ErrorKind, 9> kErrorKinds = {{
    {401, "Base.1.0.NoValidSession", "WWW-Authenticate", "Basic realm=\"enclosure\""},
    {403, "Base.1.0.InsufficientPrivilege", nullptr, nullptr},
    {404, "Base.1.0.ResourceMissingAtURI", nullptr, nullptr},
    {408, "Base.1.0.OperationTimeout", nullptr, nullptr},
    {413, "Base.1.0.PayloadTooLarge", nullptr, nullptr},
    {500, "Base.1.0.InternalError", nullptr, nullptr},
    {503, "Base.1.0.ServiceTemporarilyUnavailable", "Retry-After", "1"},
    {504, "Base.1.0.OperationTimeout", nullptr, nullptr},
    {0, "Base.1.0.GeneralError", nullptr, nullptr},
}};

const ErrorKind& KindOf(int status)
{
    return *std::find_if(kErrorKinds.begin(), kErrorKinds.end() - 1,
                         [&](const ErrorKind& kind) { return kind.status == status; });
}

}  // namespace

HttpsReply RedfishError(int status, const std::string& message)
{
    const ErrorKind& kind = KindOf(status);
    nlohmann::ordered_json error;
    error["code"] = kind.messageId;
    error["message"] = message;
    error["@Message.ExtendedInfo"] = {{{"MessageId", kind.messageId}, {"Message", message}}};
    HttpsReply reply;
    reply.status = status;
    if (kind.header != nullptr) {
        reply.headers.emplace_back(kind.header, kind.value);
    }
    // The message may quote what was sent, which need not be text.
    reply.body = nlohmann::ordered_json{{"error", error}}.dump(
        -1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    return reply;
}

}  // namespace Tulvo::Simulator
