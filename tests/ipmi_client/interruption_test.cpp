// SPDX-License-Identifier: Apache-2.0
// How a program ends at once and leaves no session open. Interruption is for good, so what is
// interrupted is a process of its own. Its waits are longer than the tests' time limit: one that is
// not cut short shows.
#include <signal.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "tests/ipmi_client/fault_injecting_relay.h"
#include "tests/ipmi_client/server_test.h"
#include "tests/support/run_in_child.h"

namespace Tulvo {
namespace {

class InterruptionTest : public ServerTest
{
protected:
    InterruptionTest()
    {
        config.values = {{"IPMI_SESSION_TIMEOUT_MS", 600'000},
                         {"IPMI_RETRANSMISSION_TIMEOUT_MS", 600'000}};
    }

    /// A module that does not answer until Resume().
    void Stop() const { kill(server.Pid(), SIGSTOP); }
    void Resume() const { kill(server.Pid(), SIGCONT); }
};

bool EndsInterrupted(IpmiClient& client)
{
    return Send(client).result < 0 && client.lastError().find("interrupted") != std::string::npos;
}

TEST_F(InterruptionTest, EndsASendInAnotherThreadAndClosesItsSession)
{
    EXPECT_TRUE(RunsWellInAChild([this] {
        const auto client = Client();
        bool good = client->connect() == CONNECTION_CONNECTED;
        Stop();
        std::thread waiting([&] { good = good && EndsInterrupted(*client); });
        IpmiClient::interruptAll();
        waiting.join();
        return good && IpmiClient::waitUntilAllClosed(0);
    }));
    Resume();
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(InterruptionTest, CanBeCausedByASignalHandler)
{
    EXPECT_TRUE(RunsWellInAChild([this] {
        struct sigaction action
        {
        };
        action.sa_handler = [](int) { IpmiClient::interruptAll(); };
        sigaction(SIGINT, &action, nullptr);
        const auto client = Client();
        bool good = client->connect() == CONNECTION_CONNECTED;
        Stop();
        std::thread user([] { kill(getpid(), SIGINT); });
        good = good && EndsInterrupted(*client);
        user.join();
        return good && IpmiClient::waitUntilAllClosed(0);
    }));
    Resume();
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(InterruptionTest, EndsALogInThatTheModuleDoesNotAnswer)
{
    EXPECT_TRUE(RunsWellInAChild([this] {
        Stop();
        const auto client = Client();
        CONNECTIONSTATE state = CONNECTION_CONNECTED;
        std::thread waiting([&] { state = client->connect(); });
        IpmiClient::interruptAll();
        waiting.join();
        return state == CONNECTION_FAILED && IpmiClient::waitUntilAllClosed(0);
    }));
    Resume();
}

TEST_F(InterruptionTest, EndsALogInAtEveryStepWithoutALeftOver)
{
    for (const PayloadType step : {kOpenSessionResponse, kRakp2, kRakp4, kSealedIpmi}) {
        EXPECT_TRUE(RunsWellInAChild([&] {
            // The stop request comes while the client waits for this packet, which has been sent.
            const FaultInjectingRelay relay(server.Port(), FaultInjectingRelay::PassOn,
                                            [=](const Datagram& d) -> std::vector<Datagram> {
                                                if (Carries(d, step)) {
                                                    IpmiClient::interruptAll();
                                                }
                                                return {d};
                                            });
            const auto client = ClientAt(relay.Port());
            return client->connect() == CONNECTION_FAILED && IpmiClient::waitUntilAllClosed(0);
        })) << int{step};
    }
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(InterruptionTest, MakesEveryLaterLogInFail)
{
    EXPECT_TRUE(RunsWellInAChild([this] {
        IpmiClient::interruptAll();
        const auto client = Client();
        return client->connect() == CONNECTION_FAILED && client->connect() == CONNECTION_FAILED &&
               client->lastError().find("interrupted") != std::string::npos;
    }));
}

TEST_F(InterruptionTest, ASessionThatNobodyUsesIsClosedByItsOwner)
{
    EXPECT_TRUE(RunsWellInAChild([this] {
        const auto client = Client();
        bool good = client->connect() == CONNECTION_CONNECTED;
        IpmiClient::interruptAll();
        good = good && !IpmiClient::waitUntilAllClosed(0);
        client->disconnect();
        return good && IpmiClient::waitUntilAllClosed(0);
    }));
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

TEST_F(InterruptionTest, OfAChildDoesNotReachItsParent)
{
    const auto client = Client();
    ASSERT_EQ(client->connect(), CONNECTION_CONNECTED);
    EXPECT_TRUE(RunsWellInAChild([] {
        IpmiClient::interruptAll();
        return true;
    }));
    EXPECT_TRUE(Serves(*client));
}

TEST_F(InterruptionTest, ManyThreadsEndAtOnce)
{
    EXPECT_TRUE(RunsWellInAChild([this] {
        constexpr std::size_t kThreads = 16;
        std::vector<std::unique_ptr<IpmiClient>> clients;
        for (std::size_t i = 0; i < kThreads; ++i) {
            clients.push_back(Client());
            if (clients.back()->connect() != CONNECTION_CONNECTED) {
                return false;
            }
        }
        Stop();
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (const auto& client : clients) {
            threads.emplace_back([&client] { Send(*client); });
        }
        IpmiClient::interruptAll();
        const bool closed = IpmiClient::waitUntilAllClosed(60'000);
        for (std::thread& thread : threads) {
            thread.join();
        }
        return closed;
    }));
    Resume();
    EXPECT_EQ(FreeSessions(), kServerSessions);
}

}  // namespace
}  // namespace Tulvo
