// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/exchange.h"

#include <gtest/gtest.h>

#include <cstring>

#include "common/platform/file_descriptor.h"
#include "tests/ipmi_client/loopback.h"

namespace Tulvo::Rmcp {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

/// A module's end of a link; it is gone with the object, and the host then says that nothing
/// listens on its port.
class Peer
{
public:
    std::uint16_t Port() const { return port_; }

    void Join(UdpLink& link) const
    {
        Endpoint endpoint;
        const sockaddr_in address = Loopback(port_);
        std::memcpy(&endpoint.address, &address, sizeof address);
        endpoint.length = sizeof address;
        ASSERT_FALSE(link.Open(endpoint));
        link.Send({0});
        sockaddr_in from{};
        socklen_t length = sizeof from;
        char byte = 0;
        ASSERT_EQ(recvfrom(socket_.Get(), &byte, 1, 0, reinterpret_cast<sockaddr*>(&from), &length),
                  1);
        ASSERT_EQ(connect(socket_.Get(), Generic(from), length), 0);
    }

    void Send(char byte) const { send(socket_.Get(), &byte, 1, 0); }

private:
    FileDescriptor socket_{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    std::uint16_t port_ = BindToFreePort(socket_.Get());
};

Message MessageWithAnswer(char answer)
{
    Message message;
    message.pack = [] { return Packet{1}; };
    message.judge = [answer](const Packet& packet) {
        return packet == Packet{static_cast<std::uint8_t>(answer)} ? Verdict::kAnswer
                                                                   : Verdict::kOther;
    };
    return message;
}

// The wait is longer than the tests' time limit: one that is not cut short shows.
TEST(Exchange, EndsAtOnceWhereNothingListensAndNobodyHasAnswered)
{
    UdpLink link;
    {
        const Peer peer;
        peer.Join(link);
    }
    Message message = MessageWithAnswer('a');
    const auto failure = Exchange(link, {hours(1), hours(1)}, message);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->what, "nothing listens on that port");
    EXPECT_EQ(message.sent, 1U);
}

TEST(Exchange, PrefersTheAnswerToAnIcmpErrorBeforeIt)
{
    UdpLink link;
    auto peer = std::make_unique<Peer>();
    peer->Join(link);
    peer->Send('x');
    Packet first;
    ASSERT_EQ(link.Receive(Clock::now() + hours(1), first), Reception::kPacket);
    // The answer waits behind the error that the message meets.
    peer->Send('a');
    peer.reset();
    Message message = MessageWithAnswer('a');
    EXPECT_FALSE(Exchange(link, {hours(1), hours(1)}, message));
}

TEST(Exchange, BelievesAnIcmpErrorThatNoAnswerFollows)
{
    UdpLink link;
    auto peer = std::make_unique<Peer>();
    peer->Join(link);
    peer->Send('x');
    Packet first;
    ASSERT_EQ(link.Receive(Clock::now() + hours(1), first), Reception::kPacket);
    peer.reset();
    Message message = MessageWithAnswer('a');
    const auto failure = Exchange(link, {hours(1), milliseconds(20)}, message);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->what, "nothing listens on that port");
    EXPECT_EQ(message.sent, 1U);
}

}  // namespace
}  // namespace Tulvo::Rmcp
