// SPDX-License-Identifier: Apache-2.0
// What the client makes of modules that ipmi_sim cannot play.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/ipmi_client/fake_rmcp_module.h"
#include "tests/ipmi_client/fault_injecting_relay.h"

namespace Tulvo {
namespace {

using ::testing::HasSubstr;

FakeRmcpModuleOptions Module(int suite = 3)
{
    FakeRmcpModuleOptions options;
    options.cipherSuite = suite;
    options.answer = GrantPrivilege;
    return options;
}

IpmiClient ClientOf(const FakeRmcpModule& module, const FakeRmcpModuleOptions& options)
{
    return {"127.0.0.1", options.userName, options.password, std::to_string(module.Port()),
            static_cast<std::uint64_t>(options.cipherSuite)};
}

TEST(CipherSuites, BothLogInAndCarryRequests)
{
    for (const int suite : {3, 17}) {
        SCOPED_TRACE(suite);
        const FakeRmcpModuleOptions options = Module(suite);
        FakeRmcpModule module(options);
        IpmiClient client = ClientOf(module, options);
        ASSERT_EQ(client.connect(), CONNECTION_CONNECTED) << client.lastError();
        Bytes response;
        std::uint8_t completionCode = 0;
        ASSERT_EQ(client.send({0x3B, {4}, 0x06}, response, completionCode), 0);
        EXPECT_EQ(completionCode, 0);
        EXPECT_EQ(response, Bytes{4});
        client.disconnect();
        EXPECT_EQ(module.OpenSessions(), 0U);
    }
}

TEST(CipherSuites, TheConfiguredOneDecides)
{
    Fakes::FakeConfig config;
    config.values["IPMI_CIPHER_SUITE"] = 17;
    const FakeRmcpModule module(Module(17));
    EXPECT_EQ(ClientOf(module, Module(3)).connect(), CONNECTION_CONNECTED);
}

TEST(CipherSuites, OneThatTheModuleDoesNotOfferIsRefused)
{
    const FakeRmcpModule module(Module(17));
    IpmiClient client = ClientOf(module, Module(3));
    EXPECT_EQ(client.connect(), CONNECTION_REFUSED);
    EXPECT_THAT(client.lastError(), HasSubstr("does not offer cipher suite 3"));
}

TEST(LogIn, TakesNamesAndPasswordsUpToTheLimits)
{
    for (const int suite : {3, 17}) {
        for (const std::size_t length : {0U, 1U, 16U, 19U, 20U}) {
            FakeRmcpModuleOptions options = Module(suite);
            options.password = std::string(length, 'p');
            options.userName = std::string(std::min<std::size_t>(length, 16), 'u');
            const FakeRmcpModule module(options);
            IpmiClient client = ClientOf(module, options);
            EXPECT_EQ(client.connect(), CONNECTION_CONNECTED)
                << length << ": " << client.lastError();
        }
    }
}

TEST(LogIn, AWrongPasswordIsRefusedAndLeavesNoSession)
{
    for (const int suite : {3, 17}) {
        FakeRmcpModuleOptions options = Module(suite);
        FakeRmcpModule module(options);
        options.password = "secreT";
        IpmiClient client = ClientOf(module, options);
        EXPECT_EQ(client.connect(), CONNECTION_REFUSED);
        EXPECT_THAT(client.lastError(), HasSubstr("password is wrong"));
        EXPECT_EQ(module.OpenSessions(), 0U);
    }
}

/// Counts the log-ins that a module is asked for.
class CountingRelay : public FaultInjectingRelay
{
public:
    explicit CountingRelay(std::uint16_t modulePort, Filter toClient = PassOn)
        : FaultInjectingRelay(
              modulePort,
              [this](const Datagram& d) {
                  logIns += Carries(d, kOpenSessionRequest) ? 1 : 0;
                  return std::vector<Datagram>{d};
              },
              std::move(toClient))
    {
    }

    std::atomic<int> logIns{0};
};

TEST(LogIn, ThatTheModuleRefusedIsNotSentAgainAtOnce)
{
    const FakeRmcpModuleOptions options = Module();
    const FakeRmcpModule module(options);
    CountingRelay relay(module.Port());
    const std::string port = std::to_string(relay.Port());
    for (const auto& [user, password] :
         {std::pair("admin", "secreT"), std::pair("nobody", "secret")}) {
        relay.logIns = 0;
        for (int i = 0; i < 3; ++i) {
            IpmiClient client("127.0.0.1", user, password, port, 3);
            EXPECT_EQ(client.connect(), CONNECTION_REFUSED);
            EXPECT_EQ(client.lastError().find("not sent again") != std::string::npos, i > 0);
        }
        EXPECT_EQ(relay.logIns, 1);
    }
    EXPECT_EQ(IpmiClient("127.0.0.1", "admin", "secret", port, 3).connect(), CONNECTION_CONNECTED);
}

TEST(LogIn, WithARefusalThatAnybodyCouldHaveForgedIsSentAgain)
{
    Fakes::FakeConfig config;
    config.values["IPMI_RETRANSMISSION_TIMEOUT_MS"] = 50;
    const FakeRmcpModule module(Module());
    CountingRelay relay(module.Port(), [](Datagram d) -> std::vector<Datagram> {
        if (Carries(d, kRakp2)) {
            d[kStatus] = 0x0D;
            std::fill_n(&d[kConsoleSessionId], 4, std::uint8_t{0});
        }
        return {d};
    });
    for (int i = 0; i < 2; ++i) {
        IpmiClient client("127.0.0.1", "admin", "secret", std::to_string(relay.Port()), 3);
        EXPECT_EQ(client.connect(), CONNECTION_REFUSED);
    }
    EXPECT_EQ(relay.logIns, 2);
}

TEST(LogIn, RefusedForItsPrivilegeIsSentAgain)
{
    FakeRmcpModuleOptions options = Module();
    options.answer = [](std::uint8_t, std::uint8_t, const Bytes&) { return Bytes{0x81}; };
    const FakeRmcpModule module(options);
    CountingRelay relay(module.Port());
    for (int i = 0; i < 2; ++i) {
        IpmiClient client("127.0.0.1", "admin", "secret", std::to_string(relay.Port()), 3);
        EXPECT_EQ(client.connect(), CONNECTION_REFUSED);
    }
    EXPECT_EQ(relay.logIns, 2);
}

TEST(LogIn, SucceedsWithASlowModuleWhetherOrNotItDrawsANewRandomNumberForEachRequest)
{
    for (const bool drawsAnew : {false, true}) {
        SCOPED_TRACE(drawsAnew);
        Fakes::FakeConfig config;
        config.values = {{"IPMI_SESSION_TIMEOUT_MS", 5000}, {"IPMI_RETRANSMISSION_TIMEOUT_MS", 50}};
        FakeRmcpModuleOptions options = Module();
        options.drawsAnew = drawsAnew;
        const FakeRmcpModule module(options);
        // The reply to the request is as late as the one to its copy.
        Datagram late;
        const FaultInjectingRelay relay(module.Port(), FaultInjectingRelay::PassOn,
                                        [&](const Datagram& d) -> std::vector<Datagram> {
                                            if (!Carries(d, kRakp2)) {
                                                return {d};
                                            }
                                            if (late.empty()) {
                                                late = d;
                                                return {};
                                            }
                                            return {late, d};
                                        });
        IpmiClient client("127.0.0.1", options.userName, options.password,
                          std::to_string(relay.Port()), 3);
        EXPECT_EQ(client.connect(), CONNECTION_CONNECTED) << client.lastError();
    }
}

struct PrivilegeCase
{
    Bytes answer;
    CONNECTIONSTATE state;
    std::string said;
};

TEST(Privilege, ThatIsNotGrantedEndsTheLogInAndTheSession)
{
    const std::vector<PrivilegeCase> cases{
        {{0x80}, CONNECTION_REFUSED, "privilege administrator"},
        {{0x81}, CONNECTION_REFUSED, "privilege administrator"},
        {{0xD4}, CONNECTION_REFUSED, "privilege administrator"},
        {{0x00}, CONNECTION_REFUSED, "privilege administrator"},
        {{0x00, 0x02}, CONNECTION_REFUSED, "privilege administrator"},
        {{0xC0}, CONNECTION_TRY_AGAIN, "busy"},
        {{0xD2}, CONNECTION_TRY_AGAIN, "busy"},
    };
    for (const PrivilegeCase& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.answer));
        FakeRmcpModuleOptions options = Module();
        options.answer = [&](std::uint8_t, std::uint8_t, const Bytes&) { return c.answer; };
        FakeRmcpModule module(options);
        IpmiClient client = ClientOf(module, options);
        EXPECT_EQ(client.connect(), c.state);
        EXPECT_THAT(client.lastError(), HasSubstr(c.said));
        EXPECT_EQ(module.OpenSessions(), 0U);
    }
}

TEST(Privilege, TheConfiguredLevelIsAskedFor)
{
    for (const int level : {2, 3, 4}) {
        Fakes::FakeConfig config;
        config.values["IPMI_PRIVILEGE_LEVEL"] = level;
        Bytes asked;
        FakeRmcpModuleOptions options = Module();
        options.answer = [&](std::uint8_t netFn, std::uint8_t command, const Bytes& data) {
            asked = data;
            return GrantPrivilege(netFn, command, data);
        };
        const FakeRmcpModule module(options);
        IpmiClient client = ClientOf(module, options);
        ASSERT_EQ(client.connect(), CONNECTION_CONNECTED) << client.lastError();
        EXPECT_EQ(asked, Bytes{static_cast<std::uint8_t>(level)});
    }
}

Bytes Counting(std::size_t length)
{
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i);
    }
    return bytes;
}

TEST(Answer, OfEveryLengthAndCompletionCodeIsBroughtWhole)
{
    for (const int suite : {3, 17}) {
        Bytes next;
        FakeRmcpModuleOptions options = Module(suite);
        options.answer = [&](std::uint8_t netFn, std::uint8_t command, const Bytes& data) {
            return netFn == 0x06 ? GrantPrivilege(netFn, command, data) : next;
        };
        const FakeRmcpModule module(options);
        IpmiClient client = ClientOf(module, options);
        ASSERT_EQ(client.connect(), CONNECTION_CONNECTED) << client.lastError();
        for (std::size_t length = 0; length <= 0xFF; ++length) {
            const auto code = static_cast<std::uint8_t>(length);
            next = Counting(length);
            next.insert(next.begin(), code);
            Bytes response{0xEE};
            std::uint8_t completionCode = 0xEE;
            ASSERT_EQ(client.send({0xA8, {}, 0x32}, response, completionCode), 0) << length;
            EXPECT_EQ(completionCode, code);
            EXPECT_EQ(response, Counting(length));
        }
    }
}

TEST(Request, OfEveryLengthArrivesWhole)
{
    Bytes arrived;
    FakeRmcpModuleOptions options = Module();
    options.answer = [&](std::uint8_t netFn, std::uint8_t command, const Bytes& data) {
        arrived = data;
        return GrantPrivilege(netFn, command, data);
    };
    const FakeRmcpModule module(options);
    IpmiClient client = ClientOf(module, options);
    ASSERT_EQ(client.connect(), CONNECTION_CONNECTED) << client.lastError();
    Bytes response;
    std::uint8_t completionCode = 0;
    for (std::size_t length = 0; length <= 200; ++length) {
        ASSERT_EQ(client.send({0xA8, Counting(length), 0x32}, response, completionCode), 0);
        EXPECT_EQ(arrived, Counting(length));
    }
    EXPECT_LT(client.send({0xA8, Counting(201), 0x32}, response, completionCode), 0);
}

}  // namespace
}  // namespace Tulvo
