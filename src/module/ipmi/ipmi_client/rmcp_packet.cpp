// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/rmcp_packet.h"

#include <array>

namespace Tulvo::Rmcp {
namespace {

constexpr std::size_t kLongestPacket = 1024;

// Layouts for any request and any answer: the client knows nothing of the commands that it carries.
constexpr fiid_field_t kRequestLayout[] = {
    {8, "cmd", FIID_FIELD_REQUIRED | FIID_FIELD_LENGTH_FIXED},
    {8 * kLongestPacket, "data", FIID_FIELD_OPTIONAL | FIID_FIELD_LENGTH_VARIABLE},
    {0, "", 0},
};
constexpr unsigned kNeeded =
    FIID_FIELD_REQUIRED | FIID_FIELD_LENGTH_FIXED | FIID_FIELD_MAKES_PACKET_SUFFICIENT;
constexpr fiid_field_t kAnswerLayout[] = {
    {8, "cmd", kNeeded},
    {8, "comp_code", kNeeded},
    {8 * 4096, "data", FIID_FIELD_OPTIONAL | FIID_FIELD_LENGTH_VARIABLE},
    {0, "", 0},
};

// The fifth byte is the payload type, with a bit each for encrypted and signed. What has not both
// is forged, or a left-over of the log-in.
constexpr std::size_t kPayloadTypeOffset = 5;
constexpr std::uint8_t kSignedAndEncryptedIpmi = 0xC0;

/// The parts around a message.
struct Envelope
{
    FiidObject rmcpHeader{tmpl_rmcp_hdr};
    FiidObject sessionHeader{tmpl_rmcpplus_session_hdr};
    FiidObject messageHeader;
    FiidObject sessionTrailer{tmpl_rmcpplus_session_trlr};

    explicit Envelope(const fiid_field_t* messageLayout) : messageHeader(messageLayout) {}
};

/// What is taken out of a packet beyond that. The payload takes 64 KiB whatever it holds.
struct ReceivedEnvelope : Envelope
{
    FiidObject payload{tmpl_rmcpplus_payload};
    FiidObject messageTrailer{tmpl_lan_msg_trlr};

    using Envelope::Envelope;
};

Packet Assemble(const SessionState& session, const Envelope& envelope, fiid_obj_t messageHeader,
                const FiidObject& message)
{
    Packet packet(kLongestPacket);
    const Algorithms& algorithms = session.algorithms;
    const int length = assemble_ipmi_rmcpplus_pkt(
        algorithms.authentication, algorithms.integrity, algorithms.confidentiality,
        session.integrityKey.Data(), session.integrityKey.Size(), session.confidentialityKey.Data(),
        session.confidentialityKey.Size(), nullptr, 0, envelope.rmcpHeader.Get(),
        envelope.sessionHeader.Get(), messageHeader, message.Get(), envelope.sessionTrailer.Get(),
        packet.data(), kLongestPacket, IPMI_INTERFACE_FLAGS_DEFAULT);
    packet.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return packet;
}

bool Disassemble(const SessionState& session, const Packet& packet,
                 const ReceivedEnvelope& envelope, const FiidObject& message)
{
    const Algorithms& algorithms = session.algorithms;
    return unassemble_ipmi_rmcpplus_pkt(
               algorithms.authentication, algorithms.integrity, algorithms.confidentiality,
               session.integrityKey.Data(), session.integrityKey.Size(),
               session.confidentialityKey.Data(), session.confidentialityKey.Size(), packet.data(),
               static_cast<unsigned>(packet.size()), envelope.rmcpHeader.Get(),
               envelope.sessionHeader.Get(), envelope.payload.Get(), envelope.messageHeader.Get(),
               message.Get(), envelope.messageTrailer.Get(), envelope.sessionTrailer.Get(),
               IPMI_INTERFACE_FLAGS_DEFAULT) == 1;
}

const SessionState& NoSession()
{
    // Never destroyed: a client in static storage may end after anything in this file would.
    static const auto* const none = new SessionState;
    return *none;
}

bool IsSigned(const SessionState& session, const Packet& packet, const Envelope& envelope)
{
    return ipmi_rmcpplus_check_session_id(envelope.sessionHeader.Get(), session.consoleId) == 1 &&
           ipmi_rmcpplus_check_packet_session_authentication_code(
               session.algorithms.integrity, packet.data(), static_cast<unsigned>(packet.size()),
               session.integrityKey.Data(), session.integrityKey.Size(), nullptr, 0,
               envelope.sessionTrailer.Get()) == 1;
}

bool IsWhole(const SessionState& session, const ReceivedEnvelope& envelope,
             const FiidObject& message)
{
    return ipmi_rmcpplus_check_payload_pad(session.algorithms.confidentiality,
                                           envelope.payload.Get()) == 1 &&
           ipmi_lan_check_checksum(envelope.messageHeader.Get(), message.Get(),
                                   envelope.messageTrailer.Get()) == 1;
}

bool Answers(const IPMICOMMAND& request, std::uint8_t requestNumber, const Envelope& envelope,
             const FiidObject& message)
{
    const auto netFn = static_cast<std::uint8_t>(request.netFn + 1);
    return ipmi_lan_check_net_fn(envelope.messageHeader.Get(), netFn) == 1 &&
           ipmi_lan_check_rq_seq(envelope.messageHeader.Get(), requestNumber) == 1 &&
           message.Number("cmd") == request.cmd;
}

bool IsSealed(const Packet& packet)
{
    return packet.size() > kPayloadTypeOffset &&
           packet[kPayloadTypeOffset] == kSignedAndEncryptedIpmi;
}

}  // namespace

Packet PackLogin(std::uint8_t payloadType, const FiidObject& message)
{
    const Envelope envelope(tmpl_lan_msg_hdr_rq);
    fill_rmcp_hdr_ipmi(envelope.rmcpHeader.Get());
    fill_rmcpplus_session_hdr(payloadType, 0, 0, 0, 0, 0, 0, envelope.sessionHeader.Get());
    fill_rmcpplus_session_trlr(envelope.sessionTrailer.Get());
    return Assemble(NoSession(), envelope, nullptr, message);
}

bool UnpackLogin(const Packet& packet, std::uint8_t payloadType, const FiidObject& message)
{
    if (packet.size() <= kPayloadTypeOffset || packet[kPayloadTypeOffset] != payloadType) {
        return false;
    }
    return Disassemble(NoSession(), packet, ReceivedEnvelope(tmpl_lan_msg_hdr_rs), message);
}

Packet PackRequest(SessionState& session, const IPMICOMMAND& request, std::uint8_t requestNumber)
{
    session.sent += session.sent == UINT32_MAX ? 2 : 1;  // 0 is no number of a signed packet
    const Envelope envelope(tmpl_lan_msg_hdr_rq);
    fill_rmcp_hdr_ipmi(envelope.rmcpHeader.Get());
    fill_rmcpplus_session_hdr(IPMI_PAYLOAD_TYPE_IPMI, 1, 1, 0, 0, session.moduleId, session.sent,
                              envelope.sessionHeader.Get());
    fill_rmcpplus_session_trlr(envelope.sessionTrailer.Get());
    fill_lan_msg_hdr(IPMI_SLAVE_ADDRESS_BMC, request.netFn, 0, requestNumber,
                     envelope.messageHeader.Get());
    const FiidObject message(kRequestLayout);
    fiid_obj_set(message.Get(), "cmd", request.cmd);
    fiid_obj_set_data(message.Get(), "data", request.data.data(),
                      static_cast<unsigned>(request.data.size()));
    return Assemble(session, envelope, envelope.messageHeader.Get(), message);
}

Verdict UnpackAnswer(SessionState& session, const Packet& packet, const IPMICOMMAND& request,
                     std::uint8_t requestNumber, IpmiAnswer& answer)
{
    const ReceivedEnvelope envelope(tmpl_lan_msg_hdr_rs);
    const FiidObject message(kAnswerLayout);
    if (!IsSealed(packet) || !Disassemble(session, packet, envelope, message) ||
        !IsSigned(session, packet, envelope) || !IsWhole(session, envelope, message)) {
        return Verdict::kOther;
    }
    const auto number = envelope.sessionHeader.Number("session_sequence_number");
    if (!session.received.Accept(static_cast<std::uint32_t>(number))) {
        return Verdict::kOther;
    }
    if (!Answers(request, requestNumber, envelope, message)) {
        return Verdict::kEarlier;
    }
    answer = {static_cast<std::uint8_t>(message.Number("comp_code")), message.Bytes("data")};
    return Verdict::kAnswer;
}

}  // namespace Tulvo::Rmcp
