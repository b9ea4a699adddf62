// SPDX-License-Identifier: Apache-2.0
/// @file
/// A relay between client and module that does to packets what a network or an on-path attacker
/// could do.
#ifndef TESTS_IPMI_CLIENT_FAULT_INJECTING_RELAY_H
#define TESTS_IPMI_CLIENT_FAULT_INJECTING_RELAY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace Tulvo {

using Datagram = std::vector<std::uint8_t>;

/// The low six bits of a packet's sixth byte tell what it carries.
inline constexpr std::size_t kPayloadType = 5;
/// Where a log-in message keeps the fields that tests touch.
inline constexpr std::size_t kTag = 16;
inline constexpr std::size_t kStatus = 17;
/// Where a reply of the log-in names the client's session.
inline constexpr std::size_t kConsoleSessionId = 20;
/// Where it names the module's: the reply that opens it, and the requests of the log-in after that.
inline constexpr std::size_t kModuleSessionIdInReply = 24;
inline constexpr std::size_t kModuleSessionIdInRequest = 20;

enum PayloadType : std::uint8_t
{
    kOpenSessionRequest = 0x10,
    kOpenSessionResponse = 0x11,
    kRakp1 = 0x12,
    kRakp2 = 0x13,
    kRakp3 = 0x14,
    kRakp4 = 0x15,
    kSealedIpmi = 0xC0,
};

inline bool Carries(const Datagram& datagram, PayloadType type)
{
    return datagram.size() > kPayloadType && datagram[kPayloadType] == type;
}

/// Relays between one client at a time and the server. What a filter returns is passed on in the
/// packet's place; filters run on the relay's thread.
class FaultInjectingRelay
{
public:
    using Filter = std::function<std::vector<Datagram>(const Datagram&)>;

    static std::vector<Datagram> PassOn(const Datagram& datagram) { return {datagram}; }

    explicit FaultInjectingRelay(std::uint16_t serverPort, Filter toServer = PassOn,
                                 Filter toClient = PassOn);
    FaultInjectingRelay(const FaultInjectingRelay&) = delete;
    FaultInjectingRelay& operator=(const FaultInjectingRelay&) = delete;
    ~FaultInjectingRelay();

    std::uint16_t Port() const { return port_; }
    /// Of the client that spoke last; for filters.
    std::uint16_t ClientPort() const;

private:
    void Run();
    void FromClient();
    void FromServer();

    Filter toServer_;
    Filter toClient_;
    int client_;
    int server_;
    int stop_;
    std::uint16_t port_ = 0;
    std::uint16_t answerTo_ = 0;  ///< Port of the client that spoke last, as the socket gave it.
    std::thread thread_;
};

}  // namespace Tulvo

#endif
