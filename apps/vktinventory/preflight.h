// SPDX-License-Identifier: Apache-2.0
/// @file
/// One exchange with the module before the library is asked. The library cannot tell why it has no
/// connection and tries for 18 seconds; this tells at once.
#ifndef APPS_VKTINVENTORY_PREFLIGHT_H
#define APPS_VKTINVENTORY_PREFLIGHT_H

#include <cstdint>
#include <string>

#include "apps/vktinventory/exit_code.h"
#include "common/connection/connection_info.h"

namespace Tulvo::Cli {

struct PreflightResult
{
    ExitCode code = ExitCode::everythingRead;  ///< Else noConnection or refused.
    std::string message;                       ///< Which of them it was and what to do.
};

/// Opens one session by the connection's type and closes it again.
PreflightResult TryConnection(const TulvoConnection::ConnectionInfo& connection,
                              std::uint64_t cipherSuite);

}  // namespace Tulvo::Cli

#endif
