// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/refused_logins.h"

#include <gtest/gtest.h>

#include "module/ipmi/ipmi_client/local_host.h"
#include "tests/support/run_in_child.h"

namespace Tulvo::Rmcp {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

Credentials User(const std::string& password = "wrong")
{
    return {"module.example", "admin", Password(password), "623", 3};
}

LoginSettings Settings()
{
    LoginSettings settings;
    settings.port = 623;
    settings.privilege = 4;
    settings.cipherSuite = 3;
    return settings;
}

Failure WrongPassword()
{
    return {CONNECTION_REFUSED, "the password is wrong", "check it", "", true};
}

class RefusedLogIns : public ::testing::Test
{
protected:
    RefusedLogIns()
    {
        EXPECT_FALSE(StartCryptography());
        ForgetRefusals();
        KeepRefusal(User(), Settings(), WrongPassword(), start);
    }

    const Clock::time_point start = Clock::now();
};

TEST_F(RefusedLogIns, AreAnsweredAsTheModuleDid)
{
    const auto failure = EarlierRefusal(User(), Settings(), start);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->code, CONNECTION_REFUSED);
    EXPECT_EQ(Describe(*failure),
              "the password is wrong (as the module said less than 20 s ago; not sent again); "
              "check it");
}

TEST_F(RefusedLogIns, AreForgottenAfterTwentySeconds)
{
    EXPECT_TRUE(EarlierRefusal(User(), Settings(), start + milliseconds(19'999)));
    EXPECT_FALSE(EarlierRefusal(User(), Settings(), start + seconds(20)));
}

TEST_F(RefusedLogIns, AreNoOthers)
{
    EXPECT_FALSE(EarlierRefusal(User("right"), Settings(), start));
    EXPECT_FALSE(EarlierRefusal(User(""), Settings(), start));
    EXPECT_FALSE(EarlierRefusal(Credentials{"other.example", "admin", Password("wrong"), "623", 3},
                                Settings(), start));
    EXPECT_FALSE(EarlierRefusal(Credentials{"module.example", "oper", Password("wrong"), "623", 3},
                                Settings(), start));
    LoginSettings settings = Settings();
    settings.port = 624;
    EXPECT_FALSE(EarlierRefusal(User(), settings, start));
    settings = Settings();
    settings.privilege = 3;
    EXPECT_FALSE(EarlierRefusal(User(), settings, start));
    settings = Settings();
    settings.cipherSuite = 17;
    EXPECT_FALSE(EarlierRefusal(User(), settings, start));
}

TEST_F(RefusedLogIns, AreKeptForUserOrPasswordOnly)
{
    Failure failure = WrongPassword();
    failure.accountRefused = false;
    KeepRefusal(User("another"), Settings(), failure, start);
    EXPECT_FALSE(EarlierRefusal(User("another"), Settings(), start));
}

TEST_F(RefusedLogIns, AreTheLatestSixtyFour)
{
    for (int i = 0; i < 63; ++i) {
        KeepRefusal(User(std::to_string(i)), Settings(), WrongPassword(), start);
    }
    EXPECT_TRUE(EarlierRefusal(User(), Settings(), start));
    KeepRefusal(User("63"), Settings(), WrongPassword(), start);
    EXPECT_FALSE(EarlierRefusal(User(), Settings(), start));
    EXPECT_TRUE(EarlierRefusal(User("0"), Settings(), start));
}

TEST_F(RefusedLogIns, AreNotHandedToAChild)
{
    EXPECT_TRUE(RunsWellInAChild([this] { return !EarlierRefusal(User(), Settings(), start); }));
}

}  // namespace
}  // namespace Tulvo::Rmcp
