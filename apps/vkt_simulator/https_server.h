// SPDX-License-Identifier: Apache-2.0
/// @file
/// The enclosure's Redfish service on a TCP port, over TLS.
#ifndef APPS_VKT_SIMULATOR_HTTPS_SERVER_H
#define APPS_VKT_SIMULATOR_HTTPS_SERVER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "apps/vkt_simulator/scenario.h"

namespace Tulvo::Simulator {

struct HttpsStatistics
{
    std::uint64_t handshakes = 0;  ///< TLS handshakes that were completed
    std::uint64_t requests = 0;    ///< HTTP requests that the service got, refused ones included
    std::size_t openSessions = 0;
};

/// Serves from construction to destruction, on threads of its own. Its end waits for no client.
class HttpsServer
{
public:
    /// @param address numeric
    /// @param port 0: a free one
    /// @throws std::runtime_error when the port cannot be had or the certificate not be made.
    HttpsServer(const std::string& address, std::uint16_t port, const Scenario& scenario);
    ~HttpsServer();
    HttpsServer(const HttpsServer&) = delete;
    HttpsServer& operator=(const HttpsServer&) = delete;

    std::uint16_t Port() const;
    /// A file with the certificate, for this user alone. It is in memory and gone with the object.
    std::string CertificateFile() const;
    /// The public key as curl's `--pinnedpubkey` takes it.
    std::string Pin() const;
    HttpsStatistics Statistics() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace Tulvo::Simulator

#endif
