// SPDX-License-Identifier: Apache-2.0
/// @file
/// The TCP ports of a server, with one thread that accepts connections on all of them.
#ifndef APPS_VKT_SIMULATOR_TCP_LISTENERS_H
#define APPS_VKT_SIMULATOR_TCP_LISTENERS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "apps/vkt_simulator/udp_endpoint.h"
#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

class TcpListeners
{
public:
    /// Is given the number of a port, in the order of Add(), and a connection to it.
    using Accepted = std::function<void(std::size_t port, FileDescriptor socket)>;

    /// @throws std::system_error when the host has no descriptor left.
    TcpListeners();
    ~TcpListeners() { Stop(); }
    TcpListeners(const TcpListeners&) = delete;
    TcpListeners& operator=(const TcpListeners&) = delete;

    /// Listens at `address`, port 0 being a free one, and returns the port.
    /// @throws std::system_error when the port cannot be had.
    std::uint16_t Add(SocketAddress address);
    /// Calls `accepted` on a thread from here to Stop().
    /// @throws std::system_error when the host has no thread left.
    void Start(Accepted accepted);
    /// Accepts nothing any more; returns when the thread has ended.
    void Stop();

private:
    void Watch(int descriptor, std::uint64_t number);
    void Work(const Accepted& accepted);
    void AcceptOne(std::size_t port, const Accepted& accepted);

    std::vector<FileDescriptor> listeners_;
    FileDescriptor stop_;
    FileDescriptor events_;
    std::thread thread_;
};

}  // namespace Tulvo::Simulator

#endif
