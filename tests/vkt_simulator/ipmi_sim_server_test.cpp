// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/ipmi_sim_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "apps/vkt_simulator/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/vkt_simulator/shell.h"

namespace Tulvo::Simulator {
namespace {

using testing::AllOf;
using testing::HasSubstr;

IpmiSimOptions OneAdmin()
{
    IpmiSimOptions options;
    options.users = {{"admin", "secret"}};
    return options;
}

std::string GetDeviceId(const IpmiSimServer& server, const std::string& password,
                        const std::string& address = "127.0.0.1", const char* waits = "-N 30 -R 1")
{
    return Ipmitool(server.Port(), waits + std::string(" -P '") + password + "' -H " + address,
                    "6 1");
}

// "00 03 09 08 02 9f 91 12 ..." with the identity that the server is configured with.
const char* const kDeviceId = " 00 03 09 08 02 9f 91 12 00 02 0f 00 00 00 00\nexit 0";

std::string MessageOf(const IpmiSimOptions& options)
{
    try {
        const IpmiSimServer server(options);
        return "no failure";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

bool Exists(pid_t pid)
{
    return kill(pid, 0) == 0;
}

TEST(ProgramLookup, NamesThePackageOfAProgramThatIsMissing)
{
    using testing::AllOf;
    using testing::HasSubstr;
    EXPECT_THAT([] { FindProgram("no-such-program", "its-package"); },
                testing::ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr("no-such-program"), HasSubstr("its-package"))));
}

TEST(IpmiSimServer, AnswersAnIndependentClientAsSoonAsItIsMade)
{
    const IpmiSimServer server(OneAdmin());
    EXPECT_EQ(GetDeviceId(server, "secret"), kDeviceId);
}

TEST(IpmiSimServer, AnswersOnIpv6Loopback)
{
    IpmiSimOptions options = OneAdmin();
    options.address = "::1";
    const IpmiSimServer server(options);
    EXPECT_EQ(GetDeviceId(server, "secret", "::1"), kDeviceId);
}

TEST(IpmiSimServer, RefusesAnotherPassword)
{
    const IpmiSimServer server(OneAdmin());
    EXPECT_THAT(GetDeviceId(server, "wrong"), HasSubstr("exit 1"));
}

TEST(IpmiSimServer, TakesPasswordsUpToNineteenBytesAsTheyAre)
{
    for (const std::string password : {"#$\\'!~a", "1234567890123456789"}) {
        IpmiSimOptions options = OneAdmin();
        options.users[0].password = password;
        const IpmiSimServer server(options);
        const std::string quoted = password == "#$\\'!~a" ? "#$\\'\\''!~a" : password;
        EXPECT_EQ(GetDeviceId(server, quoted), kDeviceId) << password;
    }
}

TEST(IpmiSimServer, RefusesUsersThatItsConfigurationCannotExpress)
{
    const struct
    {
        IpmiSimUser user;
        const char* message;
    } cases[] = {
        {{"", "secret"}, "a user name must be 1 to 15 printable"},
        {{"sixteencharacter", "secret"}, "a user name must be 1 to 15 printable"},
        {{"two words", "secret"}, "a user name must be 1 to 15 printable"},
        {{"admin", ""}, "the password of user admin must be 1 to 19 printable"},
        {{"admin", "quo\"te"}, "the password of user admin must be 1 to 19 printable"},
        {{"admin", "line\nfeed"}, "the password of user admin must be 1 to 19 printable"},
        {{"admin", "12345678901234567890"}, "the password of user admin must be 1 to 19 printable"},
        {{"admin", "secret", 5}, "a privilege must be 1"},
    };
    for (const auto& bad : cases) {
        IpmiSimOptions options;
        options.users = {bad.user};
        EXPECT_THAT(MessageOf(options), HasSubstr(bad.message));
    }
}

TEST(IpmiSimServer, NeverTellsAPasswordInAMessage)
{
    IpmiSimOptions options = OneAdmin();
    options.users[0].password = "hush \"hush\"";
    EXPECT_THAT(MessageOf(options), testing::Not(HasSubstr("hush")));
}

TEST(IpmiSimServer, PassesOnWhatTheServerSaysWhenItCannotStart)
{
    IpmiSimOptions options = OneAdmin();
    options.modulePath = "/nonexistent/module.so";
    EXPECT_THAT(MessageOf(options), AllOf(HasSubstr("ipmi_sim ended while starting"),
                                          HasSubstr("/nonexistent/module.so")));
}

TEST(IpmiSimServer, SaysThatAPortIsTaken)
{
    const IpmiSimServer first(OneAdmin());
    IpmiSimOptions options = OneAdmin();
    options.port = first.Port();
    EXPECT_THAT(MessageOf(options),
                HasSubstr("cannot listen on UDP port " + std::to_string(options.port)));
}

TEST(IpmiSimServer, RefusesAnAddressThatIsAName)
{
    IpmiSimOptions options = OneAdmin();
    options.address = "localhost";
    EXPECT_THAT(MessageOf(options), HasSubstr("\"localhost\" is not a numeric"));
}

TEST(IpmiSimServer, GivesEveryServerAPortOfItsOwn)
{
    std::vector<std::unique_ptr<IpmiSimServer>> servers;
    std::set<std::uint16_t> ports;
    for (int i = 0; i < 16; ++i) {
        servers.push_back(std::make_unique<IpmiSimServer>(OneAdmin()));
        ports.insert(servers.back()->Port());
    }
    EXPECT_EQ(ports.size(), servers.size());
}

TEST(IpmiSimServer, LeavesNoProcessAndNoFile)
{
    const TemporaryDirectory folder;
    setenv("TMPDIR", folder.Path().c_str(), 1);
    pid_t pid = 0;
    {
        const IpmiSimServer server(OneAdmin());
        pid = server.Pid();
        EXPECT_TRUE(Exists(pid));
        EXPECT_TRUE(std::filesystem::is_empty(folder.Path())) << "something is kept while it runs";
    }
    EXPECT_FALSE(Exists(pid));
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path())) << "something was left";
    unsetenv("TMPDIR");
}

TEST(IpmiSimServer, KillEndsItAtOnceAndTellsSo)
{
    IpmiSimServer server(OneAdmin());
    ASSERT_TRUE(server.Running());
    server.Kill();
    EXPECT_FALSE(server.Running());
    EXPECT_FALSE(Exists(server.Pid()));
    EXPECT_THAT(GetDeviceId(server, "secret", "127.0.0.1", "-N 1 -R 1"), HasSubstr("exit 1"));
}

TEST(IpmiSimServer, SignalsItsOwnerWhenItEndsByItself)
{
    IpmiSimServer server(OneAdmin());
    pollfd ended = {server.ExitDescriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&ended, 1, 0), 0);
    kill(server.Pid(), SIGKILL);
    EXPECT_EQ(poll(&ended, 1, -1), 1);
    EXPECT_FALSE(server.Running());
}

TEST(IpmiSimServer, EndsWithItsOwnersThread)
{
    std::unique_ptr<IpmiSimServer> server;
    std::thread owner([&] { server = std::make_unique<IpmiSimServer>(OneAdmin()); });
    owner.join();
    pollfd ended = {server->ExitDescriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&ended, 1, -1), 1);
}

TEST(IpmiSimServer, KeepsPasswordsOutOfItsArguments)
{
    const IpmiSimServer server(OneAdmin());
    std::ifstream file("/proc/" + std::to_string(server.Pid()) + "/cmdline");
    const std::string arguments{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(arguments, HasSubstr("ipmi_sim"));
    EXPECT_THAT(arguments, testing::Not(HasSubstr("secret")));
}

std::string EnvironmentOf(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/environ");
    std::string variables{std::istreambuf_iterator<char>(file), {}};
    std::replace(variables.begin(), variables.end(), '\0', '\n');
    return variables;
}

TEST(IpmiSimServer, HandsNothingOfItsOwnersEnvironmentOnButTwoFolders)
{
    const TemporaryDirectory folder;
    setenv("TMPDIR", folder.Path().c_str(), 1);
    setenv("IPMI_PASSWORD", "hush", 1);
    const IpmiSimServer server(OneAdmin());
    unsetenv("IPMI_PASSWORD");
    EXPECT_EQ(EnvironmentOf(server.Pid()), std::string("PATH=") + std::getenv("PATH") +
                                               "\nTMPDIR=" + folder.Path().string() + '\n');
    unsetenv("TMPDIR");
    const IpmiSimServer another(OneAdmin());
    EXPECT_EQ(EnvironmentOf(another.Pid()), std::string("PATH=") + std::getenv("PATH") + '\n');
}

}  // namespace
}  // namespace Tulvo::Simulator
