// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_https/https_fixture.h"

namespace Tulvo::Tests {
namespace {

const std::vector<std::uint8_t> kUntouchedResponse = {0xDE, 0xAD};
constexpr std::uint8_t kUntouchedCode = 0x5A;

}  // namespace

std::string Reply(const std::string& statusLine, const std::string& body,
                  const std::string& moreFields)
{
    return "HTTP/1.1 " + statusLine + "\r\nContent-Type: application/json\r\n" + moreFields +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string GoodReply()
{
    return Reply("200 OK", kGoodBody);
}

TlsServer::Play Always(const std::string& reply)
{
    return [reply](Peer& peer) {
        for (bool open = peer.Handshake(); open;) {
            open = peer.Read() && peer.Send(reply);
        }
    };
}

TlsServer::Play Once(const std::string& bytes)
{
    return [bytes](Peer& peer) {
        if (peer.Handshake() && peer.Read()) {
            peer.Send(bytes);
            peer.Close();
        }
    };
}

HttpsTest::HttpsTest()
{
    config.texts["HTTPS_CA_FILE"] = authorityFile.Path();
}

const Identity& HttpsTest::Authority()
{
    static const Identity authority = MakeIdentity({.isAuthority = true});
    return authority;
}

const Identity& HttpsTest::Module()
{
    static const Identity module = MakeIdentity({}, &Authority());
    return module;
}

void HttpsTest::Serve(TlsServer::Play play, const Identity& identity, const ServerKind& kind)
{
    server = std::make_unique<TlsServer>(identity, std::move(play), kind);
}

TulvoConnection::ConnectionInfo HttpsTest::Record() const
{
    TulvoConnection::ConnectionInfo record;
    record.address = "127.0.0.1";
    record.port = server ? server->Port() : 1;
    record.userName = kUser;
    record.password = kPassword;
    record.connectionType = 9;
    return record;
}

void HttpsTest::Connect(const TulvoConnection::ConnectionInfo& record)
{
    client = std::make_unique<VKTHttps>(record);
}

VKTHttpsErrorCode HttpsTest::Ask()
{
    if (!client) {
        Connect(Record());
    }
    response = kUntouchedResponse;
    completionCode = kUntouchedCode;
    return client->SendIpmiCmdOverHttps(request, response, completionCode);
}

void HttpsTest::ExpectAnswer()
{
    EXPECT_EQ(Ask(), VKT_HTTPS_SUCCESS) << client->LastError();
    EXPECT_EQ(response, (std::vector<std::uint8_t>{0x37, 0x58, 0x32, 0x5A}));
    EXPECT_EQ(completionCode, 0);
    EXPECT_EQ(client->LastError(), "");
    ExpectNoSecretTold();
}

void HttpsTest::ExpectFailure(VKTHttpsErrorCode code, const std::string& fragment)
{
    log.Clear();
    EXPECT_EQ(Ask(), code);
    EXPECT_EQ(response, kUntouchedResponse);
    EXPECT_EQ(completionCode, kUntouchedCode);
    const Fakes::LogLines errors = log.Lines(1);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_THAT(errors[0].text, ::testing::HasSubstr(fragment));
    EXPECT_THAT(errors[0].text, ::testing::HasSubstr(client->LastError()));
    EXPECT_THAT(client->LastError(), ::testing::HasSubstr(fragment));
    EXPECT_EQ(client->LastError().find('\n'), std::string::npos);
    ExpectNoSecretTold();
}

void HttpsTest::ExpectNoSecretTold()
{
    std::string told = client->LastError();
    for (const Fakes::LogLine& line : log.Lines()) {
        told += line.text;
    }
    for (const char* secret : {kPassword, "b3BlcmF0b3I6VDBwLXMzY3JldA==", "token-"}) {
        EXPECT_EQ(told.find(secret), std::string::npos) << told;
    }
}

}  // namespace Tulvo::Tests
