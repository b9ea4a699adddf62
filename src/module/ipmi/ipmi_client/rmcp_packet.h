// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// Packets of a session, packed and unpacked by libfreeipmi. What does not prove to belong to the
/// session is dropped here.
#ifndef MODULE_IPMI_IPMI_CLIENT_RMCP_PACKET_H
#define MODULE_IPMI_IPMI_CLIENT_RMCP_PACKET_H

#include <cstdint>
#include <vector>

#include "module/ipmi/ipmi_client/exchange.h"
#include "module/ipmi/ipmi_client/fiid_object.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/ipmi/ipmi_client/session_state.h"
#include "module/ipmi/ipmi_client/udp_link.h"

namespace Tulvo::Rmcp {

/// Requests of a session are told apart by a number below this.
inline constexpr unsigned kRequestNumbers = IPMI_LAN_REQUESTER_SEQUENCE_NUMBER_MAX + 1;

/// What came back for a request.
struct IpmiAnswer
{
    std::uint8_t completionCode = 0xFF;
    std::vector<std::uint8_t> data;
};

/// A message of the log-in, which is neither signed nor encrypted.
Packet PackLogin(std::uint8_t payloadType, const FiidObject& message);

/// Fills `message` when the packet is a log-in message of that type.
bool UnpackLogin(const Packet& packet, std::uint8_t payloadType, const FiidObject& message);

/// A signed and encrypted request with the session's next sequence number.
Packet PackRequest(SessionState& session, const IPMICOMMAND& request, std::uint8_t requestNumber);

/// Fills `answer` when the packet is the answer to that request. One to another request of the
/// session is an earlier one; other is what is not signed with the session's key, not encrypted,
/// seen before or damaged.
Verdict UnpackAnswer(SessionState& session, const Packet& packet, const IPMICOMMAND& request,
                     std::uint8_t requestNumber, IpmiAnswer& answer);

}  // namespace Tulvo::Rmcp

#endif
