// SPDX-License-Identifier: Apache-2.0
// Which log-ins the RMCP+ side of vkt-simulator admits, and which datagrams it survives. The
// clients are ipmitool, FreeIPMI, and a bare socket for what neither would send.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <numeric>
#include <string>
#include <system_error>
#include <vector>

#include "apps/vkt_simulator/enclosure.h"
#include "apps/vkt_simulator/owned_descriptor.h"
#include "apps/vkt_simulator/udp_endpoint.h"
#include "tests/vkt_simulator/shell.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Simulator {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

using Bytes = std::vector<std::uint8_t>;

const char* const kAccount = "-P enclosure -H 127.0.0.1 -N 30 -R 1";
// The machine type of the scenario, over RMCP+ and in ipmitool's words.
const char* const kMachineType = " 05 00 37 58 32 5a 00\nexit 0";
constexpr int kGenerousMilliseconds = 60'000;

class Datagrams
{
public:
    explicit Datagrams(std::uint16_t port)
        : server_("127.0.0.1", port),
          socket_(Owned(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "UDP"))
    {
        if (connect(socket_.Get(), server_.Get(), server_.length) != 0) {
            throw std::system_error(errno, std::generic_category(), "UDP");
        }
    }

    void Send(const Bytes& datagram) const
    {
        // It fails when the server has ended, which the next request finds out.
        static_cast<void>(send(socket_.Get(), datagram.data(), datagram.size(), 0));
    }

    // Empty when there is none.
    Bytes AnswerTo(const Bytes& datagram) const
    {
        Send(datagram);
        pollfd readable = {socket_.Get(), POLLIN, 0};
        Bytes answer(512);
        const ssize_t length = poll(&readable, 1, kGenerousMilliseconds) == 1
                                   ? recv(socket_.Get(), answer.data(), answer.size(), 0)
                                   : 0;
        answer.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return answer;
    }

private:
    SocketAddress server_;
    FileDescriptor socket_;
};

void Append(Bytes& bytes, const Bytes& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

std::uint8_t Checksum(const Bytes& bytes)
{
    return static_cast<std::uint8_t>(-std::accumulate(bytes.begin(), bytes.end(), 0));
}

// A message to the module, with its two checksums.
Bytes Message(const RequestCode& request, const Bytes& data = {})
{
    Bytes message = {0x20, static_cast<std::uint8_t>(request.netFn << 2U)};
    message.push_back(Checksum(message));
    Bytes rest = {0x81, 0x04, request.command};
    Append(rest, data);
    Append(message, rest);
    message.push_back(Checksum(rest));
    return message;
}

// A session has four bytes, the lowest first; those that are not given are 0.
Bytes OfType(std::uint8_t authenticationType, Bytes session, const Bytes& message)
{
    Bytes datagram = {0x06, 0x00, 0xFF, 0x07, authenticationType, 0, 0, 0, 0};
    session.resize(4);
    Append(datagram, session);
    if (authenticationType != 0) {
        Append(datagram, Bytes(16));
    }
    datagram.push_back(static_cast<std::uint8_t>(message.size()));
    Append(datagram, message);
    return datagram;
}

constexpr RequestCode kStatus = {0x32, 0xA8};

constexpr std::size_t kCompletionCode = 20;  // in an answer outside of sessions

// Activate Session of IPMI 1.5 for the account, without proof that its password is known: the
// module gives its temporary session and challenge to whoever asks.
Bytes Activation(const Datagrams& socket, std::uint8_t authenticationType)
{
    Bytes user = {0x00, 'a', 'd', 'm', 'i', 'n'};
    user.resize(17);
    const Bytes answer = socket.AnswerTo(OfType(0, {}, Message({0x06, 0x39}, user)));
    if (answer.size() < kCompletionCode + 22 || answer[kCompletionCode] != 0) {
        ADD_FAILURE() << "no challenge";
        return {};
    }
    const auto given = answer.begin() + kCompletionCode + 1;
    Bytes data = {static_cast<std::uint8_t>(authenticationType & 0x0FU), 0x04};
    data.insert(data.end(), given + 4, given + 20);
    Append(data, {0x01, 0x00, 0x00, 0x00});
    return OfType(authenticationType, {given, given + 4}, Message({0x06, 0x3A}, data));
}

constexpr std::uint8_t kPingTag = 0x2A;
const Bytes kPing = {0x06, 0x00, 0xFF, 0x06, 0x00, 0x00, 0x11, 0xBE, 0x80, kPingTag, 0x00, 0x00};

bool IsPong(const Bytes& answer)
{
    return answer.size() == 28 && answer[8] == 0x40 && answer[9] == kPingTag;
}

TEST(RmcpAdmission, OutlivesDatagramsOfEveryAuthenticationType)
{
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fe-2"});
    const std::uint16_t port = simulator.Port();
    const Datagrams socket(port);
    for (int type = 0; type <= 0xFF && !testing::Test::HasFailure(); ++type) {
        if (type != 6) {
            socket.Send(Activation(socket, static_cast<std::uint8_t>(type)));
        }
    }
    EXPECT_EQ(Ipmitool(port, kAccount, "0x32 0xb0 5 0"), kMachineType);
}

TEST(RmcpAdmission, TellsNothingOutsideOfASession)
{
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fe-2"});
    const std::uint16_t port = simulator.Port();
    const Datagrams socket(port);
    for (const RequestCode& request : ServedRequests()) {
        const Bytes answer = socket.AnswerTo(OfType(0, {}, Message(request)));
        // Header, network function and so on, then the completion code "not in this state", with
        // nothing but the checksum behind it.
        ASSERT_EQ(answer.size(), kCompletionCode + 2);
        EXPECT_EQ(answer[kCompletionCode], 0xD5);
    }
    for (const std::uint8_t session : Bytes{1, 2, 3}) {
        socket.Send(OfType(0, {session}, Message(kStatus)));
    }
    EXPECT_TRUE(IsPong(socket.AnswerTo(kPing))) << "something before was answered";
}

TEST(RmcpAdmission, AnswersAPresencePing)
{
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fe-2"});
    const Datagrams socket(simulator.Port());
    EXPECT_TRUE(IsPong(socket.AnswerTo(kPing)));
}

struct ClientCase
{
    const char* name;
    const char* command;  // with what the client needs to be quick; port and request follow
};

class RmcpAdmissionOfClients : public testing::TestWithParam<ClientCase>
{
};

TEST_P(RmcpAdmissionOfClients, IsRefused)
{
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fe-2"});
    const std::string port = std::to_string(simulator.Port());
    std::string command = GetParam().command;
    command.replace(command.find("PORT"), 4, port);
    const std::string output = Shell(command + " 0x32 0xb0 5 0");
    // "05 00 37 58 32 5a" is the machine type, which must not be told.
    EXPECT_THAT(output, Not(AnyOf(HasSubstr("37 58"), HasSubstr("exit 0"))));
    EXPECT_THAT(output, Not(HasSubstr("invalid option")));
    // And it still answers others.
    EXPECT_EQ(Ipmitool(static_cast<std::uint16_t>(std::stoi(port)), kAccount, "0x32 0xb0 5 0"),
              kMachineType);
}

#define IPMITOOL "ipmitool -H 127.0.0.1 -p PORT -N 1 -R 1 -U admin "
#define FREEIPMI                                                                               \
    "ipmi-raw -h 127.0.0.1:PORT -u admin --session-timeout=1500 --retransmission-timeout=500 " \
    "-l ADMIN "

INSTANTIATE_TEST_SUITE_P(
    WithoutThePassword, RmcpAdmissionOfClients,
    testing::Values(ClientCase{"TypeNone", IPMITOOL "-I lan -A NONE -P wrong raw"},
                    ClientCase{"SuiteZero", IPMITOOL "-I lanplus -C 0 -P wrong raw"},
                    ClientCase{"SuiteThree", IPMITOOL "-I lanplus -C 3 -P wrong raw"},
                    ClientCase{"TypeNoneOfFreeIpmi",
                               FREEIPMI "-p wrong --driver-type=LAN -a NONE 0"},
                    ClientCase{"SuiteZeroOfFreeIpmi",
                               FREEIPMI "-p wrong --driver-type=LAN_2_0 -W opensesspriv -I 0 0"}),
    [](const auto& tested) { return std::string(tested.param.name); });

// With the password, but without signature or encryption of the messages.
INSTANTIATE_TEST_SUITE_P(
    WithWeakTypesAndSuites, RmcpAdmissionOfClients,
    testing::Values(ClientCase{"TypeMd5", IPMITOOL "-I lan -A MD5 -P enclosure raw"},
                    ClientCase{"TypePassword", IPMITOOL "-I lan -A PASSWORD -P enclosure raw"},
                    ClientCase{"TypeUnspecified", IPMITOOL "-I lan -P enclosure raw"},
                    ClientCase{"SuiteOne", IPMITOOL "-I lanplus -C 1 -P enclosure raw"},
                    ClientCase{"SuiteTwo", IPMITOOL "-I lanplus -C 2 -P enclosure raw"},
                    ClientCase{"SuiteSix", IPMITOOL "-I lanplus -C 6 -P enclosure raw"},
                    ClientCase{"SuiteSeven", IPMITOOL "-I lanplus -C 7 -P enclosure raw"},
                    ClientCase{"TypeMd5OfFreeIpmi",
                               FREEIPMI "-p enclosure --driver-type=LAN -a MD5 0"}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace Tulvo::Simulator
