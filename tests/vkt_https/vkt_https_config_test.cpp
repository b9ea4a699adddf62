// SPDX-License-Identifier: Apache-2.0
// Settings that cannot be used, from the sources in which a user writes them.
#include <gmock/gmock.h>

#include "common/connection/connection_values.h"
#include "module/vkt/vkt_https/vkt_https.h"
#include "tests/config/config_fixture.h"

namespace Tulvo {
namespace {

using testing::HasSubstr;

class UnusableTrust : public ConfigFixture
{
protected:
    ~UnusableTrust() override { unsetenv("VKT_HTTPS_CA_FILE"); }

    /// Nobody listens on port 1: what is not refused fails to connect.
    static VKTHttpsErrorCode Ask(std::int32_t tlsVerification, std::string& lastError)
    {
        TulvoConnection::ConnectionInfo record;
        record.address = "127.0.0.1";
        record.port = 1;
        record.tlsVerification = tlsVerification;
        VKTHttps client(record);
        std::vector<std::uint8_t> response;
        std::uint8_t completionCode = 0;
        const auto code = client.SendIpmiCmdOverHttps({0xB0, {}, 0x32}, response, completionCode);
        lastError = client.LastError();
        return code;
    }

    void ExpectRefusal(const std::string& key, std::int32_t tlsVerification)
    {
        std::string lastError;
        EXPECT_EQ(Ask(tlsVerification, lastError), VKT_HTTPS_TLS_ERROR);
        EXPECT_THAT(lastError, HasSubstr("the setting " + key + " cannot be used"));
    }

    void ExpectRefusals()
    {
        ExpectRefusal("HTTPS_CA_FILE", TulvoConnection::kTlsVerifyAuthority);
        ExpectRefusal("HTTPS_PINNED_KEY", TulvoConnection::kTlsVerifyPinnedKey);
    }

private:
    void SetUp() override
    {
        SetLogSink([](const LogRecord&) {});
    }
};

TEST_F(UnusableTrust, FileThatIsNotToml)
{
    WriteFile("HTTPS_CA_FILE = '/authority.pem\n");
    ExpectRefusals();
}

TEST_F(UnusableTrust, FileOver16KiB)
{
    WriteFile("HTTPS_CA_FILE = '/authority.pem'\n#" + std::string(16'384, 'x') + "\n");
    ExpectRefusals();
}

TEST_F(UnusableTrust, FileThatIsNotThere)
{
    UseFile(directory / "missing.toml");
    ExpectRefusals();
}

TEST_F(UnusableTrust, NumberInPlaceOfAText)
{
    WriteFile("HTTPS_CA_FILE = 1\nHTTPS_PINNED_KEY = 1\n");
    ExpectRefusals();
}

TEST_F(UnusableTrust, EmptyText)
{
    WriteFile("HTTPS_CA_FILE = ''\nHTTPS_PINNED_KEY = ''\n");
    ExpectRefusals();
}

TEST_F(UnusableTrust, EmptyVariable)
{
    setenv("VKT_HTTPS_CA_FILE", "", 1);
    ExpectRefusal("HTTPS_CA_FILE", TulvoConnection::kTlsVerifyAuthority);
}

TEST_F(UnusableTrust, DoesNotConcernWhoDoesNotDependOnIt)
{
    WriteFile("HTTPS_CA_FILE = 1\nHTTPS_PINNED_KEY = 1\n");
    std::string lastError;
    EXPECT_EQ(Ask(TulvoConnection::kTlsVerifyNothing, lastError), VKT_HTTPS_CONNECT_FAILED);
    WriteFile("OTHER = 1\n");
    EXPECT_EQ(Ask(TulvoConnection::kTlsVerifyAuthority, lastError), VKT_HTTPS_CONNECT_FAILED);
}

}  // namespace
}  // namespace Tulvo
