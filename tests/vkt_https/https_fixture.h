// SPDX-License-Identifier: Apache-2.0
/// @file
/// What every test of the HTTPS transport needs: a trusted authority, a module behind it, a client.
#ifndef TESTS_VKT_HTTPS_HTTPS_FIXTURE_H
#define TESTS_VKT_HTTPS_HTTPS_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/connection/connection_info.h"
#include "module/vkt/vkt_https/vkt_https.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/vkt_https/certificates.h"
#include "tests/vkt_https/tls_server.h"

namespace Tulvo::Tests {

inline constexpr const char* kUser = "operator";
inline constexpr const char* kPassword = "T0p-s3cret";

/// The answer to kRequest that carries the bytes of "7X2Z".
inline constexpr const char* kGoodBody =
    R"({"NetFn": 51, "Command": 176, "CompletionCode": 0, "ResponseData": "3758325a"})";

/// A reply with a Content-Length and a JSON content type.
std::string Reply(const std::string& statusLine, const std::string& body,
                  const std::string& moreFields = "");
std::string GoodReply();

/// Answers every request of a connection with `reply`.
TlsServer::Play Always(const std::string& reply);
/// Reads one request, then sends `bytes` and ends the connection properly.
TlsServer::Play Once(const std::string& bytes);

class HttpsTest : public ::testing::Test
{
protected:
    HttpsTest();

    /// Trusted by the client, unless a test changes `config`.
    static const Identity& Authority();
    static const Identity& Module();

    void Serve(TlsServer::Play play, const Identity& identity = Module(),
               const ServerKind& kind = {});
    TulvoConnection::ConnectionInfo Record() const;
    /// A client of the server, made anew from `record`.
    void Connect(const TulvoConnection::ConnectionInfo& record);
    /// Sends kRequest; the outputs start with the values that no server sends.
    VKTHttpsErrorCode Ask();

    void ExpectAnswer();
    /// The request failed with `code`, left the outputs alone, told one record that holds
    /// `fragment`, and LastError() says the same.
    void ExpectFailure(VKTHttpsErrorCode code, const std::string& fragment);
    /// No log record and no LastError() holds a secret.
    void ExpectNoSecretTold();

    const IPMICOMMAND request{0xB0, {0x05, 0x00}, 0x32};
    Fakes::FakeLog log;
    Fakes::FakeConfig config;
    TemporaryFile authorityFile{Authority().Pem()};
    std::unique_ptr<TlsServer> server;
    std::unique_ptr<VKTHttps> client;
    std::vector<std::uint8_t> response;
    std::uint8_t completionCode = 0;
};

}  // namespace Tulvo::Tests

#endif
