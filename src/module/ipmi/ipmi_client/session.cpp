// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/session.h"

#include <new>
#include <utility>

#include "module/ipmi/ipmi_client/exchange.h"
#include "module/ipmi/ipmi_client/login_message.h"

namespace Tulvo::Rmcp {

Session::Session(std::unique_ptr<Connection> connection, const Waits& waits)
    : connection_(std::move(connection)), waits_(waits)
{
}

Session::~Session()
{
    try {
        Close();
    } catch (const std::bad_alloc&) {
        // Nothing is left to tell the module with; it forgets the session when that times out.
    }
}

std::optional<Failure> Session::Ask(const IPMICOMMAND& request, IpmiAnswer& answer)
{
    // The numbers of a child's packets would be those of its parent's next ones, which the module
    // would then take for repetitions.
    if (!connection_->BelongsToThisProcess()) {
        return Failure{CONNECTION_FAILED, "the session is another process's", "connect again"};
    }
    return AskWithin(waits_, request, answer);
}

std::optional<Failure> Session::AskWithin(const Waits& waits, const IPMICOMMAND& request,
                                          IpmiAnswer& answer)
{
    requestNumber_ = static_cast<std::uint8_t>((requestNumber_ + 1) % kRequestNumbers);
    SessionState& state = connection_->state;
    Message message;
    // A request that is sent again keeps its number, so that a slow module's answer to the first
    // is taken; the sequence number of the packet is a new one.
    message.pack = [&] { return PackRequest(state, request, requestNumber_); };
    message.judge = [&](const Packet& packet) {
        const Verdict verdict = UnpackAnswer(state, packet, request, requestNumber_, answer);
        if (verdict == Verdict::kOther) {
            AbortDuplicate(connection_->link, state, packet);
        }
        return verdict;
    };
    std::optional<Failure> failure = Exchange(connection_->link, waits, message);
    answers_ = !failure;
    return failure;
}

// A module that left the last request unanswered is told, but not waited for.
void Session::Close()
{
    if (!connection_->BelongsToThisProcess()) {
        return;
    }
    IPMICOMMAND request{IPMI_CMD_CLOSE_SESSION, {}, IPMI_NET_FN_APP_RQ};
    for (unsigned shift = 0; shift < 32; shift += 8) {
        request.data.push_back(static_cast<std::uint8_t>(connection_->state.moduleId >> shift));
    }
    IpmiAnswer answer;
    AskWithin(answers_ ? waits_.Brief() : waits_.WithLimit({}), request, answer);
}

}  // namespace Tulvo::Rmcp
