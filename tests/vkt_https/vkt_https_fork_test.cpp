// SPDX-License-Identifier: Apache-2.0
// What a child made by fork() does to the connection and the session of its parent: nothing.
#include "tests/support/run_in_child.h"
#include "tests/vkt_https/session_fixture.h"

namespace Tulvo::Tests {
namespace {

using ::testing::ElementsAre;
using Fork = Session;

TEST_F(Fork, ChildThatEndsItsCopyLeavesConnectionAndSession)
{
    ExpectAnswer();
    EXPECT_TRUE(RunsWellInAChild([this] {
        client.reset();
        return log.Lines().empty() && VKTHttps::WaitUntilAllClosed(0);
    }));
    ExpectAnswer();
    client.reset();
    EXPECT_THAT(Arrived(), ElementsAre(kLogin, kAction, kAction, kDelete1));
    EXPECT_EQ(server->Connections(), 1);
}

TEST_F(Fork, ChildThatAsksOpensAConnectionAndASessionOfItsOwn)
{
    ExpectAnswer();
    validLogin = 2;
    EXPECT_TRUE(RunsWellInAChild([this] {
        ExpectAnswer();
        client.reset();
        return !HasFailure() && VKTHttps::WaitUntilAllClosed(0);
    }));
    validLogin = 1;
    ExpectAnswer();
    client.reset();
    EXPECT_THAT(Arrived(),
                ElementsAre(kLogin, kAction, kLogin, kAction, kDelete2, kAction, kDelete1));
    EXPECT_EQ(server->Handshakes(), 2);
}

}  // namespace
}  // namespace Tulvo::Tests
