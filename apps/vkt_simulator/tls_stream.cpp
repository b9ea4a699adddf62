// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/tls_stream.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <limits>
#include <new>

namespace Tulvo::Simulator {

namespace {

constexpr timeval kLongestWait = {5, 0};  // of one read or write

int Length(size_t size)
{
    return static_cast<int>(std::min<size_t>(size, std::numeric_limits<int>::max()));
}

}  // namespace

TlsStream::TlsStream(SSL_CTX* context, int socket)
    : socket_(socket), tls_(SSL_new(context), SSL_free)
{
    if (tls_ == nullptr || SSL_set_fd(tls_.get(), socket) != 1) {
        throw std::bad_alloc();
    }
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    for (const int direction : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        setsockopt(socket, SOL_SOCKET, direction, &kLongestWait, sizeof kLongestWait);
    }
}

TlsStream::~TlsStream()
{
    if (accepted_) {
        SSL_shutdown(tls_.get());
    }
    shutdown(socket_, SHUT_RDWR);
}

bool TlsStream::Accept()
{
    accepted_ = SSL_accept(tls_.get()) == 1;
    return accepted_;
}

bool TlsStream::WaitForInput(std::chrono::milliseconds time) const
{
    pollfd readable = {socket_, POLLIN, 0};
    return SSL_pending(tls_.get()) > 0 || poll(&readable, 1, static_cast<int>(time.count())) > 0;
}

bool TlsStream::is_readable() const
{
    return WaitForInput(std::chrono::seconds(kLongestWait.tv_sec));
}

ssize_t TlsStream::read(char* bytes, size_t size)
{
    return SSL_read(tls_.get(), bytes, Length(size));
}

ssize_t TlsStream::write(const char* bytes, size_t size)
{
    return SSL_write(tls_.get(), bytes, Length(size));
}

}  // namespace Tulvo::Simulator
