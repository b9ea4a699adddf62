// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// Packets of a session, packed and unpacked by libfreeipmi. What does not prove to belong to the
/// session is dropped here.
#ifndef MODULE_IPMI_IPMI_CLIENT_RMCP_PACKET_H
#define MODULE_IPMI_IPMI_CLIENT_RMCP_PACKET_H

#include <cstdint>
#include <optional>
#include <vector>

#include "module/ipmi/ipmi_client/fiid_object.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/ipmi/ipmi_client/secret.h"
#include "module/ipmi/ipmi_client/sequence_window.h"
#include "module/ipmi/ipmi_client/udp_link.h"

namespace Tulvo {

/// What came back for a request.
struct IpmiAnswer
{
    std::uint8_t completionCode = 0xFF;
    std::vector<std::uint8_t> data;
};

struct Algorithms
{
    std::uint8_t authentication = 0;
    std::uint8_t integrity = 0;
    std::uint8_t confidentiality = 0;
};

/// Holds a key of each algorithm that a cipher suite can name.
using Key = Secret<32>;

/// What both sides agreed on in the log-in.
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

/// A message of the log-in, which is neither signed nor encrypted.
Packet PackLogin(std::uint8_t payloadType, const FiidObject& message);

/// Fills `message` when the packet is a log-in message of that type.
bool UnpackLogin(const Packet& packet, std::uint8_t payloadType, const FiidObject& message);

/// A signed and encrypted request with the session's next sequence number.
Packet PackRequest(SessionState& session, const IPMICOMMAND& request, std::uint8_t requestNumber);

/// The answer to that request; nothing when the packet is none: not signed with the session's key,
/// not encrypted, seen before, damaged, or to another request.
std::optional<IpmiAnswer> UnpackAnswer(SessionState& session, const Packet& packet,
                                       const IPMICOMMAND& request, std::uint8_t requestNumber);

}  // namespace Tulvo

#endif
