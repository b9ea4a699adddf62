// SPDX-License-Identifier: Apache-2.0
#include "fleet/passwords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "fleet/password_command.h"
#include "tests/fleet/temporary_folder.h"

namespace {

using namespace Tulvo::Fleet;
using testing::HasSubstr;
using testing::Not;

std::string Outcome(const std::variant<std::string, Mistake>& got)
{
    const auto* const mistake = std::get_if<Mistake>(&got);
    return mistake == nullptr ? "password " + std::get<std::string>(got) : mistake->message;
}

struct FileRow
{
    std::string content;
    mode_t mode;
    std::string outcome;  ///< Or a part of it.
};

TEST(PasswordFiles, GiveTheirFirstLine)
{
    const TemporaryFolder folder;
    for (const FileRow& row : {
             FileRow{"secret\n", 0600, "password secret"},
             FileRow{"secret", 0600, "password secret"},
             FileRow{"secret\r\nmore\n", 0600, "password secret"},
             FileRow{"two words \n", 0400, "password two words "},
             FileRow{"\n", 0600, "password "},
             FileRow{"", 0600, "is empty"},
             FileRow{"\xEF\xBB\xBFsecret\n", 0600, "byte order mark of UTF-8"},
             FileRow{std::string("s\0e\0", 4), 0600, "NUL byte"},
             FileRow{"secret\n", 0604, "may be read by everybody"},
             FileRow{"secret\n", 0640, "may be read by its group"},
             FileRow{std::string(70000, 'x'), 0600, "more than 65536 bytes"},
         }) {
        const std::string path = folder.Write("password", row.content, row.mode);
        const std::string outcome = Outcome(ReadPassword({path, "fleet.toml:3: password-file"}));
        EXPECT_THAT(outcome, HasSubstr(row.outcome));
        if (!outcome.starts_with("password ")) {
            EXPECT_THAT(outcome, testing::StartsWith("fleet.toml:3: password-file: the password "
                                                     "file " +
                                                     path + " "));
            EXPECT_THAT(outcome, Not(HasSubstr("secret")));
        }
    }
    EXPECT_THAT(Outcome(ReadPassword({folder.Path("none")})), HasSubstr("No such file"));
    EXPECT_THAT(Outcome(ReadPassword({folder.Path("")})), HasSubstr("Is a directory"));
}

TEST(Passwords, OfAFileAreReadAnewWhenItHasChanged)
{
    const TemporaryFolder folder;
    Passwords passwords;
    const PasswordFile file{folder.Write("password", "first\n")};
    EXPECT_EQ(Outcome(passwords.Get(file)), "password first");
    folder.Write("password", "second, longer\n");
    EXPECT_EQ(Outcome(passwords.Get(file)), "password second, longer");
    std::filesystem::remove(file.path);
    EXPECT_THAT(Outcome(passwords.Get(file)), HasSubstr("No such file"));
    folder.Write("password", "third\n");
    EXPECT_EQ(Outcome(passwords.Get(file)), "password third");
}

TEST(Passwords, OfACommandAreAskedForOnce)
{
    const TemporaryFolder folder;
    Passwords passwords;
    const PasswordCommand command{"echo run >>" + folder.Path("runs") + "; wc -l <" +
                                  folder.Path("runs")};
    std::vector<std::thread> threads(8);
    for (std::thread& thread : threads) {
        thread = std::thread([&] { EXPECT_EQ(Outcome(passwords.Get(command)), "password 1"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(passwords.Renew(command), std::nullopt);
    EXPECT_EQ(Outcome(passwords.Get(command)), "password 2");
}

TEST(Passwords, OfTheEnvironmentAreThatOfIpmiTools)
{
    Passwords passwords;
    {
        const Variable set("IPMI_PASSWORD", "secret");
        EXPECT_EQ(Outcome(passwords.Get(PasswordEnvironment{})), "password secret");
    }
    const Variable unset("IPMI_PASSWORD", nullptr);
    EXPECT_THAT(Outcome(passwords.Get(PasswordEnvironment{})), HasSubstr("is not set"));
    const Variable empty("IPMI_PASSWORD", "");
    EXPECT_THAT(Outcome(passwords.Get(PasswordEnvironment{})), HasSubstr("is empty"));
}

struct CommandRow
{
    std::string command;
    std::string outcome;  ///< Or a part of it.
};

class PasswordCommands : public testing::TestWithParam<CommandRow>
{
};

TEST_P(PasswordCommands, PrintExactlyOneLine)
{
    const std::string outcome =
        Outcome(RunPasswordCommand(GetParam().command, "fleet.toml:4: password-command", {}));
    EXPECT_THAT(outcome, HasSubstr(GetParam().outcome));
    if (!outcome.starts_with("password ")) {
        EXPECT_THAT(outcome, testing::StartsWith("fleet.toml:4: password-command: the command "));
        EXPECT_THAT(outcome, Not(HasSubstr("secret")));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, PasswordCommands,
    testing::Values(CommandRow{"echo secret", "password secret"},
                    CommandRow{"printf secret", "password secret"},
                    CommandRow{"printf 'secret\\r\\n'", "password secret"},
                    CommandRow{"printf 'secret\\nmore\\n'", "more than one line"},
                    CommandRow{"printf 'secret\\n\\n'", "more than one line"},
                    CommandRow{"true", "prints nothing"}, CommandRow{"echo", "prints nothing"},
                    CommandRow{"printf 'a\\000b'", "a NUL byte"},
                    CommandRow{"echo secret; exit 3", "ended with status 3"},
                    CommandRow{"kill -TERM $$", "was ended by signal 15"},
                    CommandRow{"no-such-program-here 2>/dev/null", "ended with status 127"},
                    CommandRow{"yes secret", "more than 4096 bytes"},
                    // Standard input has nothing to read; a caller's own would be waited for.
                    CommandRow{"cat; echo secret", "password secret"},
                    // What the command leaves behind holds the pipe, and is not waited for.
                    CommandRow{"sleep 1000 & echo secret", "password secret"}));

TEST(PasswordCommandsInTime, EndWithAllThatTheyHaveStarted)
{
    const TemporaryFolder folder;
    const std::string command = "sleep 1000 & echo $! >" + folder.Path("child") + "; echo $! >" +
                                folder.Path("ready") + "; wait";
    EXPECT_THAT(Outcome(RunPasswordCommand(command, "here", {}, std::chrono::milliseconds(2500))),
                HasSubstr("took longer than 3 s"));
    std::ifstream text(folder.Path("child"));
    pid_t child = 0;
    text >> child;
    ASSERT_GT(child, 0);
    // Whoever inherited it may still have to take note of its end.
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const auto runs = [child] {
        std::ifstream status("/proc/" + std::to_string(child) + "/stat");
        std::string number;
        std::string name;
        std::string state;
        return (status >> number >> name >> state) && state != "Z";
    };
    while (runs() && std::chrono::steady_clock::now() < until) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(runs());
}

/// In a process that a terminal belongs to.
std::string OutcomeOnATerminal(const std::string& command)
{
    int ends[2];
    int terminal = -1;
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    EXPECT_GE(child, 0);
    if (child == 0) {
        const std::string told = Outcome(RunPasswordCommand(command, "here", {}));
        _exit(write(ends[1], told.data(), told.size()) < 0 ? 1 : 0);
    }
    close(ends[1]);
    std::string outcome(1000, '\0');
    const ssize_t size = read(ends[0], outcome.data(), outcome.size());
    outcome.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    close(terminal);
    return outcome;
}

TEST(PasswordCommandsInTime, EndWhereTheyAskOnTheTerminal)
{
    EXPECT_EQ(OutcomeOnATerminal("echo secret"), "password secret");
    for (const char* const command :
         {"read word </dev/tty; echo \"$word\"", "stty -echo </dev/tty; echo secret"}) {
        EXPECT_THAT(OutcomeOnATerminal(command),
                    HasSubstr("here: the command asks on the terminal"));
    }
}

TEST(PasswordCommandsInTime, EndWhenStopIsRequested)
{
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THAT(Outcome(RunPasswordCommand("sleep 1000", "here", stop.get_token())),
                HasSubstr("was cancelled"));
}

}  // namespace
