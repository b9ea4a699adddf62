// SPDX-License-Identifier: Apache-2.0
// From a target, and what is configured, to the settings of a transport. Stand-ins for both
// transports keep what they are made with and find nobody.
#include "module/vkt/vkt_enclosure/read_enclosure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "common/log/log.h"
#include "module/ipmi/ipmi_client/rmcp_transport.h"
#include "module/vkt/vkt_https/https_transport.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"

namespace Tulvo {
namespace {

std::optional<RmcpSettings> madeRmcp;
std::optional<HttpsSettings> madeHttps;

const Failure kNobody{Cause::kUnreachable, "nobody is there", "", {}};

class Nobody final : public IpmiTransport
{
public:
    explicit Nobody(std::uint16_t port) : port_(port) {}
    IpmiOpening Open(const CallLimit& /*limit*/) override
    {
        Log(2, "transport.cpp", 1).Stream() << "nobody is there";
        return {.failure = kNobody};
    }
    IpmiExchange Ask(const IPMICOMMAND& request, Resend /*resend*/,
                     const CallLimit& /*limit*/) override
    {
        ADD_FAILURE() << "asked without a session: " << int{request.cmd};
        return {};
    }
    std::optional<Failure> RaisePrivilege(const CallLimit& /*limit*/) override { return kNobody; }
    void Close(const CallLimit& /*limit*/) override {}
    IpmiSessionInfo Info() const override
    {
        return {.port = port_, .cipherSuite = {}, .privilege = {}};
    }
    IpmiCost Cost() const override { return {}; }

private:
    std::uint16_t port_;
};

}  // namespace

std::unique_ptr<IpmiTransport> MakeRmcpTransport(const RmcpSettings& settings)
{
    madeRmcp = settings;
    return std::make_unique<Nobody>(settings.port);
}

std::unique_ptr<IpmiTransport> MakeHttpsTransport(const HttpsSettings& settings)
{
    madeHttps = settings;
    return std::make_unique<Nobody>(settings.port);
}

namespace Enclosures {
namespace {

class ReadEnclosureTest : public testing::Test
{
protected:
    void SetUp() override
    {
        madeRmcp.reset();
        madeHttps.reset();
    }

    Enclosure Read() { return ReadEnclosure(target, {}, {}); }

    void ExpectRefused(const std::string& message)
    {
        const Enclosure record = Read();
        ASSERT_TRUE(record.error);
        EXPECT_EQ(Cause::kLocal, record.error->cause);
        EXPECT_EQ(message, record.error->message);
        EXPECT_FALSE(NotRead(record).empty());
        EXPECT_FALSE(madeRmcp || madeHttps);
    }

    /// Whom the records of a read are about, which there must be some of.
    std::string TargetInLog()
    {
        log.Clear();
        Read();
        EXPECT_FALSE(log.Records().empty());
        return log.Records().empty() ? "" : log.Records().front().target;
    }

    Fakes::FakeConfig config;
    Fakes::FakeLog log;
    Target target{.host = "enc017", .user = "monitor", .password = "secret"};
};

TEST_F(ReadEnclosureTest, TakesWhatTheTargetSaysOverRmcp)
{
    config.values = {{"IPMI_CIPHER_SUITE", 3}, {"IPMI_PRIVILEGE_LEVEL", 2}};
    target.port = 6230;
    target.transport =
        RmcpPlus{.cipherSuite = 17, .privilege = Privilege::kOperator, .kg = "module's"};
    const Enclosure record = Read();
    ASSERT_TRUE(madeRmcp);
    EXPECT_EQ("enc017", madeRmcp->host);
    EXPECT_EQ(6230, madeRmcp->port);
    EXPECT_EQ("monitor", madeRmcp->user);
    EXPECT_EQ("secret", madeRmcp->password);
    EXPECT_EQ(17, madeRmcp->cipherSuite);
    EXPECT_EQ(3, madeRmcp->privilege);
    EXPECT_EQ("module's", madeRmcp->kg);
    EXPECT_EQ("enc017", record.source.host);
    EXPECT_EQ(6230, record.source.port);
    EXPECT_FALSE(record.source.overHttps);
    EXPECT_EQ(kNobody, record.error);
}

TEST_F(ReadEnclosureTest, TakesWhatIsConfiguredForWhatTheTargetLeavesOpen)
{
    config.values = {{"IPMI_CIPHER_SUITE", 3}, {"IPMI_PRIVILEGE_LEVEL", 2}};
    Read();
    ASSERT_TRUE(madeRmcp);
    EXPECT_EQ(623, madeRmcp->port);
    EXPECT_EQ(3, madeRmcp->cipherSuite);
    EXPECT_EQ(2, madeRmcp->privilege);
}

TEST_F(ReadEnclosureTest, LeavesOpenWhatNobodySays)
{
    Read();
    ASSERT_TRUE(madeRmcp);
    EXPECT_FALSE(madeRmcp->cipherSuite);
    EXPECT_FALSE(madeRmcp->privilege);
    EXPECT_EQ("", madeRmcp->kg);
}

TEST_F(ReadEnclosureTest, RefusesAPrivilegeThatIsNone)
{
    config.values = {{"IPMI_PRIVILEGE_LEVEL", 5}};
    ExpectRefused("there is no privilege level 5");
}

TEST_F(ReadEnclosureTest, RefusesASuiteThatIsNone)
{
    config.values = {{"IPMI_CIPHER_SUITE", 273}};
    ExpectRefused("there is no cipher suite 273");
}

TEST_F(ReadEnclosureTest, RefusesAConfigurationThatCannotBeUsed)
{
    for (const char* const key : {"IPMI_CIPHER_SUITE", "IPMI_PRIVILEGE_LEVEL"}) {
        SCOPED_TRACE(key);
        config.unusable = {{key, "config.toml:3: no number"}};
        ExpectRefused("a configured setting cannot be used: config.toml:3: no number");
    }
    target.transport = Https{};
    for (const char* const key : {"HTTPS_PINNED_KEY", "HTTPS_CA_FILE"}) {
        SCOPED_TRACE(key);
        config.unusable = {{key, "config.toml:3: no text"}};
        ExpectRefused("a configured setting cannot be used: config.toml:3: no text");
    }
}

TEST_F(ReadEnclosureTest, TrustsWhomTheTargetTrusts)
{
    config.texts = {{"HTTPS_PINNED_KEY", "sha256//configured"},
                    {"HTTPS_CA_FILE", "configured.pem"}};
    const std::vector<std::pair<Trust, std::pair<HttpsTrust, std::string>>> cases{
        {TrustAuthorities{}, {HttpsTrust::kAuthorities, ""}},
        {TrustAuthorityFile{"own.pem"}, {HttpsTrust::kAuthorityFile, "own.pem"}},
        {TrustPinnedKey{"sha256//own"}, {HttpsTrust::kPinnedKey, "sha256//own"}},
        {TrustAnybody{}, {HttpsTrust::kAnybody, ""}}};
    for (const auto& [trust, expected] : cases) {
        target.transport = Https{.trust = trust};
        const Enclosure record = Read();
        EXPECT_EQ(expected, std::pair(madeHttps->trust, madeHttps->trusted));
        EXPECT_EQ(443, madeHttps->port);
        EXPECT_FALSE(madeHttps->basicAuthentication);
        EXPECT_TRUE(record.source.overHttps);
    }
}

TEST_F(ReadEnclosureTest, PrefersAConfiguredPinToAConfiguredFile)
{
    target.transport = Https{.authentication = HttpAuthentication::kBasic};
    config.texts = {{"HTTPS_PINNED_KEY", "sha256//configured"},
                    {"HTTPS_CA_FILE", "configured.pem"}};
    Read();
    EXPECT_EQ(HttpsTrust::kPinnedKey, madeHttps->trust);
    EXPECT_EQ("sha256//configured", madeHttps->trusted);
    EXPECT_TRUE(madeHttps->basicAuthentication);
    config.texts.erase("HTTPS_PINNED_KEY");
    Read();
    EXPECT_EQ(HttpsTrust::kAuthorityFile, madeHttps->trust);
    EXPECT_EQ("configured.pem", madeHttps->trusted);
    config.texts.clear();
    Read();
    EXPECT_EQ(HttpsTrust::kAuthorities, madeHttps->trust);
}

TEST_F(ReadEnclosureTest, RecordsNameTheTargetTheyAreAbout)
{
    struct Case
    {
        std::string host;
        std::uint16_t port;
        std::variant<RmcpPlus, Https> transport;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"enc017", 0, RmcpPlus{}, "enc017"},     {"enc017", 623, RmcpPlus{}, "enc017"},
        {"enc017", 443, Https{}, "enc017"},      {"enc017", 623, Https{}, "enc017:623"},
        {"10.0.0.5", 6230, {}, "10.0.0.5:6230"}, {"::1", 6230, {}, "[::1]:6230"},
        {"[::1]", 6230, {}, "[::1]:6230"},       {"::1", 0, {}, "::1"},
    };
    for (const Case& row : cases) {
        target.host = row.host;
        target.port = row.port;
        target.transport = row.transport;
        EXPECT_EQ(row.expected, TargetInLog());
    }
}

TEST_F(ReadEnclosureTest, RecordsOfTheCallerNameNobodyAfterARead)
{
    Read();
    EXPECT_TRUE(SelectSupply(target, 1, {}).failure);
    log.Clear();
    Log(2, "caller.cpp", 1).Stream() << "text";
    EXPECT_EQ("", log.Records().at(0).target);
}

TEST_F(ReadEnclosureTest, RecordsOfASelectionNameTheTarget)
{
    EXPECT_TRUE(SelectSupply(target, 1, {}).failure);
    EXPECT_EQ("enc017", log.Records().at(0).target);
}

TEST_F(ReadEnclosureTest, SaysWhyASupplyCouldNotBeSelected)
{
    const Selection selection = SelectSupply(target, 1, {});
    EXPECT_EQ(kNobody, selection.failure);
    EXPECT_EQ("enc017", selection.source.host);
}

}  // namespace
}  // namespace Enclosures
}  // namespace Tulvo
