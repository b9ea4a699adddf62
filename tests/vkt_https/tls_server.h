// SPDX-License-Identifier: Apache-2.0
/// @file
/// A TLS server on loopback that treats each connection as the test says, and records what it saw.
/// Bare sockets and OpenSSL: a real HTTP server could not be made to lie.
#ifndef TESTS_VKT_HTTPS_TLS_SERVER_H
#define TESTS_VKT_HTTPS_TLS_SERVER_H

#include <openssl/ssl.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/vkt_https/certificates.h"

namespace Tulvo::Tests {

/// A request as it arrived.
struct Request
{
    std::string line;  ///< "POST /path HTTP/1.1"
    std::string head;  ///< Everything before the body, the line included.
    std::string body;

    /// The value of a header field; nothing when it is missing.
    std::optional<std::string> Field(const std::string& name) const;
};

class TlsServer;

/// One connection, seen from the server. Every function returns when the server ends or the client
/// has closed.
class Peer
{
public:
    Peer(TlsServer& server, int socket);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// False when the client did not finish the handshake.
    bool Handshake();
    /// The next request, which the server records; nothing when the client closed.
    std::optional<Request> Read();
    bool Send(std::string_view bytes);
    /// Sends `bytes` again and again until the client has closed, at most 64 MiB.
    void SendForever(std::string_view bytes);
    /// Sends one byte of `bytes` every 200 ms.
    void Trickle(std::string_view bytes);
    /// Waits until all that was sent has arrived in the client's socket.
    void AwaitDelivery() const;
    /// Waits until the client has sent something, or has closed, and reads nothing of it.
    void WaitForBytes() const;
    /// Waits until the client has closed, reading nothing.
    void WaitForClient();
    /// Ends the connection properly.
    void Close();
    /// Ends the connection without a close_notify.
    void Break();
    /// Has the client get a reset instead of an end.
    void Reset();

private:
    bool Await(short events, int milliseconds = -1) const;
    bool Retry(int result);
    bool Fill();
    void NoteOffer();
    void Leave();

    TlsServer& server_;
    int socket_;
    std::unique_ptr<SSL, void (*)(SSL*)> tls_;
    std::string unread_;
};

/// How the server deviates from an ordinary one.
struct ServerKind
{
    int newestTls = TLS1_3_VERSION;
    std::string listenOn = "127.0.0.1";
    std::uint16_t port = 0;  ///< 0: any free one.
    std::string suites{};    ///< OpenSSL's list of the suites before TLS 1.3; empty: its own.
};

/// Whether the machine has this address.
bool CanListenOn(const std::string& address);

class TlsServer
{
public:
    using Play = std::function<void(Peer&)>;

    /// `onConnection` runs in a thread of its own for each connection, before any handshake.
    TlsServer(const Identity& identity, Play onConnection, const ServerKind& kind = {});
    ~TlsServer();
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    std::uint16_t Port() const { return port_; }
    int Connections() const { return connections_; }
    int Handshakes() const { return handshakes_; }
    /// Waits until there were `count`.
    void AwaitHandshakes(int count) const;
    /// Handshakes that took up the session of an earlier one, without a certificate.
    int Resumptions() const { return resumptions_; }
    std::size_t BytesSent() const { return bytesSent_; }
    /// What the client of the last handshake offered, by OpenSSL's names.
    std::vector<std::string> OfferedSuites() const;
    /// Request heads that arrived, with or without a body behind them.
    int Heads() const { return heads_; }
    /// Waits until this many connections have been ended by the server, visibly for the client.
    void AwaitEnds(int count) const;
    /// Requests that arrived whole, in order.
    std::vector<Request> Requests() const;

private:
    friend class Peer;

    void Accept();

    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context_;
    Play onConnection_;
    int stop_;
    std::uint16_t port_;
    int listener_;  // Sets port_.
    std::atomic<int> connections_ = 0;
    std::atomic<int> handshakes_ = 0;
    std::atomic<int> resumptions_ = 0;
    std::atomic<int> heads_ = 0;
    std::atomic<int> ends_ = 0;
    std::atomic<std::size_t> bytesSent_ = 0;
    mutable std::mutex mutex_;
    std::vector<Request> requests_;
    std::vector<std::string> offeredSuites_;
    std::vector<std::jthread> players_;
    std::jthread acceptor_;  // Last: it uses all of the above.
};

}  // namespace Tulvo::Tests

#endif
