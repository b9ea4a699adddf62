// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// The messages of a log-in and the replies to them. None is signed: a reply is told from a forged
/// one by the ids and the tag in it, which are random.
#ifndef MODULE_IPMI_IPMI_CLIENT_LOGIN_MESSAGE_H
#define MODULE_IPMI_IPMI_CLIENT_LOGIN_MESSAGE_H

#include <cstdint>

#include "module/ipmi/ipmi_client/exchange.h"
#include "module/ipmi/ipmi_client/fiid_object.h"
#include "module/ipmi/ipmi_client/rmcp_packet.h"
#include "module/ipmi/ipmi_client/session_state.h"
#include "module/ipmi/ipmi_client/udp_link.h"

namespace Tulvo::Rmcp {

/// libfreeipmi's layout of the message that a payload of this type is.
const fiid_field_t* LayoutOf(std::uint8_t payloadType);

/// The type of a log-in message's reply is the next one.
constexpr std::uint8_t ReplyType(std::uint8_t payloadType)
{
    return static_cast<std::uint8_t>(payloadType + 1);
}

/// The RMCP+ status code of a reply; 0 of one that was not filled.
std::uint8_t StatusOf(const FiidObject& reply);

/// Fills `reply` from the packet, and judges whether it is the reply to the log-in message of that
/// type and tag. A refusal that names no session is doubtful: some modules leave the id out when
/// they refuse, but an off-path attacker, who cannot see the id, could have sent it as well.
Verdict JudgeReply(const Packet& packet, std::uint8_t requestType, std::uint8_t tag,
                   std::uint32_t consoleId, const FiidObject& reply);

/// Of Abort()'s message. A log-in's own have other tags, so that an answer to this one is taken for
/// none of theirs.
inline constexpr std::uint8_t kAbortTag = 0;

/// Makes the module drop a half-open session. It need not answer, and nothing depends on its
/// answer.
void Abort(const UdpLink& link, std::uint32_t moduleId);

/// A module that answers slowly may have opened a session for each copy of the request. Aborts the
/// one that the packet tells of, unless it is `session`. Whether there was one.
bool AbortDuplicate(const UdpLink& link, const SessionState& session, const Packet& packet);

}  // namespace Tulvo::Rmcp

#endif
