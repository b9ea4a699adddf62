// SPDX-License-Identifier: Apache-2.0
/// @file
/// Why no request left over TLS, for the person who has to do something about it.
#ifndef MODULE_VKT_VKT_HTTPS_TLS_FAILURE_H
#define MODULE_VKT_VKT_HTTPS_TLS_FAILURE_H

#include <optional>
#include <string>

#include "common/failure/failure.h"
#include "module/vkt/vkt_https/failure.h"
#include "module/vkt/vkt_https/server_proof.h"

namespace Tulvo::Https {

/// Cause, what came back and what to do, as far as the handshake shows more than libcurl says;
/// nothing when it does not.
/// @param host as it was asked for.
std::optional<Tulvo::Failure> ExplainTls(const Failure& failure, const ServerProof& proof,
                                         const std::string& host);

}  // namespace Tulvo::Https

#endif
