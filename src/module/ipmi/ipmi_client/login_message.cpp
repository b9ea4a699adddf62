// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/login_message.h"

namespace Tulvo::Rmcp {
namespace {

constexpr const char* kConsoleId = "remote_console_session_id";
constexpr const char* kModuleId = "managed_system_session_id";

}  // namespace

const fiid_field_t* LayoutOf(std::uint8_t payloadType)
{
    switch (payloadType) {
        case IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_REQUEST:
            return tmpl_rmcpplus_open_session_request;
        case IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_RESPONSE:
            return tmpl_rmcpplus_open_session_response;
        case IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_1:
            return tmpl_rmcpplus_rakp_message_1;
        case IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_2:
            return tmpl_rmcpplus_rakp_message_2;
        case IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_3:
            return tmpl_rmcpplus_rakp_message_3;
        default:
            return tmpl_rmcpplus_rakp_message_4;
    }
}

std::uint8_t StatusOf(const FiidObject& reply)
{
    return static_cast<std::uint8_t>(reply.Number("rmcpplus_status_code"));
}

Verdict JudgeReply(const Packet& packet, std::uint8_t requestType, std::uint8_t tag,
                   std::uint32_t consoleId, const FiidObject& reply)
{
    if (!UnpackLogin(packet, ReplyType(requestType), reply) ||
        ipmi_rmcpplus_check_message_tag(reply.Get(), tag) != 1) {
        return Verdict::kOther;
    }
    const std::uint64_t id = reply.Number(kConsoleId);
    if (id == consoleId) {
        return Verdict::kAnswer;
    }
    const bool anonymousRefusal = id == 0 && StatusOf(reply) != RMCPPLUS_STATUS_NO_ERRORS;
    return anonymousRefusal ? Verdict::kDoubtful : Verdict::kOther;
}

void Abort(const UdpLink& link, std::uint32_t moduleId)
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RAKP_MESSAGE_3;
    const FiidObject message(LayoutOf(kType));
    fill_rmcpplus_rakp_message_3(kAbortTag, RMCPPLUS_STATUS_INVALID_INTEGRITY_CHECK_VALUE, moduleId,
                                 nullptr, 0, message.Get());
    link.Send(PackLogin(kType, message));
}

bool AbortDuplicate(const UdpLink& link, const SessionState& session, const Packet& packet)
{
    constexpr std::uint8_t kType = IPMI_PAYLOAD_TYPE_RMCPPLUS_OPEN_SESSION_RESPONSE;
    const FiidObject reply(LayoutOf(kType));
    const bool isOne = UnpackLogin(packet, kType, reply) &&
                       StatusOf(reply) == RMCPPLUS_STATUS_NO_ERRORS &&
                       reply.Number(kConsoleId) == session.consoleId &&
                       reply.Number(kModuleId) != session.moduleId;
    if (isOne) {
        Abort(link, static_cast<std::uint32_t>(reply.Number(kModuleId)));
    }
    return isOne;
}

}  // namespace Tulvo::Rmcp
