// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/exchange.h"

#include <algorithm>
#include <string>

#include "module/ipmi/ipmi_client/local_host.h"

namespace Tulvo::Rmcp {
namespace {

Failure NoAnswer(std::chrono::milliseconds limit)
{
    Failure failure{CONNECTION_TRY_AGAIN,
                    "no answer within " + std::to_string(limit.count()) + " ms",
                    "check that the address is the module's and that it is up, or raise "
                    "IPMI_SESSION_TIMEOUT_MS"};
    failure.cause = Cause::kTimedOut;
    failure.point.silent = true;
    return failure;
}

/// How a wait between two copies ended.
struct Heard
{
    bool enough = false;
    std::optional<Failure> failure{};
};

// What an ICMP message says is as easily forged as a packet without the session's id. At a module
// that has answered before it is doubtful, too; one that never did is not waited for in vain.
Heard Listen(UdpLink& link, Clock::time_point deadline, std::chrono::milliseconds interval,
             const Waits& waits, const Judge& judge)
{
    const auto nextCopy = [&] { return std::min(deadline, Clock::now() + interval); };
    Clock::time_point until = nextCopy();
    Heard doubtful;
    Packet packet;
    for (;;) {
        switch (link.Receive(until, packet)) {
            case Reception::kPacket: {
                const Verdict verdict = judge(packet);
                if (verdict == Verdict::kAnswer) {
                    return {true};
                }
                if (verdict == Verdict::kEarlier && waits.doubling && !doubtful.enough) {
                    until = nextCopy();
                }
                if (verdict == Verdict::kDoubtful) {
                    doubtful = {true};
                    until = std::min(until, waits.WithLimit(waits.doubt).Deadline());
                }
                break;
            }
            case Reception::kFailed:
                doubtful = {true, link.LastFailure()};
                if (!link.HasReceived()) {
                    return doubtful;
                }
                break;
            case Reception::kInterrupted:
                return {true, Interrupted()};
            case Reception::kSilence:
                return doubtful;
        }
    }
}

}  // namespace

Failure Interrupted()
{
    Failure failure{CONNECTION_FAILED, "interrupted; the program is ending"};
    failure.cause = Cause::kCancelled;
    return failure;
}

Failure NoTimeLeft()
{
    Failure failure{CONNECTION_TRY_AGAIN, "no time was left for it", "allow more"};
    failure.cause = Cause::kTimedOut;
    return failure;
}

std::optional<Failure> Exchange(UdpLink& link, const Waits& waits, Message& message)
{
    const Clock::time_point deadline = waits.Deadline();
    std::chrono::milliseconds interval = waits.copyInterval;
    do {
        const Packet packet = message.pack();
        if (packet.empty()) {
            return LocalFault("packing a request");
        }
        link.Send(packet);
        message.lastSent = Clock::now();
        message.firstSent = message.sent == 0 ? message.lastSent : message.firstSent;
        ++message.sent;
        Heard heard = Listen(link, deadline, interval, waits, message.judge);
        if (heard.enough) {
            return std::move(heard.failure);
        }
        interval *= waits.doubling ? 2 : 1;
    } while (Clock::now() < deadline && message.sent <= waits.mostCopies);
    return NoAnswer(waits.limit);
}

// The answers come as far apart as the copies were sent, or as the module needs for each.
void TakeFurtherAnswers(UdpLink& link, const Waits& waits, const Message& message)
{
    const Clock::time_point deadline = waits.Deadline();
    Packet packet;
    for (unsigned copies = message.sent; copies > 1; --copies) {
        const auto until = std::min(deadline, Clock::now() + waits.Brief().limit);
        if (link.Receive(until, packet) != Reception::kPacket) {
            return;
        }
        message.judge(packet);
    }
}

void TakeLateAnswer(UdpLink& link, std::chrono::milliseconds wait, const Judge& judge)
{
    Packet packet;
    if (link.Receive(Clock::now() + wait, packet, UdpLink::OnInterruption::kGoOn) ==
        Reception::kPacket) {
        judge(packet);
    }
}

}  // namespace Tulvo::Rmcp
