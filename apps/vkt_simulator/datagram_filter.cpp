// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/datagram_filter.h"

#include <linux/filter.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>

namespace Tulvo::Simulator {

namespace {

// A filter of a UDP socket sees the header of UDP before the datagram. What it reads behind the end
// of a datagram drops that.
constexpr std::uint32_t kDatagram = 8;
constexpr std::uint32_t kMessageClass = kDatagram + 3;
constexpr std::uint32_t kAuthenticationType = kDatagram + 4;
constexpr std::uint32_t kSessionId = kDatagram + 9;  // of authentication type 0

constexpr std::uint32_t kClassAsf = 0x06;
constexpr std::uint32_t kClassIpmi = 0x07;
constexpr std::uint32_t kTypeNone = 0x00;
constexpr std::uint32_t kTypeRmcpPlus = 0x06;
constexpr std::uint32_t kWhole = ~0U;

constexpr sock_filter kDrop = BPF_STMT(BPF_RET | BPF_K, 0);
constexpr sock_filter kAdmit = BPF_STMT(BPF_RET | BPF_K, kWhole);
constexpr sock_filter Byte(std::uint32_t offset)
{
    return BPF_STMT(BPF_LD | BPF_B | BPF_ABS, offset);
}
constexpr sock_filter Word(std::uint32_t offset)
{
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset);
}
/// Steps over the next statements: `then` of them when the value is the given one, else
/// `otherwise`.
constexpr sock_filter If(std::uint32_t value, std::uint8_t then, std::uint8_t otherwise)
{
    return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, then, otherwise);
}

constexpr sock_filter kDropAll[] = {kDrop};
constexpr sock_filter kRmcpPlusOnly[] = {
    Byte(kMessageClass),        //
    If(kClassAsf, 7, 0),        //
    If(kClassIpmi, 0, 5),       //
    Byte(kAuthenticationType),  //
    If(kTypeRmcpPlus, 4, 0),    //
    If(kTypeNone, 0, 2),        //
    Word(kSessionId),           //
    If(0, 1, 0),                //
    kDrop,                      //
    kAdmit,
};

void Attach(int socket, std::span<const sock_filter> statements)
{
    const sock_fprog program = {static_cast<unsigned short>(statements.size()),
                                const_cast<sock_filter*>(statements.data())};
    if (setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "the kernel takes no filter for the UDP port");
    }
}

void ThrowAwayWhatWaits(int socket)
{
    char ignored = 0;
    while (recv(socket, &ignored, sizeof ignored, MSG_DONTWAIT) >= 0) {
    }
}

bool IsUdp(int descriptor)
{
    int type = 0;
    int family = 0;
    socklen_t length = sizeof type;
    return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0 &&
           getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &family, &length) == 0 &&
           type == SOCK_DGRAM && (family == AF_INET || family == AF_INET6);
}

}  // namespace

void AdmitOnlyRmcpPlus(int socket)
{
    // While nothing gets in, emptying the socket has an end.
    Attach(socket, kDropAll);
    ThrowAwayWhatWaits(socket);
    Attach(socket, kRmcpPlusOnly);
}

std::vector<int> UdpSockets()
{
    std::vector<int> sockets;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        if (IsUdp(descriptor)) {
            sockets.push_back(descriptor);
        }
    }
    return sockets;
}

}  // namespace Tulvo::Simulator
