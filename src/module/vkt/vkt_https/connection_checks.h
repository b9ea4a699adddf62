// SPDX-License-Identifier: Apache-2.0
/// @file
/// Whether a connection record can be used at all, and the origin (`https://host:port`) it names.
#ifndef MODULE_VKT_VKT_HTTPS_CONNECTION_CHECKS_H
#define MODULE_VKT_VKT_HTTPS_CONNECTION_CHECKS_H

#include <optional>
#include <string>

#include "common/connection/connection_info.h"
#include "module/vkt/vkt_https/failure.h"

namespace Tulvo::Https {

/// Fills `origin`, or says why the record cannot be used. The address must be a host name or an
/// IP address and nothing else: it becomes part of a URL, where '/', '@', '?', '#' or a control
/// character would send the credentials elsewhere.
std::optional<Failure> CheckConnection(const TulvoConnection::ConnectionInfo& info,
                                       std::string& origin);

}  // namespace Tulvo::Https

#endif
