// SPDX-License-Identifier: Apache-2.0
// What the client does with a name service that does not answer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/support/hanging_name_service.h"
#include "tests/support/run_in_child.h"

namespace Tulvo {
namespace {

using ::testing::HasSubstr;

constexpr int kMostLookUps = 16;
constexpr int kHour = 600'000;  // the longest wait that the client takes: none of these may show

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
    while (nameService.Asked() - before < kMostLookUps) {
        LeaveBehind(1);  // on a busy host its time may be over before it has begun
    }
    LeaveBehind(24);
    EXPECT_EQ(nameService.Asked() - before, kMostLookUps);
    WaitFor(500);
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
    EXPECT_TRUE(RunsWellInAChild(
        [] { return ErrorOfConnect().find("look-ups of this process") == std::string::npos; }));
}

}  // namespace
}  // namespace Tulvo
