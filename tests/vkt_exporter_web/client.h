// SPDX-License-Identifier: Apache-2.0
/// @file
/// An HTTP client that can misbehave: it sends what bytes it is given.
#ifndef TESTS_VKT_EXPORTER_WEB_CLIENT_H
#define TESTS_VKT_EXPORTER_WEB_CLIENT_H

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Exporter {

class Client
{
public:
    /// @param address what HttpServer::Address() says, on 127.0.0.1.
    explicit Client(const std::string& address)
        : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_port =
            htons(static_cast<std::uint16_t>(std::stoul(address.substr(address.rfind(':') + 1))));
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(socket_.Get(), reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
            throw std::system_error(errno, std::generic_category(), "connect");
        }
    }

    void Send(std::string_view bytes) const
    {
        while (!bytes.empty()) {
            const ssize_t sent = send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent < 0) {
                return;  // the server has closed, and said why before
            }
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

    /// One whole answer whose length its header tells; what came until the server closed otherwise.
    /// @throws std::runtime_error when nothing comes for a minute.
    std::string Answer()
    {
        while (!HasWholeAnswer() && Receive()) {
        }
        return Take(AnswerSize());
    }

    /// What comes until the server closes.
    std::string UntilClosed()
    {
        while (Receive()) {
        }
        return Take(received_.size());
    }

    /// Whether the server has closed the connection by now, or sent something.
    /// @param milliseconds how long to wait for that.
    bool HasNews(int milliseconds = 0) const
    {
        pollfd descriptor = {socket_.Get(), POLLIN, 0};
        return poll(&descriptor, 1, milliseconds) > 0;
    }

    void EndSending() const { shutdown(socket_.Get(), SHUT_WR); }

private:
    static constexpr std::string_view kEndOfHeader = "\r\n\r\n";
    static constexpr std::string_view kLength = "Content-Length: ";

    bool HasWholeAnswer() const { return received_.size() >= AnswerSize(); }

    std::size_t AnswerSize() const
    {
        const std::size_t end = received_.find(kEndOfHeader);
        const std::size_t length = received_.find(kLength);
        return end == std::string::npos || length > end
                   ? std::string::npos
                   : end + kEndOfHeader.size() +
                         std::stoul(received_.substr(length + kLength.size()));
    }

    std::string Take(std::size_t size)
    {
        std::string taken = received_.substr(0, size);
        received_.erase(0, size);
        return taken;
    }

    bool Receive()
    {
        pollfd descriptor = {socket_.Get(), POLLIN, 0};
        if (poll(&descriptor, 1, 60'000) == 0) {
            throw std::runtime_error("the server neither answers nor closes");
        }
        std::array<char, 4096> block = {};
        const ssize_t size = recv(socket_.Get(), block.data(), block.size(), 0);
        received_.append(block.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
        return size > 0;
    }

    FileDescriptor socket_;
    std::string received_;
};

/// Processor time that this process has taken.
inline std::chrono::nanoseconds ProcessorTime()
{
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// The answer to one GET on a connection of its own.
inline std::string Get(const std::string& address, const std::string& place,
                       const std::string& headers = "")
{
    Client client(address);
    client.Send("GET " + place + " HTTP/1.1\r\nHost: test\r\n" + headers + "\r\n");
    return client.Answer();
}

inline std::string StatusLine(const std::string& answer)
{
    return answer.substr(0, answer.find("\r\n"));
}

inline std::string Body(const std::string& answer)
{
    const std::size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? "" : answer.substr(end + 4);
}

}  // namespace Tulvo::Exporter

#endif
