// SPDX-License-Identifier: Apache-2.0
// What a child made by fork() does to the connection and the session of its parent: nothing.
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "tests/vkt_https/session_fixture.h"

namespace Tulvo::Tests {
namespace {

using ::testing::ElementsAre;

class Fork : public Session
{
protected:
    /// Whether `program` says so, run in a child.
    static bool RunsWell(const std::function<bool()>& program)
    {
        const pid_t child = fork();
        if (child == 0) {
            _exit(program() ? 0 : 1);
        }
        int status = 0;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
};

TEST_F(Fork, ChildThatEndsItsCopyLeavesConnectionAndSession)
{
    ExpectAnswer();
    EXPECT_TRUE(RunsWell([this] {
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
    EXPECT_TRUE(RunsWell([this] {
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
