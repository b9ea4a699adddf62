// SPDX-License-Identifier: Apache-2.0
/// @file
/// One TLS connection of a server, as the HTTP library reads and writes it.
#ifndef APPS_VKT_SIMULATOR_TLS_STREAM_H
#define APPS_VKT_SIMULATOR_TLS_STREAM_H

#include <httplib.h>
#include <openssl/ssl.h>

#include <chrono>
#include <memory>

namespace Tulvo::Simulator {

class TlsStream : public httplib::Stream
{
public:
    /// @param socket a blocking one, which outlives this
    /// @throws std::bad_alloc
    TlsStream(SSL_CTX* context, int socket);
    ~TlsStream() override;
    TlsStream(const TlsStream&) = delete;
    TlsStream& operator=(const TlsStream&) = delete;

    /// What OpenSSL reads from the socket by.
    BIO* Input() const { return SSL_get_rbio(tls_.get()); }
    /// The TLS handshake; whether it was completed.
    bool Accept();
    /// Whether something arrives in this time, the connection's end included.
    bool WaitForInput(std::chrono::milliseconds time) const;

    bool is_readable() const override;
    bool is_writable() const override { return true; }
    ssize_t read(char* bytes, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override { return socket_; }

private:
    int socket_;
    std::unique_ptr<SSL, void (*)(SSL*)> tls_;
    bool accepted_ = false;
};

}  // namespace Tulvo::Simulator

#endif
