// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// One message and its answer. Whoever waits for a module does it here: how long, how often a copy
/// of the message is sent, and what ends the wait early.
#ifndef MODULE_IPMI_IPMI_CLIENT_EXCHANGE_H
#define MODULE_IPMI_IPMI_CLIENT_EXCHANGE_H

#include <chrono>
#include <functional>
#include <optional>

#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/udp_link.h"
#include "module/ipmi/ipmi_client/waits.h"

namespace Tulvo::Rmcp {

/// What a packet is to the one who waits for an answer.
enum class Verdict
{
    kOther,    ///< Not the answer.
    kEarlier,  ///< The module's answer to something earlier: it is at work, and the next copy would
               ///< only be one thing more to do. The interval to that begins anew.
    kDoubtful,  ///< It could be the module's or anybody's: it counts if nothing better comes before
                ///< the next copy would be sent.
    kAnswer,
};

using Judge = std::function<Verdict(const Packet&)>;

struct Message
{
    /// Makes what to send, anew for every copy; empty when that fails.
    std::function<Packet()> pack;
    /// Keeps a packet that is or may be the answer.
    Judge judge;
    unsigned sent = 0;  ///< How many copies were sent.
    Clock::time_point firstSent{};
    Clock::time_point lastSent{};

    /// How many were sent beyond the first.
    unsigned Copies() const { return sent == 0 ? 0 : sent - 1; }
};

/// Sends the message until an answer comes or the time is up.
std::optional<Failure> Exchange(UdpLink& link, const Waits& waits, Message& message);

/// Waits for answers to the other copies of a message that has one already.
void TakeFurtherAnswers(UdpLink& link, const Waits& waits, const Message& message);

/// After a stop request during an exchange: waits a moment for the answer all the same.
void TakeLateAnswer(UdpLink& link, std::chrono::milliseconds wait, const Judge& judge);

/// Why nothing is asked any more once the program has been told to end.
Failure Interrupted();
/// The same once the time is over.
Failure NoTimeLeft();

}  // namespace Tulvo::Rmcp

#endif
