// SPDX-License-Identifier: Apache-2.0
#include "module/ipmi/ipmi_client/ipmi_client.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <iostream>
#include <thread>

#include "tests/fakes/fake_log.h"
#include "tests/ipmi_client/server_test.h"
#include "tests/support/run_in_child.h"

namespace Tulvo {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

using IpmiClientTest = ServerTest;

TEST_F(IpmiClientTest, LogsInAndBringsTheAnswer)
{
    const auto client = Client();
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    EXPECT_THAT(client->lastError(), IsEmpty());
    const Reply reply = Send(*client);
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.completionCode, 0);
    ASSERT_EQ(reply.data.size(), 15U);
    EXPECT_EQ(reply.data[4], 0x02) << "IPMI 2.0";
}

TEST_F(IpmiClientTest, ConnectsByName)
{
    IpmiClient client("localhost", kUser, kPassword, std::to_string(server.Port()), 3);
    ASSERT_EQ(client.connect(), CONNECTION_CONNECTED) << client.lastError();
    EXPECT_TRUE(Serves(client));
}

TEST_F(IpmiClientTest, LogsInWithTheLongestNameAndPasswordOfTheServer)
{
    const auto client = Client("longest-name-15", "a-password-19-bytes");
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    EXPECT_TRUE(Serves(*client));
}

TEST_F(IpmiClientTest, BringsAnAnswerThatIsACompletionCodeOnly)
{
    const auto client = Client();
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED);
    const Reply reply = Send(*client, {0xA8, {}, 0x32});
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.completionCode, 0xC1) << "invalid command";
    EXPECT_THAT(reply.data, IsEmpty());
    EXPECT_TRUE(Serves(*client));
}

TEST_F(IpmiClientTest, SendsManyRequestsInOneSession)
{
    const auto client = Client();
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED);
    // More than the 64 numbers that requests are told apart by.
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(Serves(*client)) << i << ": " << client->lastError();
    }
}

TEST_F(IpmiClientTest, ConnectsAgainAfterDisconnect)
{
    const auto client = Client();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(client->connect(), CONNECTION_CONNECTED);
        EXPECT_TRUE(Serves(*client));
        client->disconnect();
        EXPECT_EQ(Send(*client).result, -1);
    }
}

TEST_F(IpmiClientTest, ConnectWithAnOpenSessionClosesThatFirst)
{
    const auto client = Client();
    for (std::size_t i = 0; i < 2 * kServerSessions; ++i) {
        ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    }
    EXPECT_TRUE(Serves(*client));
    EXPECT_EQ(FreeSessions(), kServerSessions - 1);
}

TEST_F(IpmiClientTest, RefusesWhatIsNoRequestAndKeepsTheSession)
{
    const auto client = Client();
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED);
    for (const IPMICOMMAND& request :
         {IPMICOMMAND{0x01, {}, 0x07}, IPMICOMMAND{0x01, {}, 0x40},
          IPMICOMMAND{0x01, std::vector<std::uint8_t>(5000, 0), 0x06}}) {
        const Reply reply = Send(*client, request);
        EXPECT_LT(reply.result, 0);
        EXPECT_THAT(reply.data, IsEmpty());
        EXPECT_EQ(reply.completionCode, 0xFF);
    }
    EXPECT_TRUE(Serves(*client));
    EXPECT_THAT(client->lastError(), IsEmpty());
}

TEST_F(IpmiClientTest, BlockLengthLimitsTheDataOfARequest)
{
    const auto client = Client();
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED);
    client->setBlockLength(2);
    EXPECT_EQ(Send(*client, {0xA8, {1, 2}, 0x32}).result, 0);
    EXPECT_LT(Send(*client, {0xA8, {1, 2, 3}, 0x32}).result, 0);
    EXPECT_THAT(client->lastError(), HasSubstr("3 bytes"));
    client->setBlockLength(0);
    EXPECT_EQ(Send(*client, {0xA8, {1, 2, 3}, 0x32}).result, 0);
}

struct Refusal
{
    std::string user;
    std::string password;
    std::uint64_t suite;
    std::string said;
};

class RefusedLogIn : public ServerTest, public ::testing::WithParamInterface<Refusal>
{
};

TEST_P(RefusedLogIn, IsReportedAndLeavesNoSession)
{
    Fakes::FakeLog log;
    const auto client = Client(GetParam().user, GetParam().password, GetParam().suite);
    if (GetParam().suite == 17) {
        // This refusal names no session: each is waited out until a copy would be sent.
        config.values["IPMI_RETRANSMISSION_TIMEOUT_MS"] = 10;
    }
    for (std::size_t i = 0; i < 2 * kServerSessions; ++i) {
        Rmcp::ForgetRefusals();
        ASSERT_EQ(client->connect(), CONNECTION_REFUSED) << client->lastError();
    }
    EXPECT_THAT(client->lastError(), HasSubstr(GetParam().said));
    EXPECT_THAT(client->lastError(), HasSubstr("127.0.0.1:" + std::to_string(server.Port())));
    EXPECT_EQ(log.Lines().size(), 2 * kServerSessions) << "one record for each";
    EXPECT_EQ(log.Lines()[0], (Fakes::LogLine{1, client->lastError()}));
    EXPECT_EQ(Send(*client).result, -1);
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

INSTANTIATE_TEST_SUITE_P(
    IpmiClientTest, RefusedLogIn,
    ::testing::Values(Refusal{"nobody", "Tr0ub4dor&3", 3, "does not admit this user name"},
                      Refusal{"admin", "Tr0ub4dor&4", 3, "password is wrong"},
                      Refusal{"admin", "", 3, "password is wrong"},
                      Refusal{"admin", "Tr0ub4dor&3", 17, "does not offer cipher suite 17"}));

TEST_F(IpmiClientTest, SessionsUsedUpIsWorthAnotherTry)
{
    std::vector<std::unique_ptr<IpmiClient>> clients;
    for (std::size_t i = 0; i < kServerSessions; ++i) {
        clients.push_back(Client());
        ASSERT_EQ(clients.back()->connect(), CONNECTION_CONNECTED) << clients.back()->lastError();
    }
    const auto late = Client();
    EXPECT_EQ(late->connect(), CONNECTION_TRY_AGAIN);
    EXPECT_THAT(late->lastError(), HasSubstr("no session free"));
    clients[0]->disconnect();
    EXPECT_EQ(late->connect(), CONNECTION_CONNECTED) << late->lastError();
    clients.clear();
    EXPECT_EQ(FreeSessions(), kServerSessions - 1);
}

TEST_F(IpmiClientTest, AThousandGoodAndAThousandBadLogInsLeaveTheServerAbleToServe)
{
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(Client()->connect(), CONNECTION_CONNECTED) << i;
        ASSERT_EQ(Client(kUser, "wrong")->connect(), CONNECTION_REFUSED) << i;
    }
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(IpmiClientTest, NobodyListensIsWorthAnotherTry)
{
    server.Kill();
    const auto client = Client();
    EXPECT_EQ(client->connect(), CONNECTION_TRY_AGAIN);
    EXPECT_THAT(client->lastError(), HasSubstr("nothing listens"));
}

TEST_F(IpmiClientTest, AServerThatDiesFailsTheRequest)
{
    const auto client = Client();
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED);
    server.Kill();
    const Reply reply = Send(*client);
    EXPECT_LT(reply.result, 0);
    EXPECT_THAT(reply.data, IsEmpty());
    EXPECT_EQ(reply.completionCode, 0xFF);
    EXPECT_THAT(client->lastError(), HasSubstr("nothing listens"));
    client->disconnect();
}

// More threads than the server has sessions: who finds none tries again, as the client says.
TEST_F(IpmiClientTest, SixtyFourThreadsEachHaveAClientOfTheirOwn)
{
    constexpr int kThreads = 64;
    constexpr int kRounds = 5;
    std::atomic<int> served{0};
    const auto serveOnce = [&] {
        const auto client = Client();
        CONNECTIONSTATE state = CONNECTION_TRY_AGAIN;
        for (int i = 0; i < 1000 && state == CONNECTION_TRY_AGAIN; ++i) {
            state = client->connect();
        }
        served += state == CONNECTION_CONNECTED && Serves(*client) ? 1 : 0;
    };
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                serveOnce();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(served, kThreads * kRounds);
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

// select() cannot wait for such descriptors and would write past its sets.
TEST_F(IpmiClientTest, WorksInAProcessWithMoreThanAThousandDescriptors)
{
    constexpr rlim_t kNeeded = 1200;
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(kNeeded, limit.rlim_max));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_cur < kNeeded) {
        GTEST_SKIP() << "this host allows " << limit.rlim_cur << " descriptors only";
    }
    std::vector<int> descriptors;
    while (descriptors.empty() || descriptors.back() < 1100) {
        descriptors.push_back(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
        ASSERT_GE(descriptors.back(), 0);
    }
    const auto client = Client();
    EXPECT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    EXPECT_TRUE(Serves(*client));
    std::for_each(descriptors.begin(), descriptors.end(), close);
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST_F(IpmiClientTest, WithoutASpareDescriptorConnectFails)
{
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    const auto client = Client();
    const CONNECTIONSTATE state = client->connect();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(state, CONNECTION_FAILED);
    EXPECT_THAT(client->lastError(), HasSubstr("Too many open files"));
    EXPECT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
}

TEST_F(IpmiClientTest, AChildLeavesItsParentTheSessionAndOpensItsOwn)
{
    auto client = Client();
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED) << client->lastError();
    EXPECT_TRUE(RunsWellInAChild([&client] {
        const bool sendsNothing = Send(*client).result < 0 &&
                                  client->lastError().find("another process") != std::string::npos;
        const bool opensItsOwn = client->connect() == CONNECTION_CONNECTED && Serves(*client);
        client.reset();
        return sendsNothing && opensItsOwn;
    }));
    EXPECT_TRUE(RunsWellInAChild([&client] {
        client.reset();
        return true;
    }));
    EXPECT_TRUE(Serves(*client)) << client->lastError();
}

bool HostHasIpv6Loopback()
{
    const int probe = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    const bool bound =
        bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return bound;
}

TEST(IpmiClientIpv6Test, ConnectsWithAndWithoutBrackets)
{
    if (!HostHasIpv6Loopback()) {
        GTEST_SKIP() << "this host has no IPv6 loopback address";
    }
    Simulator::IpmiSimOptions options;
    options.users = {{"admin", "secret"}};
    options.address = "::1";
    const Simulator::IpmiSimServer server(options);
    for (const char* address : {"::1", "[::1]"}) {
        IpmiClient client(address, "admin", "secret", std::to_string(server.Port()), 3);
        ASSERT_EQ(client.connect(), CONNECTION_CONNECTED) << client.lastError();
        EXPECT_TRUE(Serves(client));
    }
}

}  // namespace
}  // namespace Tulvo
