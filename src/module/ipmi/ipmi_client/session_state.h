// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// What both sides of a session agreed on: the log-in fills it, signing and encrypting use it.
#ifndef MODULE_IPMI_IPMI_CLIENT_SESSION_STATE_H
#define MODULE_IPMI_IPMI_CLIENT_SESSION_STATE_H

#include <cstdint>

#include "module/ipmi/ipmi_client/secret.h"
#include "module/ipmi/ipmi_client/sequence_window.h"

namespace Tulvo::Rmcp {

/// Of a cipher suite, as IPMI numbers them.
struct Algorithms
{
    std::uint8_t authentication = 0;
    std::uint8_t integrity = 0;
    std::uint8_t confidentiality = 0;
};

/// Holds a key of each algorithm that a cipher suite can name.
using Key = Secret<32>;

struct SessionState
{
    Algorithms algorithms;
    std::uint32_t consoleId = 0;  ///< The session's id in packets to this side.
    std::uint32_t moduleId = 0;   ///< The session's id in packets to the module.
    Key sessionKey;
    Key integrityKey;
    Key confidentialityKey;
    std::uint32_t sent = 0;   ///< Sequence number of the last packet to the module.
    SequenceWindow received;  ///< Sequence numbers of the packets from the module.
};

}  // namespace Tulvo::Rmcp

#endif
