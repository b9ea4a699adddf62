// SPDX-License-Identifier: Apache-2.0
#include "tests/ipmi_client/fault_injecting_relay.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "tests/ipmi_client/loopback.h"

namespace Tulvo {
FaultInjectingRelay::FaultInjectingRelay(std::uint16_t serverPort, Filter toServer, Filter toClient)
    : toServer_(std::move(toServer)),
      toClient_(std::move(toClient)),
      client_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      server_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      port_(BindToFreePort(client_))
{
    const sockaddr_in server = Loopback(serverPort);
    if (connect(server_, Generic(server), sizeof server) != 0) {
        throw std::system_error(errno, std::generic_category(), "connect to the server");
    }
    thread_ = std::thread(&FaultInjectingRelay::Run, this);
}

FaultInjectingRelay::~FaultInjectingRelay()
{
    eventfd_write(stop_, 1);
    thread_.join();
    for (const int descriptor : {client_, server_, stop_}) {
        close(descriptor);
    }
}

std::uint16_t FaultInjectingRelay::ClientPort() const
{
    return ntohs(answerTo_);
}

void FaultInjectingRelay::Run()
{
    std::array<pollfd, 3> events{pollfd{stop_, POLLIN, 0}, pollfd{client_, POLLIN, 0},
                                 pollfd{server_, POLLIN, 0}};
    // What was sent before the end is still passed on.
    while (poll(events.data(), events.size(), -1) > 0 &&
           (events[0].revents == 0 || events[1].revents != 0 || events[2].revents != 0)) {
        if (events[1].revents != 0) {
            FromClient();
        }
        if (events[2].revents != 0) {
            FromServer();
        }
    }
}

void FaultInjectingRelay::FromClient()
{
    Datagram datagram(65536);
    sockaddr_in from{};
    socklen_t fromLength = sizeof from;
    const ssize_t length = recvfrom(client_, datagram.data(), datagram.size(), 0,
                                    reinterpret_cast<sockaddr*>(&from), &fromLength);
    if (length >= 0) {
        answerTo_ = from.sin_port;
        datagram.resize(static_cast<std::size_t>(length));
        for (const Datagram& changed : toServer_(datagram)) {
            send(server_, changed.data(), changed.size(), 0);
        }
    }
}

void FaultInjectingRelay::FromServer()
{
    Datagram datagram(65536);
    const ssize_t length = recv(server_, datagram.data(), datagram.size(), 0);
    if (length >= 0) {
        datagram.resize(static_cast<std::size_t>(length));
        const sockaddr_in to = Loopback(ClientPort());
        for (const Datagram& changed : toClient_(datagram)) {
            sendto(client_, changed.data(), changed.size(), 0, Generic(to), sizeof to);
        }
    }
}

}  // namespace Tulvo
