// SPDX-License-Identifier: Apache-2.0
// How a program ends at once and leaves no session open. Interruption is permanent, so each case
// runs in a child process, which the module interrupts at a moment that the test chooses.
#include <atomic>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/run_in_child.h"
#include "tests/vkt_https/session_fixture.h"

namespace Tulvo::Tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Longer than the test's time limit: a wait that is not cut short shows.
constexpr std::uint16_t kEndlessSeconds = 3600;
constexpr std::uint32_t kEndlessMilliseconds = 3'600'000;

class HttpsInterruption : public HttpsTest
{
protected:
    HttpsInterruption()
    {
        Serve([this](Peer& peer) {
            for (bool open = peer.Handshake(); open;) {
                const auto arrived = peer.Read();
                open = arrived && Answer(peer, MethodAndPath(*arrived));
            }
        });
    }
    ~HttpsInterruption() override
    {
        client.reset();
        server.reset();
    }

    static std::string MethodAndPath(const Request& arrived)
    {
        return arrived.line.substr(0, arrived.line.rfind(' '));
    }

    bool Answer(Peer& peer, const std::string& arrived)
    {
        if (arrived == interruptedAt) {
            child.wait(0);
            kill(child, SIGINT);
        }
        if (arrived == kLogin) {
            return peer.Send(Reply("201 Created", "{}",
                                   "X-Auth-Token: token-1\r\n"
                                   "Location: /redfish/v1/SessionService/Sessions/1\r\n"));
        }
        if (arrived == kDelete1) {
            return peer.Send(Reply("204 No Content", ""));
        }
        if (isSilent) {
            peer.WaitForClient();
            return false;
        }
        return peer.Send(GoodReply());
    }

    void ConnectWith(std::int32_t authentication)
    {
        auto record = Record();
        record.authentication = authentication;
        record.requestTimeoutSeconds = kEndlessSeconds;
        Connect(record);
    }

    bool IsInterrupted()
    {
        return Ask() == VKT_HTTPS_INTERNAL_ERROR &&
               client->LastError().find("interrupted") != std::string::npos;
    }

    /// Runs a program in a child process: whether it did what it should.
    bool RunsWell(const std::function<bool()>& program)
    {
        const auto interruptible = [&program] {
            std::signal(SIGINT, [](int) { VKTHttps::InterruptAll(); });
            return program();
        };
        return RunsWellInAChild(interruptible, [this](pid_t pid) {
            child = pid;
            child.notify_all();
        });
    }

    std::vector<std::string> Arrived() const
    {
        std::vector<std::string> lines;
        for (const Request& arrived : server->Requests()) {
            lines.push_back(MethodAndPath(arrived));
        }
        return lines;
    }

    std::string interruptedAt;
    bool isSilent = false;
    std::atomic<pid_t> child = 0;
};

TEST_F(HttpsInterruption, EndsARequestThatIsNotAnsweredAndDeletesItsSession)
{
    interruptedAt = kAction;
    isSilent = true;
    EXPECT_TRUE(RunsWell([this] {
        ConnectWith(1);
        return IsInterrupted() && VKTHttps::WaitUntilAllClosed(0);
    }));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction, kDelete1));
}

TEST_F(HttpsInterruption, EndsARequestInAnotherThread)
{
    interruptedAt = kAction;
    isSilent = true;
    EXPECT_TRUE(RunsWell([this] {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        bool areClosed = false;
        std::thread watcher([&] {
            int signal = 0;
            sigwait(&signals, &signal);
            VKTHttps::InterruptAll();
            areClosed = VKTHttps::WaitUntilAllClosed(kEndlessMilliseconds);
        });
        ConnectWith(1);
        const bool good = IsInterrupted();
        watcher.join();
        return good && areClosed;
    }));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction, kDelete1));
}

TEST_F(HttpsInterruption, EndsARequestWithoutASession)
{
    interruptedAt = kAction;
    isSilent = true;
    EXPECT_TRUE(RunsWell([this] {
        ConnectWith(0);
        return IsInterrupted() && VKTHttps::WaitUntilAllClosed(0);
    }));
    EXPECT_THAT(Arrived(), ElementsAre(kAction));
}

TEST_F(HttpsInterruption, WaitsForTheTokenOfALogInAndDeletesTheSession)
{
    interruptedAt = kLogin;
    EXPECT_TRUE(RunsWell([this] {
        ConnectWith(1);
        return IsInterrupted() && VKTHttps::WaitUntilAllClosed(0);
    }));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kDelete1));
}

TEST_F(HttpsInterruption, LetsTheDeletionOfASessionEnd)
{
    interruptedAt = kDelete1;
    EXPECT_TRUE(RunsWell([this] {
        ConnectWith(1);
        const bool good = Ask() == VKT_HTTPS_SUCCESS;
        client.reset();
        return good && log.Lines().empty() && VKTHttps::WaitUntilAllClosed(0);
    }));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction, kDelete1));
}

TEST_F(HttpsInterruption, MakesEveryLaterRequestFail)
{
    for (const std::int32_t authentication : {0, 1}) {
        EXPECT_TRUE(RunsWell([&] {
            VKTHttps::InterruptAll();
            ConnectWith(authentication);
            return IsInterrupted() && IsInterrupted();
        }));
    }
    EXPECT_THAT(Arrived(), IsEmpty());
}

TEST_F(HttpsInterruption, LeavesASessionThatNobodyUsesToItsOwner)
{
    EXPECT_TRUE(RunsWell([this] {
        ConnectWith(1);
        bool good = Ask() == VKT_HTTPS_SUCCESS;
        VKTHttps::InterruptAll();
        good = good && !VKTHttps::WaitUntilAllClosed(0);
        client.reset();
        return good && VKTHttps::WaitUntilAllClosed(0);
    }));
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction, kDelete1));
}

TEST_F(HttpsInterruption, OfAChildDoesNotReachItsParent)
{
    EXPECT_TRUE(RunsWell([] {
        VKTHttps::InterruptAll();
        return true;
    }));
    ExpectAnswer();
}

}  // namespace
}  // namespace Tulvo::Tests
