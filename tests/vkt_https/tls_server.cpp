// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_https/tls_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <sstream>

namespace Tulvo::Tests {
namespace {

constexpr std::size_t kMostSent = 64UL * 1024 * 1024;
constexpr int kTrickleMilliseconds = 200;

/// Blocks SIGPIPE for the calling thread: a client that closes must not end the test, while the
/// thread of the code under test stays as a host program's is.
void IgnoreBrokenPipes()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

/// Listens on `port`, which becomes a free one when it is 0. Negative when that cannot be.
int Listen(const std::string& address, std::uint16_t& port)
{
    const bool isIpv6 = address.find(':') != std::string::npos;
    sockaddr_in6 ipv6{};
    sockaddr_in ipv4{};
    ipv6.sin6_family = AF_INET6;
    ipv4.sin_family = AF_INET;
    ipv6.sin6_port = htons(port);
    ipv4.sin_port = htons(port);
    inet_pton(AF_INET6, address.c_str(), &ipv6.sin6_addr);
    inet_pton(AF_INET, address.c_str(), &ipv4.sin_addr);
    auto* const name =
        isIpv6 ? reinterpret_cast<sockaddr*>(&ipv6) : reinterpret_cast<sockaddr*>(&ipv4);
    socklen_t size = isIpv6 ? sizeof ipv6 : sizeof ipv4;
    const int listener = socket(name->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener, name, size) != 0 || listen(listener, 16) != 0) {
        close(listener);
        return -1;
    }
    getsockname(listener, name, &size);
    port = ntohs(isIpv6 ? ipv6.sin6_port : ipv4.sin_port);
    return listener;
}

SSL_CTX* MakeContext(const Identity& identity, const ServerKind& kind)
{
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    if (kind.newestTls < TLS1_2_VERSION) {
        SSL_CTX_set_security_level(context, 0);  // Else OpenSSL itself refuses such versions.
    }
    SSL_CTX_set_min_proto_version(context, TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context, kind.newestTls);
    if (!kind.suites.empty()) {
        EXPECT_EQ(SSL_CTX_set_cipher_list(context, kind.suites.c_str()), 1) << kind.suites;
        SSL_CTX_set_dh_auto(context, 1);
    }
    // Without it no session can be resumed; its value does not matter.
    SSL_CTX_set_session_id_context(context, reinterpret_cast<const unsigned char*>("test"), 4);
    SSL_CTX_use_certificate(context, identity.certificate.get());
    SSL_CTX_use_PrivateKey(context, identity.key.get());
    return context;
}

/// Asks `isSo` until it is, for a minute at most.
template <typename Condition>
bool WaitFor(const Condition& isSo)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::size_t ContentLength(const Request& request)
{
    const std::string text = request.Field("Content-Length").value_or("0");
    std::size_t length = 0;
    std::from_chars(text.data(), text.data() + text.size(), length);
    return length;
}

}  // namespace

std::optional<std::string> Request::Field(const std::string& name) const
{
    std::istringstream lines(head);
    for (std::string text; std::getline(lines, text);) {
        if (strncasecmp(text.c_str(), (name + ": ").c_str(), name.size() + 2) == 0) {
            return text.substr(name.size() + 2, text.size() - name.size() - 3);
        }
    }
    return std::nullopt;
}

Peer::Peer(TlsServer& server, int socket)
    : server_(server), socket_(socket), tls_(SSL_new(server.context_.get()), SSL_free)
{
    SSL_set_fd(tls_.get(), socket);
}

Peer::~Peer()
{
    Break();
}

bool Peer::Await(short events, int milliseconds) const
{
    std::array<pollfd, 2> ends = {{{socket_, events, 0}, {server_.stop_, POLLIN, 0}}};
    poll(ends.data(), ends.size(), milliseconds);
    return ends[0].revents != 0 && ends[1].revents == 0;
}

bool Peer::Retry(int result)
{
    switch (SSL_get_error(tls_.get(), result)) {
        case SSL_ERROR_WANT_READ:
            return Await(POLLIN);
        case SSL_ERROR_WANT_WRITE:
            return Await(POLLOUT);
        default:
            return false;
    }
}

bool Peer::Handshake()
{
    int result = 0;
    do {
        result = SSL_accept(tls_.get());
    } while (result != 1 && Retry(result));
    NoteOffer();
    server_.resumptions_ += SSL_session_reused(tls_.get());
    server_.handshakes_ += result == 1 ? 1 : 0;
    return result == 1;
}

void Peer::NoteOffer()
{
    std::vector<std::string> names;
    const STACK_OF(SSL_CIPHER)* const suites = SSL_get_client_ciphers(tls_.get());
    const int count = sk_SSL_CIPHER_num(suites);
    names.reserve(static_cast<std::size_t>(std::max(count, 0)));
    for (int i = 0; i < count; ++i) {
        names.emplace_back(SSL_CIPHER_get_name(sk_SSL_CIPHER_value(suites, i)));
    }
    const std::lock_guard lock(server_.mutex_);
    server_.offeredSuites_ = std::move(names);
}

bool Peer::Fill()
{
    std::array<char, 4096> bytes{};
    int count = 0;
    do {
        count = SSL_read(tls_.get(), bytes.data(), bytes.size());
    } while (count <= 0 && Retry(count));
    unread_.append(bytes.data(), static_cast<std::size_t>(std::max(count, 0)));
    return count > 0;
}

std::optional<Request> Peer::Read()
{
    std::size_t end = 0;
    while ((end = unread_.find("\r\n\r\n")) == std::string::npos) {
        if (!Fill()) {
            return std::nullopt;
        }
    }
    ++server_.heads_;
    Request request{unread_.substr(0, unread_.find("\r\n")), unread_.substr(0, end + 4), ""};
    unread_.erase(0, end + 4);
    const std::size_t length = ContentLength(request);
    while (unread_.size() < length) {
        if (!Fill()) {
            return std::nullopt;
        }
    }
    request.body = unread_.substr(0, length);
    unread_.erase(0, length);
    const std::lock_guard lock(server_.mutex_);
    server_.requests_.push_back(request);
    return request;
}

bool Peer::Send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const int count = SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()));
        if (count > 0) {
            server_.bytesSent_ += static_cast<std::size_t>(count);
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (!Retry(count)) {
            return false;
        }
    }
    return true;
}

void Peer::SendForever(std::string_view bytes)
{
    for (std::size_t sent = 0; sent < kMostSent && Send(bytes); sent += bytes.size()) {
    }
}

void Peer::Trickle(std::string_view bytes)
{
    for (std::size_t i = 0; i < bytes.size() && Send(bytes.substr(i, 1)); ++i) {
        if (Await(POLLIN, kTrickleMilliseconds)) {
            return;  // The client has closed.
        }
    }
}

void Peer::WaitForBytes() const
{
    Await(POLLIN);
}

void Peer::WaitForClient()
{
    std::array<char, 4096> bytes{};
    while (Await(POLLIN) && recv(socket_, bytes.data(), bytes.size(), 0) > 0) {
    }
}

void Peer::Close()
{
    if (socket_ >= 0) {
        SSL_shutdown(tls_.get());
    }
    Break();
}

void Peer::Break()
{
    if (socket_ >= 0) {
        shutdown(socket_, SHUT_WR);
        AwaitDelivery();
        Leave();
    }
}

void Peer::Reset()
{
    const linger atOnce{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    Leave();
}

void Peer::Leave()
{
    close(socket_);
    socket_ = -1;
    ++server_.ends_;
}

void Peer::AwaitDelivery() const
{
    WaitFor([this] {
        tcp_info info{};
        socklen_t size = sizeof info;
        getsockopt(socket_, IPPROTO_TCP, TCP_INFO, &info, &size);
        int waiting = 0;  // Bytes that the client's side has not acknowledged, the end included.
        ioctl(socket_, SIOCOUTQ, &waiting);
        return info.tcpi_state == TCP_CLOSE || waiting == 0;
    });
}

bool CanListenOn(const std::string& address)
{
    std::uint16_t port = 0;
    const int listener = Listen(address, port);
    if (listener >= 0) {
        close(listener);
    }
    return listener >= 0;
}

TlsServer::TlsServer(const Identity& identity, Play onConnection, const ServerKind& kind)
    : context_(MakeContext(identity, kind), SSL_CTX_free),
      onConnection_(std::move(onConnection)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      port_(kind.port),
      listener_(Listen(kind.listenOn, port_)),
      acceptor_([this] { Accept(); })
{
    EXPECT_GE(listener_, 0) << kind.listenOn << " port " << kind.port;
}

TlsServer::~TlsServer()
{
    eventfd_write(stop_, 1);
    acceptor_.join();
    players_.clear();
    close(listener_);
    close(stop_);
}

void TlsServer::Accept()
{
    IgnoreBrokenPipes();
    for (;;) {
        std::array<pollfd, 2> ends = {{{listener_, POLLIN, 0}, {stop_, POLLIN, 0}}};
        poll(ends.data(), ends.size(), -1);
        if (ends[1].revents != 0) {
            return;
        }
        const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (socket >= 0) {
            ++connections_;
            players_.emplace_back([this, socket] {
                Peer peer(*this, socket);
                onConnection_(peer);
            });
        }
    }
}

void TlsServer::AwaitHandshakes(int count) const
{
    EXPECT_TRUE(WaitFor([this, count] { return handshakes_ >= count; })) << handshakes_;
}

void TlsServer::AwaitEnds(int count) const
{
    EXPECT_TRUE(WaitFor([this, count] { return ends_ >= count; })) << ends_ << " of " << count;
}

std::vector<std::string> TlsServer::OfferedSuites() const
{
    const std::lock_guard lock(mutex_);
    return offeredSuites_;
}

std::vector<Request> TlsServer::Requests() const
{
    const std::lock_guard lock(mutex_);
    return requests_;
}

}  // namespace Tulvo::Tests
