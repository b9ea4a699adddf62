// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/tcp_listeners.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <system_error>
#include <utility>

#include "apps/vkt_simulator/owned_descriptor.h"

namespace Tulvo::Simulator {

namespace {

constexpr auto kStopNumber = std::numeric_limits<std::uint64_t>::max();
constexpr const char* kCannotListen = "cannot listen on a TCP port";

void CheckCall(int result, const char* what)
{
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

}  // namespace

TcpListeners::TcpListeners()
    : stop_(Owned(eventfd(0, EFD_CLOEXEC), "cannot make an event")),
      events_(Owned(epoll_create1(EPOLL_CLOEXEC), "cannot wait for connections"))
{
    Watch(stop_.Get(), kStopNumber);
}

// Not SO_REUSEPORT: two simulators would share one port.
std::uint16_t TcpListeners::Add(SocketAddress address)
{
    FileDescriptor listener =
        Owned(socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0),
              kCannotListen);
    const int on = 1;
    CheckCall(setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), kCannotListen);
    CheckCall(bind(listener.Get(), address.Get(), address.length), kCannotListen);
    CheckCall(listen(listener.Get(), SOMAXCONN), kCannotListen);
    CheckCall(getsockname(listener.Get(), address.Get(), &address.length), kCannotListen);
    Watch(listener.Get(), listeners_.size());
    listeners_.push_back(std::move(listener));
    return address.Port();
}

void TcpListeners::Watch(int descriptor, std::uint64_t number)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u64 = number;
    CheckCall(epoll_ctl(events_.Get(), EPOLL_CTL_ADD, descriptor, &event),
              "cannot wait for connections");
}

void TcpListeners::Start(Accepted accepted)
{
    try {
        thread_ = std::thread([this, accepted = std::move(accepted)] { Work(accepted); });
    } catch (const std::system_error& fault) {
        throw std::system_error(fault.code(), "no thread can be started");
    }
}

void TcpListeners::Stop()
{
    if (thread_.joinable()) {
        eventfd_write(stop_.Get(), 1);
        thread_.join();
    }
}

void TcpListeners::Work(const Accepted& accepted)
{
    std::array<epoll_event, 64> events = {};
    while (true) {
        const int count =
            epoll_wait(events_.Get(), events.data(), static_cast<int>(events.size()), -1);
        for (int i = 0; i < count; ++i) {
            const std::uint64_t number = events[static_cast<std::size_t>(i)].data.u64;
            if (number == kStopNumber) {
                return;
            }
            AcceptOne(number, accepted);
        }
    }
}

void TcpListeners::AcceptOne(std::size_t port, const Accepted& accepted)
{
    FileDescriptor connection(accept4(listeners_[port].Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (connection.Valid()) {
        accepted(port, std::move(connection));
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
        // The connection still waits, so that there would be no rest until others have ended.
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace Tulvo::Simulator
