// SPDX-License-Identifier: Apache-2.0
/// @file
/// The Redfish services of enclosures over TLS, each on a TCP port of its own.
#ifndef APPS_VKT_SIMULATOR_HTTPS_SERVER_H
#define APPS_VKT_SIMULATOR_HTTPS_SERVER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "apps/vkt_simulator/scenario.h"
#include "common/platform/file_descriptor.h"

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
    /// @param firstPort of the first enclosure, the next ports being the others'; 0: free ones
    /// @param scenarios one for each enclosure; they are counted from 0 in this order
    /// @throws std::runtime_error when a port cannot be had or the certificate not be made.
    HttpsServer(const std::string& address, std::uint16_t firstPort,
                const std::vector<const Scenario*>& scenarios);
    ~HttpsServer();
    HttpsServer(const HttpsServer&) = delete;
    HttpsServer& operator=(const HttpsServer&) = delete;

    std::uint16_t Port(std::size_t enclosure) const;
    /// A file with the certificate, for this user alone. It is in memory and gone with the object.
    std::string CertificateFile(std::size_t enclosure) const;
    /// The public key as curl's `--pinnedpubkey` takes it.
    std::string Pin(std::size_t enclosure) const;
    /// Plays other scenarios, with the same ports, certificates and sessions, to the same accounts.
    /// @return readable (in the sense of poll) when every answer of the old ones has been sent
    FileDescriptor Change(const std::vector<const Scenario*>& scenarios);
    /// Of all enclosures together.
    HttpsStatistics Statistics() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace Tulvo::Simulator

#endif
