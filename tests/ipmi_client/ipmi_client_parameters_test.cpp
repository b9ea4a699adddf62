// SPDX-License-Identifier: Apache-2.0
// What the client refuses or replaces before it sends anything. Nothing listens on port 9 of this
// host, so a log-in whose parameters are fine ends with CONNECTION_TRY_AGAIN.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/support/few_descriptors.h"

namespace Tulvo {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using Fakes::LogLine;

constexpr const char* kSecret = "Tr0ub4dor&3";

// Longer than a name may be, so that no name service is asked.
const std::string kImpossibleName(300, 'a');

struct Parameters
{
    std::string address = "127.0.0.1";
    std::string userName = "admin";
    std::string password = kSecret;
    std::string port = "9";
    std::uint64_t cipherSuite = 3;
};

IpmiClient Client(const Parameters& parameters)
{
    return {parameters.address, parameters.userName, parameters.password, parameters.port,
            parameters.cipherSuite};
}

struct Case
{
    std::string name;
    Parameters parameters;
    std::map<std::string, int> configuration;
    CONNECTIONSTATE state;
    std::string said;
};

void PrintTo(const Case& c, std::ostream* out)
{
    *out << c.name;
}

class Parameter : public ::testing::TestWithParam<Case>
{
protected:
    Parameter()
    {
        config.values = {{"IPMI_SESSION_TIMEOUT_MS", 300}, {"IPMI_RETRANSMISSION_TIMEOUT_MS", 100}};
    }

    Fakes::FakeLog log;
    Fakes::FakeConfig config;
};

TEST_P(Parameter, IsJudgedBeforeTheLogIn)
{
    for (const auto& [key, value] : GetParam().configuration) {
        config.values[key] = value;
    }
    IpmiClient client = Client(GetParam().parameters);
    EXPECT_EQ(client.connect(), GetParam().state);
    EXPECT_THAT(client.lastError(), HasSubstr(GetParam().said));
    EXPECT_THAT(client.lastError(), Not(HasSubstr("\n")));
    const int level = GetParam().state == CONNECTION_TRY_AGAIN ? 2 : 1;
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{level, client.lastError()}));
}

const std::vector<Case> kCases{
    {"EmptyAddress", {.address = ""}, {}, CONNECTION_FAILED, "address is empty"},
    {"AddressWithNul",
     {.address = std::string("127.0.0.1\0x", 11)},
     {},
     CONNECTION_FAILED,
     "address holds a NUL byte"},
    {"NameThatNoHostCanHave",
     {.address = kImpossibleName},
     {},
     CONNECTION_FAILED,
     "cannot be resolved"},
    {"EmptyPort", {.port = ""}, {}, CONNECTION_FAILED, "1 to 65535"},
    {"PortZeroIsTheUsualOne",
     {.address = kImpossibleName, .port = "0"},
     {},
     CONNECTION_FAILED,
     ":623: the address cannot be resolved"},
    {"PortTooHigh", {.port = "65536"}, {}, CONNECTION_FAILED, "1 to 65535"},
    {"PortHigherThanAnyNumber",
     {.port = "99999999999999999999999"},
     {},
     CONNECTION_FAILED,
     "1 to 65535"},
    {"PortWithSign", {.port = "+623"}, {}, CONNECTION_FAILED, "1 to 65535"},
    {"PortWithBlank", {.port = " 623"}, {}, CONNECTION_FAILED, "1 to 65535"},
    {"PortWithTail", {.port = "623x"}, {}, CONNECTION_FAILED, "1 to 65535"},
    {"PortInHex", {.port = "0x26f"}, {}, CONNECTION_FAILED, "1 to 65535"},
    {"HighestPort", {.port = "65535"}, {}, CONNECTION_TRY_AGAIN, "65535"},
    {"UserNameOf16Bytes", {.userName = std::string(16, 'u')}, {}, CONNECTION_TRY_AGAIN, ""},
    {"UserNameOf17Bytes",
     {.userName = std::string(17, 'u')},
     {},
     CONNECTION_REFUSED,
     "more than 16 bytes"},
    {"UserNameWithNul",
     {.userName = std::string("ad\0min", 6)},
     {},
     CONNECTION_REFUSED,
     "user name holds a NUL byte"},
    {"PasswordOf20Bytes", {.password = std::string(20, 'p')}, {}, CONNECTION_TRY_AGAIN, ""},
    {"PasswordOf21Bytes",
     {.password = std::string(21, 'p')},
     {},
     CONNECTION_REFUSED,
     "more than 20 bytes"},
    {"PasswordWithNul",
     {.password = std::string("sec\0ret", 7)},
     {},
     CONNECTION_REFUSED,
     "password holds a NUL byte"},
    {"EmptyPassword", {.password = ""}, {}, CONNECTION_TRY_AGAIN, ""},
    {"Suite0", {.cipherSuite = 0}, {}, CONNECTION_REFUSED, "cipher suite 0"},
    {"Suite1", {.cipherSuite = 1}, {}, CONNECTION_REFUSED, "cipher suite 1"},
    {"Suite2", {.cipherSuite = 2}, {}, CONNECTION_REFUSED, "cipher suite 2"},
    {"Suite4WhoseCipherIsWeak", {.cipherSuite = 4}, {}, CONNECTION_REFUSED, "cipher suite 4"},
    {"Suite16WithoutEncryption", {.cipherSuite = 16}, {}, CONNECTION_REFUSED, "cipher suite 16"},
    {"Suite17", {.cipherSuite = 17}, {}, CONNECTION_TRY_AGAIN, ""},
    {"SuiteThatOneByteWouldMake3",
     {.cipherSuite = 256 + 3},
     {},
     CONNECTION_REFUSED,
     "cipher suite 259"},
    {"ConfiguredSuiteDecides",
     {.cipherSuite = 0},
     {{"IPMI_CIPHER_SUITE", 17}},
     CONNECTION_TRY_AGAIN,
     ""},
    {"ConfiguredSuite0",
     {.cipherSuite = 3},
     {{"IPMI_CIPHER_SUITE", 0}},
     CONNECTION_REFUSED,
     "cipher suite 0"},
    {"ConfiguredSuiteNegative",
     {.cipherSuite = 3},
     {{"IPMI_CIPHER_SUITE", -2}},
     CONNECTION_REFUSED,
     "cipher suite -2"},
    {"PrivilegeUser", {}, {{"IPMI_PRIVILEGE_LEVEL", 2}}, CONNECTION_TRY_AGAIN, ""},
    {"PrivilegeCallback",
     {},
     {{"IPMI_PRIVILEGE_LEVEL", 1}},
     CONNECTION_REFUSED,
     "IPMI_PRIVILEGE_LEVEL is 1"},
    {"PrivilegeOem",
     {},
     {{"IPMI_PRIVILEGE_LEVEL", 5}},
     CONNECTION_REFUSED,
     "IPMI_PRIVILEGE_LEVEL is 5"},
    {"NothingListens", {}, {}, CONNECTION_TRY_AGAIN, "127.0.0.1:9"},
};

INSTANTIATE_TEST_SUITE_P(Client, Parameter, ::testing::ValuesIn(kCases),
                         [](const auto& param) { return param.param.name; });

TEST(Trust, ThatCannotBeReadIsNotReplacedByADefault)
{
    for (const std::string key : {"IPMI_PRIVILEGE_LEVEL", "IPMI_CIPHER_SUITE"}) {
        Fakes::FakeLog log;
        Fakes::FakeConfig config;
        config.unusable[key] = "config.toml line 3: " + key + " must be an integer";
        IpmiClient client = Client({});
        EXPECT_EQ(client.connect(), CONNECTION_REFUSED);
        EXPECT_THAT(client.lastError(), HasSubstr(key + " cannot be used (config.toml line 3"));
    }
}

struct Nonsense
{
    std::string key;
    int value;
    std::string replacement;
};

// The address is bad, so that no replacement is waited for.
TEST(Waits, ThatMakeNoSenseAreReplacedWithOneWarning)
{
    const std::vector<Nonsense> cases{
        {"IPMI_SESSION_TIMEOUT_MS", 0, "5000"},
        {"IPMI_SESSION_TIMEOUT_MS", -1, "5000"},
        {"IPMI_SESSION_TIMEOUT_MS", 2147483647, "5000"},
        {"IPMI_RETRANSMISSION_TIMEOUT_MS", 0, "1000"},
        {"IPMI_RETRANSMISSION_TIMEOUT_MS", -5, "1000"},
        {"IPMI_RETRANSMISSION_TIMEOUT_MS", 5001, "1000"},
    };
    for (const Nonsense& c : cases) {
        SCOPED_TRACE(c.key + " " + std::to_string(c.value));
        Fakes::FakeLog log;
        Fakes::FakeConfig config;
        config.values[c.key] = c.value;
        EXPECT_EQ(Client({.address = ""}).connect(), CONNECTION_FAILED);
        ASSERT_EQ(log.Lines(2).size(), 1U);
        EXPECT_THAT(log.Lines(2)[0].text, HasSubstr(c.key + " is " + std::to_string(c.value)));
        EXPECT_THAT(log.Lines(2)[0].text, HasSubstr(c.replacement + " is used"));
    }
}

TEST(Password, IsInNoMessageAndNoRecord)
{
    Fakes::FakeLog log;
    Fakes::FakeConfig config;
    config.values = {{"IPMI_SESSION_TIMEOUT_MS", 200}, {"IPMI_RETRANSMISSION_TIMEOUT_MS", 100}};
    for (const Parameters& parameters :
         {Parameters{}, Parameters{.address = kImpossibleName}, Parameters{.port = "x"},
          Parameters{.password = kSecret + std::string("0123456789")},
          Parameters{.cipherSuite = 0}}) {
        IpmiClient client = Client(parameters);
        EXPECT_NE(client.connect(), CONNECTION_CONNECTED);
        EXPECT_THAT(client.lastError(), Not(HasSubstr(kSecret)));
    }
    EXPECT_THAT(log.Lines(), Not(IsEmpty()));
    EXPECT_THAT(log.Lines(), Each(Field(&LogLine::text, Not(HasSubstr(kSecret)))));
}

TEST(Send, WithoutASessionFailsAndEmptiesItsOutputs)
{
    Fakes::FakeLog log;
    IpmiClient client = Client({});
    std::vector<std::uint8_t> response{1, 2, 3};
    std::uint8_t completionCode = 0;
    EXPECT_LT(client.send(IPMICOMMAND{1, {}, 6}, response, completionCode), 0);
    EXPECT_THAT(response, IsEmpty());
    EXPECT_EQ(completionCode, 0xFF);
    EXPECT_THAT(client.lastError(), HasSubstr("no session is open"));
    EXPECT_THAT(log.Lines(1), Contains(LogLine{1, client.lastError()}));
}

TEST(Disconnect, WithoutASessionDoesNothing)
{
    Fakes::FakeLog log;
    IpmiClient client = Client({});
    client.disconnect();
    client.disconnect();
    EXPECT_THAT(client.lastError(), IsEmpty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(Descriptors, OneForTheSocketIsEnoughToAskAModule)
{
    Fakes::FakeConfig config;
    IpmiClient client = Client({});
    const FewDescriptors few(1);
    EXPECT_EQ(client.connect(), CONNECTION_TRY_AGAIN);
    EXPECT_THAT(client.lastError(), HasSubstr("nothing listens"));
}

TEST(Descriptors, NoneLeftIsTheReasonThatIsTold)
{
    Fakes::FakeConfig config;
    IpmiClient client = Client({});
    const FewDescriptors few(0);
    EXPECT_EQ(client.connect(), CONNECTION_FAILED);
    EXPECT_THAT(client.lastError(), HasSubstr("Too many open files"));
}

}  // namespace
}  // namespace Tulvo
