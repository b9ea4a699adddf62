// SPDX-License-Identifier: Apache-2.0
/// @file
/// One exchange with the module before the library is asked. The library cannot tell why it has no
/// connection and tries for 18 seconds; this tells at once.
#ifndef APPS_VKTINVENTORY_CONNECTION_CHECK_H
#define APPS_VKTINVENTORY_CONNECTION_CHECK_H

#include <cstdint>
#include <optional>
#include <string>

#include "apps/vktinventory/exit_code.h"
#include "common/connection/connection_info.h"
#include "module/vkt/vkt_info/vkt_info.h"

namespace Tulvo::Cli {

struct ConnectionCheck
{
    ExitCode code = ExitCode::kEverythingRead;  ///< Else kNoConnection or kRefused.
    std::string message;                        ///< Which of them it was and what to do.
    std::optional<VKTIype> generation;          ///< Of the module, when it told.
};

/// Opens a session by the connection's type, asks for the module's generation, closes it again.
ConnectionCheck CheckConnection(const TulvoConnection::ConnectionInfo& connection,
                                std::uint64_t cipherSuite);

}  // namespace Tulvo::Cli

#endif
