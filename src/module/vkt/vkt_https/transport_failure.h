// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a failed exchange means to the caller of a transport, who knows neither libcurl nor HTTP,
/// nor the configuration's keys.
#ifndef MODULE_VKT_VKT_HTTPS_TRANSPORT_FAILURE_H
#define MODULE_VKT_VKT_HTTPS_TRANSPORT_FAILURE_H

#include <string>
#include <string_view>
#include <vector>

#include "common/failure/failure.h"
#include "module/vkt/vkt_https/failure.h"
#include "module/vkt/vkt_https/server_proof.h"

namespace Tulvo::Https {

Cause CauseOf(const Failure& failure);

/// In words that are the same for each request that fails in the same way.
/// @param origin  who was asked; may be empty.
/// @param host    as the caller named it.
/// @param proof   what the server showed of itself.
/// @param secrets see Describe().
Tulvo::Failure Tell(const Failure& failure, const std::string& origin, const std::string& host,
                    const ServerProof& proof, const std::vector<std::string_view>& secrets);

}  // namespace Tulvo::Https

#endif
