// SPDX-License-Identifier: Apache-2.0
// What the client does with a name service that does not answer: getaddrinfo() is this file's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/ipmi_client/loopback.h"

namespace Tulvo {
namespace {

using ::testing::HasSubstr;

constexpr int kMostLookUps = 16;
constexpr int kHour = 600'000;  // the longest wait that the client takes: none of these may show

/// Answers nobody before Release().
class NameService
{
public:
    void Serve()
    {
        std::unique_lock lock(mutex_);
        ++asked_;
        ++waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return released_ > 0; });
        --released_;
        --waiting_;
        changed_.notify_all();
    }

    void Release(int count)
    {
        const std::lock_guard lock(mutex_);
        released_ += count;
        changed_.notify_all();
    }

    void ReleaseAll()
    {
        std::unique_lock lock(mutex_);
        released_ = waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return waiting_ == 0; });
        released_ = 0;
    }

    int Asked()
    {
        const std::lock_guard lock(mutex_);
        return asked_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int asked_ = 0;
    int waiting_ = 0;
    int released_ = 0;
};

NameService nameService;

class HostLookUp : public ::testing::Test
{
protected:
    ~HostLookUp() override { nameService.ReleaseAll(); }

    void WaitFor(int milliseconds)
    {
        config.values = {{"IPMI_SESSION_TIMEOUT_MS", milliseconds},
                         {"IPMI_RETRANSMISSION_TIMEOUT_MS", 1}};
    }

    static std::string ErrorOfConnect()
    {
        IpmiClient client("module.example", "admin", "secret", "9", 3);
        EXPECT_NE(client.connect(), CONNECTION_CONNECTED);
        return client.lastError();
    }

    void LeaveBehind(int count)
    {
        WaitFor(5);
        for (int i = 0; i < count; ++i) {
            ErrorOfConnect();
        }
    }

    Fakes::FakeLog log;
    Fakes::FakeConfig config;
};

TEST_F(HostLookUp, AtMostSixteenAreLeftBehind)
{
    const int before = nameService.Asked();
    LeaveBehind(40);
    EXPECT_LE(nameService.Asked() - before, kMostLookUps);
    const std::string error = ErrorOfConnect();
    EXPECT_THAT(error, HasSubstr("the address cannot be resolved (16 look-ups of this process"));
    EXPECT_THAT(error, HasSubstr("check its spelling and the name service"));
}

TEST_F(HostLookUp, AFurtherOneHasThePlaceOfOneThatEnds)
{
    LeaveBehind(kMostLookUps);
    WaitFor(kHour);
    std::string error;
    std::thread further([&] { error = ErrorOfConnect(); });
    nameService.Release(kMostLookUps + 1);
    further.join();
    EXPECT_THAT(error, HasSubstr("nothing listens"));
}

TEST_F(HostLookUp, AChildHasPlacesOfItsOwn)
{
    LeaveBehind(kMostLookUps);
    const pid_t child = fork();
    if (child == 0) {
        const std::string error = ErrorOfConnect();
        _exit(error.find("look-ups of this process") == std::string::npos ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace Tulvo

extern "C" int getaddrinfo(const char*, const char*, const addrinfo* hints, addrinfo** list)
{
    if ((hints->ai_flags & AI_NUMERICHOST) != 0) {
        return EAI_NONAME;
    }
    Tulvo::nameService.Serve();
    static sockaddr_in nobodyListens = Tulvo::Loopback(9);
    *list = new addrinfo{};
    (*list)->ai_family = AF_INET;
    (*list)->ai_addr = reinterpret_cast<sockaddr*>(&nobodyListens);
    (*list)->ai_addrlen = sizeof nobodyListens;
    return 0;
}

extern "C" void freeaddrinfo(addrinfo* list)
{
    delete list;
}
