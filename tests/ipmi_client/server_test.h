// SPDX-License-Identifier: Apache-2.0
/// @file
/// A module to log in to, for the tests of the client: a real IPMI server on loopback.
#ifndef TESTS_IPMI_CLIENT_SERVER_TEST_H
#define TESTS_IPMI_CLIENT_SERVER_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "apps/vkt_simulator/ipmi_sim_server.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "module/ipmi/ipmi_client/refused_logins.h"
#include "tests/fakes/fake_config.h"

namespace Tulvo {

/// The server holds this many sessions at once, half-open ones included.
inline constexpr std::size_t kServerSessions = 63;

/// What the server answers to Get Device ID without its completion code: device id 0, which
/// provides SDRs, revision 3, firmware 9.8, IPMI 2.0, and the ids that it was started with.
inline const IPMICOMMAND kGetDeviceId{0x01, {}, 0x06};

/// What came back from send().
struct Reply
{
    std::int32_t result = 0;
    std::vector<std::uint8_t> data{0xEE};
    std::uint8_t completionCode = 0xEE;
};

inline Reply Send(IpmiClient& client, const IPMICOMMAND& request = kGetDeviceId)
{
    Reply reply;
    reply.result = client.send(request, reply.data, reply.completionCode);
    return reply;
}

inline bool Serves(IpmiClient& client)
{
    const Reply reply = Send(client);
    return reply.result == 0 && reply.completionCode == 0 && !reply.data.empty();
}

class ServerTest : public ::testing::Test
{
protected:
    static constexpr const char* kUser = "admin";
    static constexpr const char* kOperator = "oper";
    static constexpr const char* kPassword = "Tr0ub4dor&3";

    static Simulator::IpmiSimOptions Options()
    {
        Simulator::IpmiSimOptions options;
        options.users = {{kUser, kPassword},
                         {kOperator, kPassword, 3},
                         {"longest-name-15", "a-password-19-bytes"}};
        return options;
    }

    ServerTest()
    {
        config.values = {{"IPMI_SESSION_TIMEOUT_MS", 20'000},
                         {"IPMI_RETRANSMISSION_TIMEOUT_MS", 500}};
    }

    std::unique_ptr<IpmiClient> Client(const std::string& user = kUser,
                                       const std::string& password = kPassword,
                                       std::uint64_t suite = 3) const
    {
        return ClientAt(server.Port(), user, password, suite);
    }

    static std::unique_ptr<IpmiClient> ClientAt(std::uint16_t port, const std::string& user = kUser,
                                                const std::string& password = kPassword,
                                                std::uint64_t suite = 3)
    {
        // What counts here is what the module makes of each log-in.
        Rmcp::ForgetRefusals();
        return std::make_unique<IpmiClient>("127.0.0.1", user, password, std::to_string(port),
                                            suite);
    }

    /// Logs in until the server refuses or has no session left: how many it had. Its refusal names
    /// no session, so the client waits for a better reply until it would send a copy.
    std::size_t FreeSessions()
    {
        config.values = {{"IPMI_SESSION_TIMEOUT_MS", 20'000},
                         {"IPMI_RETRANSMISSION_TIMEOUT_MS", 500}};
        std::vector<std::unique_ptr<IpmiClient>> clients;
        while (clients.size() <= kServerSessions) {
            clients.push_back(Client());
            if (clients.back()->connect() != CONNECTION_CONNECTED) {
                return clients.size() - 1;
            }
        }
        return clients.size();
    }

    Simulator::IpmiSimServer server{Options()};
    Fakes::FakeConfig config;
};

}  // namespace Tulvo

#endif
