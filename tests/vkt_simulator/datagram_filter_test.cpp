// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/datagram_filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <system_error>
#include <vector>

#include "apps/vkt_simulator/owned_descriptor.h"
#include "apps/vkt_simulator/udp_endpoint.h"

namespace Tulvo::Simulator {
namespace {

using namespace std::string_literals;

// Two UDP sockets, of which one sends to the other. On loopback a datagram is there, or is dropped,
// before send() returns.
class Udp
{
public:
    explicit Udp(const std::string& address = "127.0.0.1") : here_(address, 0)
    {
        const int family = here_.storage.ss_family;
        server_ = Owned(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
        client_ = Owned(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
        if (bind(Server(), here_.Get(), here_.length) != 0 ||
            getsockname(Server(), here_.Get(), &here_.length) != 0 ||
            connect(client_.Get(), here_.Get(), here_.length) != 0) {
            throw std::system_error(errno, std::generic_category(), "a pair of UDP sockets");
        }
    }

    int Server() const { return server_.Get(); }
    void Send(const std::string& datagram) const
    {
        ASSERT_EQ(send(client_.Get(), datagram.data(), datagram.size(), 0),
                  static_cast<ssize_t>(datagram.size()));
    }
    // "nothing" when none waits.
    std::string Received() const
    {
        std::string datagram(2048, '\0');
        const ssize_t length = recv(Server(), datagram.data(), datagram.size(), MSG_DONTWAIT);
        return length < 0 ? "nothing" : datagram.substr(0, static_cast<std::size_t>(length));
    }

private:
    SocketAddress here_;
    FileDescriptor server_;
    FileDescriptor client_;
};

std::string Ipmi(int authenticationType, const std::vector<std::string>& parts)
{
    std::string datagram = "\x06\x00\xFF\x07"s + static_cast<char>(authenticationType);
    for (const std::string& part : parts) {
        datagram += part;
    }
    return datagram;
}

const std::string kSequence(4, '\0');
const std::string kNoSession(4, '\0');
const std::string kMessage = "\x07\x20\x18\xC8\x81\x00\x38\x47"s;

const std::string kPresencePing = "\x06\x00\xFF\x06\x00\x00\x11\xBE\x80\x01\x00\x00"s;
const std::string kOutsideSessions = Ipmi(0, {kSequence, kNoSession, kMessage});
const std::string kRmcpPlus = Ipmi(6, {"\x10", std::string(42, '\0')});

TEST(DatagramFilter, AdmitsPingsMessagesOutsideSessionsAndRmcpPlus)
{
    for (const char* address : {"127.0.0.1", "::1"}) {
        const Udp udp(address);
        AdmitOnlyRmcpPlus(udp.Server());
        for (const std::string& datagram : {kPresencePing, kOutsideSessions, kRmcpPlus}) {
            udp.Send(datagram);
            EXPECT_EQ(udp.Received(), datagram);
        }
    }
}

TEST(DatagramFilter, AdmitsNoOtherAuthenticationType)
{
    const Udp udp;
    AdmitOnlyRmcpPlus(udp.Server());
    for (int type = 0; type <= 0xFF; ++type) {
        if (type != 0 && type != 6) {
            udp.Send(Ipmi(type, {kSequence, kNoSession, std::string(16, '\0'), kMessage}));
            EXPECT_EQ(udp.Received(), "nothing") << type;
        }
    }
}

TEST(DatagramFilter, AdmitsNoOtherClassOfMessages)
{
    const Udp udp;
    AdmitOnlyRmcpPlus(udp.Server());
    for (int messageClass = 0; messageClass <= 0xFF; ++messageClass) {
        if (messageClass != 6 && messageClass != 7) {
            std::string datagram = kOutsideSessions;
            datagram[3] = static_cast<char>(messageClass);
            udp.Send(datagram);
            EXPECT_EQ(udp.Received(), "nothing") << messageClass;
        }
    }
}

TEST(DatagramFilter, AdmitsNoSessionWithoutRmcpPlus)
{
    const Udp udp;
    AdmitOnlyRmcpPlus(udp.Server());
    for (const char* session : {"\x02\0\0\0", "\0\x01\0\0", "\0\0\x80\0", "\0\0\0\x01"}) {
        udp.Send(Ipmi(0, {kSequence, std::string(session, 4), kMessage}));
        EXPECT_EQ(udp.Received(), "nothing");
    }
}

TEST(DatagramFilter, AdmitsNothingThatEndsBeforeItsSession)
{
    const Udp udp;
    AdmitOnlyRmcpPlus(udp.Server());
    for (std::size_t length = 0; length < 13; ++length) {
        udp.Send(kOutsideSessions.substr(0, length));
        EXPECT_EQ(udp.Received(), "nothing") << length;
    }
}

TEST(DatagramFilter, ThrowsAwayWhatCameBeforeIt)
{
    const Udp udp;
    udp.Send(Ipmi(7, {kMessage}));
    udp.Send("");
    udp.Send(kOutsideSessions);
    AdmitOnlyRmcpPlus(udp.Server());
    EXPECT_EQ(udp.Received(), "nothing");
}

TEST(DatagramFilter, FindsEveryUdpSocketAndNothingElse)
{
    EXPECT_THAT(UdpSockets(), testing::IsEmpty());
    const Udp four;
    const Udp six("::1");
    const FileDescriptor tcp = Owned(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    const FileDescriptor local = Owned(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
    EXPECT_THAT(UdpSockets(), testing::AllOf(testing::SizeIs(4), testing::Contains(four.Server()),
                                             testing::Contains(six.Server())));
}

}  // namespace
}  // namespace Tulvo::Simulator
