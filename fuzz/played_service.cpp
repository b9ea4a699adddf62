// SPDX-License-Identifier: Apache-2.0
#include "fuzz/played_service.h"

#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>

#include "common/text/base64.h"
#include "common/text/hexadecimal.h"
#include "common/text/printable.h"
#include "fuzz/require.h"
#include "module/vkt/vkt_https/http_message.h"
#include "module/vkt/vkt_https/ipmi_codec.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

namespace Tulvo::Fuzz {

namespace {

using namespace std::chrono_literals;
using nlohmann::json;

constexpr const char* kHost = "192.0.2.7";
constexpr std::string_view kOrigin = "https://192.0.2.7:443";
constexpr const char* kUser = "monitor";
constexpr const char* kPassword = "T0p-\"s3cret";
constexpr unsigned kMostRequests = 1500;
constexpr unsigned kMostAtOnce = 100;
constexpr std::size_t kBodyPiece = 100;

constexpr long kStatuses[] = {200, 201, 202, 204, 301, 400, 401, 403, 404,
                              405, 408, 413, 429, 500, 501, 503, 504, 999};

constexpr CURLcode kResults[] = {
    CURLE_GOT_NOTHING,       CURLE_RECV_ERROR,
    CURLE_SEND_ERROR,        CURLE_OK,
    CURLE_PARTIAL_FILE,      CURLE_WEIRD_SERVER_REPLY,
    CURLE_OUT_OF_MEMORY,     CURLE_UNSUPPORTED_PROTOCOL,
    CURLE_FILESIZE_EXCEEDED, CURLE_OPERATION_TIMEDOUT,
    CURLE_SSL_CONNECT_ERROR, CURLE_BAD_CONTENT_ENCODING,
};

constexpr int kSystemErrors[] = {ECONNREFUSED, EHOSTUNREACH, ETIMEDOUT, EMFILE, 0};

template <class Table>
auto Chosen(const Table& table, std::uint8_t byte)
{
    return table[byte % std::size(table)];
}

/// A line of the input without its end.
std::string LineOf(Script& script)
{
    std::string line = script.Line();
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    return line;
}

std::string HttpError(std::string_view message)
{
    return json{{"error", {{"code", "Base.1.0"}, {"message", message}}}}.dump(
        -1, ' ', false, json::error_handler_t::replace);
}

std::vector<std::string> InPieces(std::string_view text)
{
    std::vector<std::string> pieces;
    for (; !text.empty(); text.remove_prefix(std::min(kBodyPiece, text.size()))) {
        pieces.emplace_back(text.substr(0, kBodyPiece));
    }
    return pieces;
}

PlayedReply PlainReply(long status, std::string_view body, const std::vector<std::string>& fields)
{
    PlayedReply reply;
    reply.status = status;
    reply.header.push_back("HTTP/1.1 " + std::to_string(status) + " So\r\n");
    for (const std::string& field : fields) {
        reply.header.push_back(field + "\r\n");
    }
    reply.header.emplace_back("\r\n");
    reply.body = InPieces(body);
    return reply;
}

PlayedReply JsonReply(long status, std::string_view body, std::vector<std::string> fields = {})
{
    fields.emplace_back("Content-Type: application/json");
    return PlainReply(status, body, fields);
}

IPMICOMMAND CommandIn(const std::string& body)
{
    const json members = json::parse(body);
    return {members.at("Command"), Text::FromHexPairs(members.at("RequestData").get<std::string>()),
            members.at("NetFn")};
}

std::string Field(const PlayedRequest& request, std::string_view name)
{
    for (const std::string& field : request.fields) {
        if (field.starts_with(name) && field.substr(name.size()).starts_with(": ")) {
            return field.substr(name.size() + 2);
        }
    }
    return "";
}

}  // namespace

HttpsSettings PlayedService::Settings()
{
    return {.host = kHost,
            .user = kUser,
            .password = kPassword,
            .trust = HttpsTrust::kAnybody,
            .trusted = ""};
}

void PlayedService::Begin(const std::string& method, const std::string& url)
{
    Require(url.starts_with(kOrigin), "only the module is asked");
    path_ = url.substr(kOrigin.size());
    isLogOut_ = method == "DELETE";
    isTooLate_ = !isLogOut_ && script_.Stop().stop_requested();
    if (isLogOut_) {
        Require(path_.starts_with(std::string(Https::kSessionsPath) + "/"),
                "only sessions are deleted");
        left_.erase(path_);
    }
}

void PlayedService::RequireTime() const
{
    Require(!isTooLate_, "after a stop only the session is given back");
    const auto until = isLogOut_ ? client_.deletesUntil : client_.asksUntil;
    Require(std::chrono::steady_clock::now() < until, "nothing is sent when the time is over");
}

PlayedConnection PlayedService::Connect()
{
    RequireTime();
    Require(++connections_ < kMostRequests, "connections are not opened again and again");
    connectionsInARow_ =
        connectedAt_ == std::chrono::steady_clock::now() ? connectionsInARow_ + 1 : 1;
    connectedAt_ = std::chrono::steady_clock::now();
    Require(connectionsInARow_ < kMostAtOnce, "connections are not opened in a circle");
    return NewConnection();
}

/// As the input says.
PlayedConnection PlayedService::NewConnection()
{
    PlayedConnection connection;
    connection.takes = answerTime_;
    const std::uint8_t event = script_.Next() % kConnectionEvents;
    if (event == kRefusesConnection) {
        connection.result = CURLE_COULDNT_CONNECT;
        connection.systemError = Chosen(kSystemErrors, script_.Next());
        connection.handshakeBegins = false;
    } else if (event == kFailsHandshake) {
        const std::uint8_t how = script_.Next();
        connection.result = CURLE_SSL_CONNECT_ERROR;
        connection.asksForCertificate = (how & 1U) != 0;
        connection.alert = (how & 2U) != 0;
        connection.handshakeBegins = (how & 4U) == 0;
        connection.detail = (how & 8U) != 0 ? "error:0A000438" : "";
        connection.systemError = (how & 16U) != 0 ? ECONNRESET : 0;
    } else if (event == kShowsCertificate) {
        connection.result = CURLE_PEER_FAILED_VERIFICATION;
        connection.verdict = script_.Next();
        const std::size_t length = script_.Next() * std::size_t{256};
        const Bytes der = script_.Some(length + script_.Next());
        const unsigned char* at = der.data();
        connection.certificate = {d2i_X509(nullptr, &at, static_cast<long>(der.size())), X509_free};
    } else if (event == kIgnoresConnection) {
        connection.takes.reset();
    } else if (event == kBreaksConnection) {
        connection.result = Chosen(kResults, script_.Next());
    }
    return connection;
}

bool PlayedService::TakesRequest()
{
    RequireTime();
    event_ = script_.Next() % kRequestEvents;
    return event_ != kDies;
}

/// User and password go to a module that has not refused them, and when there is leave.
void PlayedService::RequireLeave(const PlayedRequest& request)
{
    const bool logsIn = path_ == Https::kSessionsPath;
    isProof_ = logsIn || !request.password.empty();
    Require(logsIn || request.body.find("s3cret") == std::string::npos,
            "the password is sent to log in");
    Require(!isProof_ || !isRefused_, "what was refused is not sent again");
    Require(!isProof_ || client_.hasLeave() || (!logsIn && isAccepted_),
            "the password leaves when there is leave");
}

PlayedReply PlayedService::Answer(const PlayedRequest& request)
{
    RequireTime();
    Require(++requests_ < kMostRequests, "requests are not sent again and again");
    for (const std::string& field : request.fields) {
        Require(std::all_of(field.begin(), field.end(), Text::IsPrintableAscii),
                "a field stays in its line");
    }
    RequireLeave(request);
    opens_.reset();
    command_.reset();
    if (event_ == kForgets) {
        sessions_.clear();
    }
    PlayedReply reply = Done(Right(request));
    if (reply.takes) {
        *reply.takes += answerTime_;
    }
    status_ = reply.status;
    return reply;
}

PlayedReply PlayedService::Right(const PlayedRequest& request)
{
    if (isLogOut_) {
        return LogOut(request);
    }
    if (path_ == Https::kSessionsPath) {
        return LogIn(request);
    }
    Require(path_ == Https::kIpmiActionPath, "nothing else is asked for");
    return Ipmi(request);
}

PlayedReply PlayedService::LogIn(const PlayedRequest& request)
{
    const json account = json::parse(request.body);
    Require(account.at("UserName") == kUser && account.at("Password") == kPassword,
            "the account is the target's");
    const std::string number = std::to_string(++opened_);
    const std::string path = std::string(Https::kSessionsPath) + "/" + number;
    const std::string token = "t0ken-of-session-" + number + ".";
    sessions_[path] = token;
    opens_.emplace(path, token);
    return JsonReply(201, "{}", {"X-Auth-Token: " + token, "Location: " + path});
}

PlayedReply PlayedService::LogOut(const PlayedRequest& request)
{
    const auto session = sessions_.find(path_);
    if (session == sessions_.end() || session->second != Field(request, "X-Auth-Token")) {
        return JsonReply(401, HttpError("no such session"));
    }
    sessions_.erase(session);
    return PlainReply(204, "", {});
}

PlayedReply PlayedService::Ipmi(const PlayedRequest& request)
{
    command_ = CommandIn(request.body);
    const RequestBytes asked = BytesOf(*command_);
    selects_ = client_.isSelection && asked != BytesOf(Requests::VKTStatus()) &&
               asked != BytesOf(IPMICOMMAND{0x01, {}, 0x06});
    Require(!selects_ || !wasSelected_, "a selection is sent once");
    wasSelected_ = wasSelected_ || selects_;
    const std::string token = Field(request, "X-Auth-Token");
    const bool isKnown =
        token.empty() ? request.user == kUser && request.password == kPassword
                      : std::any_of(sessions_.begin(), sessions_.end(),
                                    [&](const auto& session) { return session.second == token; });
    if (!isKnown) {
        return JsonReply(401, HttpError("log in"));
    }
    const Simulator::Answer answer =
        enclosure_.Serve(command_->netFn, command_->cmd, command_->data).answer;
    return IpmiReply(answer.completionCode, answer.bytes);
}

PlayedReply PlayedService::IpmiReply(std::uint8_t code, const Bytes& data) const
{
    return JsonReply(200, json{{"NetFn", command_->netFn + 1},
                               {"Command", command_->cmd},
                               {"CompletionCode", code},
                               {"ResponseData", Text::ToHexPairs(data)}}
                              .dump());
}

/// What the input says of the right reply.
PlayedReply PlayedService::Done(PlayedReply right)
{
    switch (event_) {
        case kAddsLines:
            right.interim = {"HTTP/1.1 100 Continue\r\n", LineOf(script_) + "\r\n", "\r\n"};
            right.trailers = {LineOf(script_) + "\r\n"};
            return right;
        case kBreaksOff:
            right.arrives = script_.Next() % 16;
            right.result = Chosen(kResults, script_.Next());
            right.closes = true;
            return right;
        case kStaysSilent:
            right.arrives = script_.Next() % 16;
            right.fallsSilent = true;
            return right;
        case kIsLate:
            right.takes = script_.Next() * 50ms;
            return right;
        case kHangsUp:
            right.closes = true;
            return right;
        case kAnswersWell:
        case kForgets:
        case kDies:
            return right;
        default:
            opens_.reset();
            return Instead();
    }
}

PlayedReply PlayedService::Instead()
{
    switch (event_) {
        case kAnswersStatus: {
            const long status = AnyStatus();
            return JsonReply(status, HttpError(LineOf(script_)));
        }
        case kIsBusy:
            return JsonReply(503, "", {"Retry-After: " + LineOf(script_)});
        case kEchoes: {
            const long status = AnyStatus();
            const std::vector<std::string> secrets = Secrets();
            const std::string& secret = secrets[script_.Next() % secrets.size()];
            return JsonReply(status, HttpError("you sent " + secret));
        }
        case kSendsAnything:
            return AnyReply();
        default:
            return command_ ? OtherAnswer() : JsonReply(500, HttpError("out of order"));
    }
}

/// With completion code or bytes that the input says.
PlayedReply PlayedService::OtherAnswer()
{
    const std::uint8_t code = event_ == kCutsAnswer ? std::uint8_t{0} : script_.Next();
    const std::size_t length = event_ == kAnswersCode ? 0 : script_.Next() % 64U;
    if (event_ != kCutsAnswer) {
        return IpmiReply(code, script_.Some(length));
    }
    Simulator::Answer answer =
        enclosure_.Serve(command_->netFn, command_->cmd, command_->data).answer;
    answer.bytes.resize(std::min(length, answer.bytes.size()));
    return IpmiReply(answer.completionCode, answer.bytes);
}

long PlayedService::AnyStatus()
{
    const std::uint8_t byte = script_.Next();
    return byte < 0x80 ? Chosen(kStatuses, byte) : 200 + 3 * (byte - 0x80);
}

PlayedReply PlayedService::AnyReply()
{
    constexpr std::size_t kMostLines = 20;
    const long status = AnyStatus();
    std::vector<std::string> fields;
    for (std::string line = LineOf(script_); !line.empty() && fields.size() < kMostLines;
         line = LineOf(script_)) {
        fields.push_back(line);
    }
    const Bytes body = script_.Some(script_.Next() * std::size_t{4});
    return PlainReply(status, {reinterpret_cast<const char*>(body.data()), body.size()}, fields);
}

/// Of those that the client has sent, if it has sent any.
std::vector<std::string> PlayedService::Secrets() const
{
    static const std::string kInJson = json(kPassword).dump();
    static const std::string kInBasic = Text::ToBase64(std::string(kUser) + ":" + kPassword);
    std::vector<std::string> secrets{kPassword, kInJson.substr(1, kInJson.size() - 2)};
    if (tokens_.empty()) {
        secrets.push_back(kInBasic);
    }
    const std::size_t tokens = std::min<std::size_t>(tokens_.size(), left_.empty() ? 1 : 2);
    secrets.insert(secrets.end(), tokens_.end() - static_cast<std::ptrdiff_t>(tokens),
                   tokens_.end());
    return secrets;
}

void PlayedService::HeaderArrived()
{
    const bool logsIn = path_ == Https::kSessionsPath;
    if (isProof_ && (status_ == 401 || (logsIn && status_ == 403))) {
        isRefused_ = true;
    } else if (isProof_) {
        isAccepted_ = true;
    }
    if (opens_) {
        left_.insert(opens_->first);
        tokens_.push_back(opens_->second);
    }
    if (selects_ && (status_ == 503 || status_ == 429)) {
        wasSelected_ = false;
    }
}

void PlayedService::ReplyArrived(const std::string& body)
{
    Https::IpmiReply reply;
    const bool isAnswer = command_ && status_ == Https::kOk &&
                          !DecodeIpmiReply(*command_, "application/json", body, reply);
    if (isAnswer && reply.completionCode == 0) {
        answers_[BytesOf(*command_)] = reply.data;
    } else if (isAnswer && selects_) {
        wasSelected_ = false;
    }
}

void PlayedService::RequireNoSecret(const std::string& text) const
{
    for (const std::string& secret : Secrets()) {
        Require(text.find(secret) == std::string::npos, "no text holds a secret");
    }
}

}  // namespace Tulvo::Fuzz
