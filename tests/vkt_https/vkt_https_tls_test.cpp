// SPDX-License-Identifier: Apache-2.0
// Which servers the client trusts, and that nothing is sent to the others.
#include "tests/vkt_https/https_fixture.h"

namespace Tulvo::Tests {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Trust : public HttpsTest
{
protected:
    void ExpectDistrust(std::int32_t tlsVerification, const std::string& fragment)
    {
        auto record = Record();
        record.tlsVerification = tlsVerification;
        Connect(record);
        // The second time the client may resume the TLS session of the first.
        ExpectFailure(VKT_HTTPS_TLS_ERROR, fragment);
        ExpectFailure(VKT_HTTPS_TLS_ERROR, fragment);
        EXPECT_EQ(server->Heads(), 0) << "nothing may be sent to an untrusted server";
    }

    void ConnectPinned(const std::string& pin)
    {
        config.texts["HTTPS_PINNED_KEY"] = pin;
        auto record = Record();
        record.tlsVerification = 1;
        Connect(record);
    }
};

TEST_F(Trust, ConfiguredAuthorityIsTrusted)
{
    Serve(Always(GoodReply()));
    ExpectAnswer();
}

TEST_F(Trust, ConfiguredAuthorityIsTrustedForAName)
{
    Serve(Always(GoodReply()));
    auto record = Record();
    record.address = "localhost";
    record.addressFamily = 4;
    Connect(record);
    ExpectAnswer();
}

TEST_F(Trust, OwnCertificateCanBeTheAuthority)
{
    const Identity selfSigned = MakeIdentity({});
    const TemporaryFile file(selfSigned.Pem());
    config.texts["HTTPS_CA_FILE"] = file.Path();
    Serve(Always(GoodReply()), selfSigned);
    ExpectAnswer();
}

TEST_F(Trust, SystemAuthoritiesDecideWithoutAConfiguredOne)
{
    config.texts.clear();
    Serve(Always(GoodReply()));
    ExpectDistrust(0, "is not trusted");
}

TEST_F(Trust, AnotherAuthorityOfTheSameNameIsRefused)
{
    const Identity other = MakeIdentity({.isAuthority = true});
    Serve(Always(GoodReply()), MakeIdentity({}, &other));
    ExpectDistrust(0, "is not trusted (certificate signature failure)");
}

TEST_F(Trust, SelfSignedIsRefused)
{
    Serve(Always(GoodReply()), MakeIdentity({}));
    ExpectDistrust(0, "self-signed");
}

TEST_F(Trust, ExpiredIsRefused)
{
    Serve(Always(GoodReply()), MakeIdentity({.endsInSeconds = -3600}, &Authority()));
    ExpectDistrust(0, "expired");
}

TEST_F(Trust, WrongNameIsRefused)
{
    Serve(Always(GoodReply()),
          MakeIdentity({.names = "DNS:other.example,IP:127.0.0.2"}, &Authority()));
    ExpectDistrust(0, "127.0.0.1");
}

TEST_F(Trust, MissingAuthorityFileIsRefused)
{
    for (const char* file : {"/nonexistent/authority.pem", ""}) {
        config.texts["HTTPS_CA_FILE"] = file;
        Serve(Always(GoodReply()));
        ExpectDistrust(0, "HTTPS_CA_FILE must name a readable file");
    }
}

TEST_F(Trust, SettingThatCannotBeUsedIsNotTakenForUnset)
{
    Serve(Always(GoodReply()), MakeIdentity({}));
    config.unusable["HTTPS_CA_FILE"] = "file 7 is torn";
    ExpectDistrust(0, "HTTPS_CA_FILE cannot be used (file 7 is torn)");
    config.unusable["HTTPS_PINNED_KEY"] = "file 8 is torn";
    ExpectDistrust(1, "HTTPS_PINNED_KEY cannot be used (file 8 is torn)");
    EXPECT_EQ(server->Connections(), 0);
}

TEST_F(Trust, RefusalTellsTheServersKey)
{
    const Identity selfSigned = MakeIdentity({});
    Serve(Always(GoodReply()), selfSigned);
    ExpectDistrust(0, selfSigned.Pin());
}

TEST_F(Trust, WrongNameTellsTheServersKey)
{
    const Identity wrong = MakeIdentity({.names = "DNS:other.example"}, &Authority());
    Serve(Always(GoodReply()), wrong);
    ExpectDistrust(0, wrong.Pin());
}

TEST_F(Trust, PinnedKeyNeedsNoAuthorityNameOrDate)
{
    const Identity stranger = MakeIdentity({.names = "DNS:other.example", .endsInSeconds = -3600});
    Serve(Always(GoodReply()), stranger);
    ConnectPinned(stranger.Pin());
    ExpectAnswer();
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(Trust, OneOfSeveralPinnedKeysIsEnough)
{
    Serve(Always(GoodReply()));
    ConnectPinned(MakeIdentity({}).Pin() + ";" + Module().Pin());
    ExpectAnswer();
}

TEST_F(Trust, AnotherKeyThanThePinnedIsRefusedAndTold)
{
    config.texts["HTTPS_PINNED_KEY"] = MakeIdentity({}).Pin();
    Serve(Always(GoodReply()));
    ExpectDistrust(1, "not the pinned one");
    EXPECT_THAT(client->LastError(), HasSubstr(Module().Pin()));
}

TEST_F(Trust, PinIsCheckedOnEveryNewConnection)
{
    Serve(Once(GoodReply()));
    const std::uint16_t port = server->Port();
    ConnectPinned(Module().Pin());
    ExpectAnswer();
    server->AwaitEnds(1);
    server.reset();
    Serve(Always(GoodReply()), MakeIdentity({}, &Authority()), {.port = port});
    ExpectFailure(VKT_HTTPS_TLS_ERROR, "not the pinned one");
    EXPECT_THAT(server->Requests(), IsEmpty());
}

TEST_F(Trust, KeyOfAResumedSessionIsThePinnedOne)
{
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        Serve(Once(GoodReply()), Module(), {.newestTls = version});
        ConnectPinned(Module().Pin());
        ExpectAnswer();
        server->AwaitEnds(1);
        ExpectAnswer();
        EXPECT_EQ(server->Handshakes(), 2);
        EXPECT_EQ(server->Resumptions(), 1);
    }
}

class BadPin : public Trust, public ::testing::WithParamInterface<const char*>
{
};

TEST_P(BadPin, IsRefusedBeforeConnecting)
{
    config.texts["HTTPS_PINNED_KEY"] = GetParam();
    Serve(Always(GoodReply()));
    ExpectDistrust(1, "set HTTPS_PINNED_KEY");
    EXPECT_EQ(server->Connections(), 0);
}

INSTANTIATE_TEST_SUITE_P(Pins, BadPin,
                         ::testing::Values("", "sha256//", "sha256//abc=", "/etc/hostname",
                                           "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=",
                                           "sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU",
                                           "sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=;",
                                           "sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuF!="));

TEST_F(Trust, NoVerificationWarnsOnceAnObject)
{
    Serve(Always(GoodReply()), MakeIdentity({.names = "DNS:other.example"}));
    auto record = Record();
    record.tlsVerification = 2;
    Connect(record);
    ExpectAnswer();
    ExpectAnswer();
    ASSERT_THAT(log.Lines(), SizeIs(1));
    EXPECT_EQ(log.Lines()[0].level, 2);
    EXPECT_THAT(log.Lines()[0].text, HasSubstr("is not verified"));
}

class UnknownVerification : public Trust, public ::testing::WithParamInterface<std::int32_t>
{
};

TEST_P(UnknownVerification, IsNotTakenForNone)
{
    Serve(Always(GoodReply()));
    auto record = Record();
    record.tlsVerification = GetParam();
    Connect(record);
    ExpectFailure(VKT_HTTPS_INTERNAL_ERROR, "TLS verification is unknown");
    EXPECT_EQ(server->Connections(), 0);
}

INSTANTIATE_TEST_SUITE_P(Values, UnknownVerification,
                         ::testing::Values(-1, 3, 256, 258, INT32_MAX, INT32_MIN));

/// Whether a client that OpenSSL's configuration alone restrains comes to terms with the server.
bool HandshakeOfALaxClient(std::uint16_t port)
{
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()),
                                                               SSL_CTX_free);
    SSL_CTX_set_security_level(context.get(), 0);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
    const std::unique_ptr<BIO, void (*)(BIO*)> connection(BIO_new_ssl_connect(context.get()),
                                                          BIO_free_all);
    BIO_set_conn_hostname(connection.get(), ("127.0.0.1:" + std::to_string(port)).c_str());
    return BIO_do_connect(connection.get()) == 1;
}

class OldTls : public Trust, public ::testing::WithParamInterface<int>
{
};

TEST_P(OldTls, IsRefusedHoweverLittleIsVerified)
{
    Serve(Always(GoodReply()), Module(), {.newestTls = GetParam()});
    ASSERT_TRUE(HandshakeOfALaxClient(server->Port())) << "the server must offer what is refused";
    ExpectDistrust(2, "the TLS handshake failed");
}

INSTANTIATE_TEST_SUITE_P(Versions, OldTls, ::testing::Values(TLS1_VERSION, TLS1_1_VERSION));

struct UnprovenSuite
{
    const char* name;
    const char* suites;
    std::int32_t tlsVerification;
};

void PrintTo(const UnprovenSuite& row, std::ostream* out)
{
    *out << row.name << "Verifying" << row.tlsVerification;
}

class Unproven : public Trust, public ::testing::WithParamInterface<UnprovenSuite>
{
};

TEST_P(Unproven, ServerGetsNoHandshakeThoughTheHostAllowsIt)
{
    Serve(Always(GoodReply()), Module(),
          {.newestTls = TLS1_2_VERSION, .suites = GetParam().suites});
    ASSERT_TRUE(HandshakeOfALaxClient(server->Port())) << "the server must offer what is refused";
    config.texts["HTTPS_PINNED_KEY"] = Module().Pin();
    ExpectDistrust(GetParam().tlsVerification, "the TLS handshake failed");
}

constexpr const char* kAnonymousEcdh = "AECDH-AES256-SHA:@SECLEVEL=0";
constexpr const char* kAnonymousDh = "ADH-AES256-GCM-SHA384:@SECLEVEL=0";
constexpr const char* kUnencrypted = "ECDHE-ECDSA-NULL-SHA:@SECLEVEL=0";

INSTANTIATE_TEST_SUITE_P(Suites, Unproven,
                         ::testing::Values(UnprovenSuite{"AnonymousEcdh", kAnonymousEcdh, 1},
                                           UnprovenSuite{"AnonymousDh", kAnonymousDh, 1},
                                           UnprovenSuite{"AnonymousDh", kAnonymousDh, 0},
                                           UnprovenSuite{"AnonymousDh", kAnonymousDh, 2},
                                           UnprovenSuite{"Unencrypted", kUnencrypted, 0},
                                           UnprovenSuite{"Unencrypted", kUnencrypted, 1},
                                           UnprovenSuite{"Unencrypted", kUnencrypted, 2}),
                         ::testing::PrintToStringParamName());

TEST_F(Trust, SuitesThatTheHostAllowsAreOfferedUnlessAnonymousOrUnencrypted)
{
    Serve(Always(GoodReply()), Module(), {.newestTls = TLS1_2_VERSION});
    ASSERT_TRUE(HandshakeOfALaxClient(server->Port()));
    server->AwaitHandshakes(1);
    std::vector<std::string> allowed;
    for (const std::string& suite : server->OfferedSuites()) {
        if (suite.find("NULL") == std::string::npos && suite.find("ADH") != 0 &&
            suite.find("AECDH") != 0) {
            allowed.push_back(suite);
        }
    }
    ASSERT_LT(allowed.size(), server->OfferedSuites().size());
    ExpectAnswer();
    EXPECT_EQ(server->OfferedSuites(), allowed);
}

class NewTlsVersion : public Trust, public ::testing::WithParamInterface<int>
{
};

TEST_P(NewTlsVersion, IsSpoken)
{
    Serve(Always(GoodReply()), Module(), {.newestTls = GetParam()});
    ExpectAnswer();
}

INSTANTIATE_TEST_SUITE_P(Versions, NewTlsVersion,
                         ::testing::Values(TLS1_2_VERSION, TLS1_3_VERSION));

}  // namespace
}  // namespace Tulvo::Tests
