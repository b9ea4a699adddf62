// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/udp_link.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

#include "common/interruption/interruption.h"

namespace Tulvo::Rmcp {
namespace {

Failure FailureOf(int error)
{
    Failure failure{CONNECTION_FAILED, std::generic_category().message(error),
                    "check the address and the way to the module"};
    if (error == ECONNREFUSED) {
        failure = {CONNECTION_TRY_AGAIN, "nothing listens on that port",
                   "check address and port, or wait if the module is starting"};
    }
    failure.exhausted = error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
    failure.cause = failure.exhausted ? Cause::kLocal : Cause::kUnreachable;
    return failure;
}

int RemainingMilliseconds(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

}  // namespace

std::optional<Failure> UdpLink::Open(const Endpoint& endpoint)
{
    hasReceived_ = false;
    socket_ = FileDescriptor(
        socket(endpoint.address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto* const address = reinterpret_cast<const sockaddr*>(&endpoint.address);
    if (!socket_.Valid() || connect(socket_.Get(), address, endpoint.length) != 0) {
        return FailureOf(errno);
    }
    return {};
}

void UdpLink::Send(const Packet& packet) const
{
    if (cost_ != nullptr) {
        ++cost_->datagramsSent;
    }
    // An error that an earlier datagram met is reported once, here, instead of sending; Receive()
    // would have told of it, and the second call sends.
    if (send(socket_.Get(), packet.data(), packet.size(), MSG_NOSIGNAL) < 0) {
        send(socket_.Get(), packet.data(), packet.size(), MSG_NOSIGNAL);
    }
}

Reception UdpLink::Receive(Clock::time_point deadline, Packet& packet,
                           OnInterruption onInterruption)
{
    const bool interruptible = onInterruption == OnInterruption::kReturn;
    const int interruption = interruptible ? Interruption::Descriptor() : -1;
    const int stop = interruptible && stop_ != nullptr ? stop_->Descriptor() : -1;
    for (;;) {
        const int wait = RemainingMilliseconds(deadline);
        std::array<pollfd, 3> events{pollfd{socket_.Get(), POLLIN, 0},
                                     pollfd{interruption, POLLIN, 0}, pollfd{stop, POLLIN, 0}};
        const int ready = poll(events.data(), events.size(), wait);
        const bool stopped = stop_ != nullptr && stop_->IsRaised();
        if (interruptible && (stopped || Interruption::Raised())) {
            return Reception::kInterrupted;
        }
        if (wait == 0) {
            return Reception::kSilence;
        }
        if (ready > 0) {
            const Reception reception = Read(packet);
            if (reception != Reception::kSilence) {
                return reception;
            }
        }
    }
}

// Silence stands for a datagram that is none of ours, or that the kernel found damaged on reading.
Reception UdpLink::Read(Packet& packet)
{
    const ssize_t length = recv(socket_.Get(), buffer_.data(), buffer_.size(), MSG_TRUNC);
    if (length < 0) {
        error_ = errno;
        const bool passing = error_ == EAGAIN || error_ == EINTR || error_ == ENOMEM;
        return passing ? Reception::kSilence : Reception::kFailed;
    }
    if (cost_ != nullptr) {
        ++cost_->datagramsReceived;
    }
    if (static_cast<std::size_t>(length) > buffer_.size()) {
        return Reception::kSilence;
    }
    hasReceived_ = true;
    packet.assign(buffer_.begin(), buffer_.begin() + length);
    return Reception::kPacket;
}

Failure UdpLink::LastFailure() const
{
    return FailureOf(error_);
}

}  // namespace Tulvo::Rmcp
