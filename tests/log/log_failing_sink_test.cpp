// SPDX-License-Identifier: Apache-2.0
// A host outlives whatever happens to the place that its log goes to. Each case is a process of
// its own, which must reach its regular end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/log/log.h"
#include "tests/support/temporary_directory.h"

namespace Tulvo {
namespace {

using testing::AllOf;
using testing::ExitedWithCode;
using testing::HasSubstr;

class LogFailingSinkTest : public testing::Test
{
protected:
    LogFailingSinkTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

constexpr int kReachedItsEnd = 42;

[[noreturn]] void LogMuchAndExit()
{
    for (int i = 0; i < 200; ++i) {
        Log(1, "f", i).Stream() << std::string(100, 'x');
    }
    Log(1, "f", 200).Stream() << "the last record";
    std::_Exit(kReachedItsEnd);
}

/// The text that tells a reader of the standard error output where the file's records went.
auto TurnsToStderr(const std::string& reason)
{
    return AllOf(HasSubstr("log records go to the standard error output from now on"),
                 HasSubstr(reason), HasSubstr("the last record"));
}

TEST_F(LogFailingSinkTest, ClosedStderr)
{
    EXPECT_EXIT(
        {
            close(STDERR_FILENO);
            LogMuchAndExit();
        },
        ExitedWithCode(kReachedItsEnd), "");
}

TEST_F(LogFailingSinkTest, StderrIntoAPipeThatNobodyReads)
{
    EXPECT_EXIT(
        {
            int ends[2];
            if (pipe(ends) == 0 && dup2(ends[1], STDERR_FILENO) >= 0) {
                close(ends[0]);
                signal(SIGPIPE, SIG_DFL);
                LogMuchAndExit();
            }
        },
        ExitedWithCode(kReachedItsEnd), "");
}

TEST_F(LogFailingSinkTest, HostsOwnPendingSignalIsLeftToIt)
{
    EXPECT_EXIT(
        {
            sigset_t pipeSignal;
            sigemptyset(&pipeSignal);
            sigaddset(&pipeSignal, SIGPIPE);
            pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
            raise(SIGPIPE);
            Log(1, "f", 1).Stream() << "text";
            sigset_t pending;
            sigpending(&pending);
            std::_Exit(sigismember(&pending, SIGPIPE) == 1 ? kReachedItsEnd : 1);
        },
        ExitedWithCode(kReachedItsEnd), "text");
}

TEST_F(LogFailingSinkTest, FullDisk)
{
    EXPECT_EXIT(
        {
            LogToFile("/dev/full", 1'000'000, 0);
            LogMuchAndExit();
        },
        ExitedWithCode(kReachedItsEnd), TurnsToStderr("No space left on device"));
}

TEST_F(LogFailingSinkTest, LimitOfAFilesSize)
{
    const TemporaryDirectory directory;
    EXPECT_EXIT(
        {
            rlimit limit = {};
            limit.rlim_cur = limit.rlim_max = 1000;
            setrlimit(RLIMIT_FSIZE, &limit);
            LogToFile(directory / "log.txt", 1'000'000, 0);
            LogMuchAndExit();
        },
        ExitedWithCode(kReachedItsEnd),
        HasSubstr("File too large"));  // The error output is a file here too.
}

TEST_F(LogFailingSinkTest, FileThatCannotBeOpenedAgainAfterRotation)
{
    const TemporaryDirectory directory;
    EXPECT_EXIT(
        {
            const auto folder = directory / "folder";
            LogToFile(folder / "log.txt", 1000, 3);
            std::filesystem::remove_all(folder);
            const std::ofstream file(folder);
            LogMuchAndExit();
        },
        ExitedWithCode(kReachedItsEnd), TurnsToStderr("Not a directory"));
}

}  // namespace
}  // namespace Tulvo
