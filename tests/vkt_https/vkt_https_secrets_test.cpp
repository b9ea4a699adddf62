// SPDX-License-Identifier: Apache-2.0
// No password and no token is told, whatever a server repeats and whatever goes wrong with them.
// Beside these, ExpectFailure() looks for them after every other failure.
#include "module/vkt/vkt_https/ipmi_codec.h"
#include "tests/vkt_https/session_fixture.h"

namespace Tulvo::Tests {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

struct Echo
{
    const char* name;
    std::int32_t authentication;
    const char* password;
    const char* loginStatus;
    const char* text;    ///< Of the error message, in JSON's spelling.
    const char* secret;  ///< Must not be told.
};

void PrintTo(const Echo& echo, std::ostream* out)
{
    *out << echo.name;
}

class EchoedSecret : public Session, public ::testing::WithParamInterface<Echo>
{
};

TEST_P(EchoedSecret, IsNotTold)
{
    const Echo& echo = GetParam();
    validLogin = 0;
    loginStatus = echo.loginStatus;
    loginBody = refusal = R"({"error":{"message":"who is )" + std::string(echo.text) + R"(?"}})";
    ConnectAs(echo.password, echo.authentication);
    ExpectFailure(VKT_HTTPS_AUTHENTICATION_FAILED, "answered 401");
    EXPECT_THAT(client->LastError(), Not(HasSubstr(echo.secret)));
    EXPECT_THAT(client->LastError(), Not(HasSubstr("who is")));
    ExpectFailure(VKT_HTTPS_AUTHENTICATION_FAILED, "answered 401");
    EXPECT_THAT(client->LastError(), Not(HasSubstr(echo.secret)));
}

constexpr const char* kRefused = "401 Unauthorized";
constexpr const char* kCreated = "201 Created";

INSTANTIATE_TEST_SUITE_P(
    Ways, EchoedSecret,
    ::testing::Values(
        Echo{"Password", 0, kPassword, kRefused, kPassword, kPassword},
        Echo{"BasicHeader", 0, kPassword, kRefused, "Basic b3BlcmF0b3I6VDBwLXMzY3JldA==", "b3Bl"},
        Echo{"LogIn", 1, kPassword, kRefused, R"({\"Password\":\"T0p-s3cret\"})", kPassword},
        // The log-in's body as it was sent: {"Password":"a\"b\\c-s3cret"}.
        Echo{"EscapedLogIn", 1, R"(a"b\c-s3cret)", kRefused,
             R"({\"Password\":\"a\\\"b\\\\c-s3cret\"})", "s3cret"},
        // Each time two sessions are opened, and refused.
        Echo{"TokenOfTheFirstSession", 1, kPassword, kCreated, "token-1 or token-3", "token-"},
        Echo{"TokenOfTheSecondSession", 1, kPassword, kCreated, "token-2 or token-4", "token-"}),
    ::testing::PrintToStringParamName());

TEST_F(Session, MessageWithoutASecretIsTold)
{
    refusal = R"({"error":{"message":"who is operator?"}})";
    ConnectAs(kPassword, 0);
    ExpectFailure(VKT_HTTPS_AUTHENTICATION_FAILED, "(who is operator?)");
}

TEST_F(Session, PasswordThatCannotBeSentIsNotTold)
{
    for (const std::string& end : {std::string("\0x", 2), std::string("\n")}) {
        for (const std::int32_t authentication : {0, 1}) {
            ConnectAs(kPassword + end, authentication);
            ExpectFailure(VKT_HTTPS_INTERNAL_ERROR, "control character");
        }
    }
    ConnectAs(std::string(kPassword) + "\xFF");
    ExpectFailure(VKT_HTTPS_INTERNAL_ERROR, "not UTF-8");
    EXPECT_THAT(server->Requests(), IsEmpty());
}

TEST_F(Session, TokenOfASessionThatIsNotDeletedIsNotTold)
{
    ExpectAnswer();
    deletionStatus = "503 Service Unavailable";
    client.reset();
    locationField = "Location: /redfish/v1/Systems/";
    validLogin = 2;
    ConnectAs(kPassword);
    ExpectAnswer();
    client.reset();
    const Fakes::LogLines warnings = log.Lines(2);
    ASSERT_THAT(warnings, SizeIs(2));
    for (const Fakes::LogLine& warning : warnings) {
        EXPECT_THAT(warning.text, HasSubstr("the session was not deleted"));
        EXPECT_THAT(warning.text, Not(HasSubstr("token-")));
    }
}

TEST_F(Session, PasswordInTheReasonForNoDeletionIsNotTold)
{
    deletionStatus = "503 Service Unavailable";
    deletionBody = R"({"error":{"message":"{\"Password\":\"a\\\"b\\\\c-s3cret\"}"}})";
    ConnectAs(R"(a"b\c-s3cret)");
    ExpectAnswer();
    client.reset();
    const Fakes::LogLines warnings = log.Lines(2);
    ASSERT_THAT(warnings, SizeIs(1));
    EXPECT_THAT(warnings.front().text, HasSubstr("the session was not deleted"));
    EXPECT_THAT(warnings.front().text, Not(HasSubstr("s3cret")));
}

TEST(Secrets, OfABodyThatIsNoAnswerAreNotTold)
{
    for (const char* body : {"T0p-s3cret", R"({"T0p-s3cret":1,"T0p-s3cret":2})",
                             R"({"NetFn":"T0p-s3cret"})", "\"T0p-s3cret"}) {
        Https::IpmiReply reply;
        const auto failure =
            Https::DecodeIpmiReply({0xB0, {}, 0x32}, "application/json", body, reply);
        ASSERT_TRUE(failure);
        EXPECT_THAT(failure->what + failure->detail + failure->advice,
                    Not(HasSubstr("T0p-s3cret")));
    }
}

}  // namespace
}  // namespace Tulvo::Tests
