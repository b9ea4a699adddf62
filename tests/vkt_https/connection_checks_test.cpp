// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/connection_checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "common/connection/connection_values.h"
#include "module/vkt/vkt_https/redfish_session.h"
#include "tests/fakes/fake_log.h"

namespace Tulvo::Https {
namespace {

using ::testing::HasSubstr;
using ::testing::Test;
using ::testing::Values;
using ::testing::WithParamInterface;
using TulvoConnection::ConnectionInfo;

ConnectionInfo Record()
{
    ConnectionInfo record;
    record.address = "module.example";
    record.port = 443;
    record.userName = "operator";
    record.password = "T0p-s3cret";
    return record;
}

struct Address
{
    const char* text;
    const char* origin;
};

void PrintTo(const Address& row, std::ostream* out)
{
    *out << row.text;
}

class GoodAddress : public Test, public WithParamInterface<Address>
{
};

TEST_P(GoodAddress, BecomesAnOrigin)
{
    auto record = Record();
    record.address = GetParam().text;
    std::string origin;
    EXPECT_FALSE(CheckConnection(record, origin));
    EXPECT_EQ(origin, GetParam().origin);
}

INSTANTIATE_TEST_SUITE_P(Addresses, GoodAddress,
                         Values(Address{"module.example", "https://module.example:443"},
                                Address{"Module_7-a.example.", "https://Module_7-a.example.:443"},
                                Address{"192.0.2.7", "https://192.0.2.7:443"},
                                Address{"2001:db8::7", "https://[2001:db8::7]:443"},
                                Address{"[2001:db8::7]", "https://[2001:db8::7]:443"},
                                Address{"::ffff:192.0.2.7", "https://[::ffff:192.0.2.7]:443"},
                                Address{"fe80::1%eth0", "https://[fe80::1%25eth0]:443"}));

class BadAddress : public Test, public WithParamInterface<std::string>
{
};

TEST_P(BadAddress, IsRefused)
{
    auto record = Record();
    record.address = GetParam();
    std::string origin;
    const auto failure = CheckConnection(record, origin);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->code, VKT_HTTPS_CONNECT_FAILED);
    EXPECT_EQ(origin, "");
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, BadAddress,
    Values("", " ", "https://module.example", "module.example/redfish", "module.example:8443",
           "evil.example#module.example", "evil.example?module.example", "user@module.example",
           "user:secret@module.example", "module.example\r\nHost: evil.example", "mod\tule",
           "module example", "module\\example", "module%2eexample", "[::1", "::1]", "[]",
           "[module.example]", "2001:db8::g", "fe80::1%", "fe80::1%eth0/x", "fe80::1%eth0]@evil",
           "m\xC3\xB6"
           "dule.example",
           std::string("module\0.example", 15), std::string("::1\0", 4), std::string(254, 'a')));

struct Spoilt
{
    const char* name;
    std::function<void(ConnectionInfo& record)> spoil;
    VKTHttpsErrorCode code;
    const char* fragment;
};

void PrintTo(const Spoilt& row, std::ostream* out)
{
    *out << row.name;
}

std::string NameOf(const ::testing::TestParamInfo<Spoilt>& info)
{
    return info.param.name;
}

class SpoiltRecord : public Test, public WithParamInterface<Spoilt>
{
};

TEST_P(SpoiltRecord, IsRefusedByTheTransport)
{
    Fakes::FakeLog log;
    auto record = Record();
    GetParam().spoil(record);
    VKTHttps client(record);
    std::vector<std::uint8_t> response = {0xEE};
    std::uint8_t completionCode = 0xEE;
    EXPECT_EQ(client.SendIpmiCmdOverHttps({0xB0, {}, 0x32}, response, completionCode),
              GetParam().code);
    EXPECT_EQ(response, std::vector<std::uint8_t>{0xEE});
    EXPECT_EQ(completionCode, 0xEE);
    EXPECT_THAT(client.LastError(), HasSubstr(GetParam().fragment));
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0].level, 1);
    EXPECT_THAT(log.Lines()[0].text, HasSubstr(GetParam().fragment));
}

INSTANTIATE_TEST_SUITE_P(
    Records, SpoiltRecord,
    Values(Spoilt{"EmptyAddress", [](ConnectionInfo& record) { record.address.clear(); },
                  VKT_HTTPS_CONNECT_FAILED, "no address"},
           Spoilt{"AddressFamily", [](ConnectionInfo& record) { record.addressFamily = 5; },
                  VKT_HTTPS_INTERNAL_ERROR, "address family"},
           Spoilt{"Authentication", [](ConnectionInfo& record) { record.authentication = 2; },
                  VKT_HTTPS_INTERNAL_ERROR, "authentication"},
           Spoilt{"TlsVerification", [](ConnectionInfo& record) { record.tlsVerification = -2; },
                  VKT_HTTPS_INTERNAL_ERROR, "TLS verification"},
           Spoilt{"ColonInBasicsName", [](ConnectionInfo& record) { record.userName = "a:b"; },
                  VKT_HTTPS_INTERNAL_ERROR, "colon"},
           Spoilt{"LineEndInName", [](ConnectionInfo& record) { record.userName = "a\r\nb"; },
                  VKT_HTTPS_INTERNAL_ERROR, "control character"}),
    NameOf);

TEST(CheckConnection, Port0IsTheDefault)
{
    auto record = Record();
    record.port = 0;
    std::string origin;
    EXPECT_FALSE(CheckConnection(record, origin));
    EXPECT_EQ(origin, "https://module.example:443");
    record.port = 8443;
    EXPECT_FALSE(CheckConnection(record, origin));
    EXPECT_EQ(origin, "https://module.example:8443");
}

TEST(CheckConnection, SessionTakesAColonInTheName)
{
    auto record = Record();
    record.userName = "a:b";
    record.authentication = TulvoConnection::kAuthenticateBySession;
    std::string origin;
    EXPECT_FALSE(CheckConnection(record, origin));
}

struct Location
{
    const char* text;
    const char* path;
};

void PrintTo(const Location& row, std::ostream* out)
{
    *out << row.text;
}

class SessionPaths : public Test, public WithParamInterface<Location>
{
};

TEST_P(SessionPaths, AreOneSessionOrNothing)
{
    EXPECT_EQ(SessionPath(GetParam().text), GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    Locations, SessionPaths,
    Values(Location{"/redfish/v1/SessionService/Sessions/a-1",
                    "/redfish/v1/SessionService/Sessions/a-1"},
           Location{"/redfish/v1/SessionService/Sessions/1/",
                    "/redfish/v1/SessionService/Sessions/1"},
           Location{"https://other.example:1/redfish/v1/SessionService/Sessions/1",
                    "/redfish/v1/SessionService/Sessions/1"},
           Location{"", ""}, Location{"/", ""}, Location{"https://other.example", ""},
           Location{"/redfish/v1/SessionService/Sessions", ""},
           Location{"/redfish/v1/SessionService/Sessions/", ""},
           Location{"/redfish/v1/SessionService/Sessions/..", ""},
           Location{"/redfish/v1/SessionService/Sessions/../../Systems", ""},
           Location{"/redfish/v1/SessionService/Sessions/1/Actions", ""},
           Location{"/redfish/v1/SessionService/Sessions/1?x", ""},
           Location{"/redfish/v1/SessionService/Sessions/1 x", ""},
           Location{"/redfish/v1/SessionService/Sessions/%2e%2e", ""},
           Location{"/redfish/v1/SessionService/SessionsX/1", ""},
           Location{"//evil.example/redfish/v1/SessionService/Sessions/1", ""},
           Location{"@evil.example/redfish/v1/SessionService/Sessions/1", ""}));

}  // namespace
}  // namespace Tulvo::Https
