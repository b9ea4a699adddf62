// SPDX-License-Identifier: Apache-2.0
/// @file
/// An IPMI request as a JSON body, and a JSON body as an IPMI answer. Pure: knows no connection.
#ifndef MODULE_VKT_VKT_HTTPS_IPMI_CODEC_H
#define MODULE_VKT_VKT_HTTPS_IPMI_CODEC_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/vkt/vkt_https/failure.h"

namespace Tulvo::Https {

/// An answer of the module.
struct IpmiReply
{
    std::vector<std::uint8_t> data;
    std::uint8_t completionCode = 0;
};

/// The body of a request, or why there is none: a network function that is odd (an answer's) or
/// above 62 is no request.
std::optional<Failure> EncodeIpmiRequest(const IPMICOMMAND& request, std::string& body);

/// Checks the content of a 200 field by field and fills `reply`, which is left alone on failure.
///
/// Members beyond the four that are asked for are passed over: Redfish lets any answer carry
/// annotations. An empty body is VKT_HTTPS_NO_DATA; anything else that is off is
/// VKT_HTTPS_MALFORMED_REPLY. The failure quotes nothing of the body.
std::optional<Failure> DecodeIpmiReply(const IPMICOMMAND& request, std::string_view contentType,
                                       std::string_view body, IpmiReply& reply);

/// Whether a `Content-Type` value names JSON, with or without parameters.
bool IsJson(std::string_view contentType);

}  // namespace Tulvo::Https

#endif
