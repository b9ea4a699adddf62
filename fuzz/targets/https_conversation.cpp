// SPDX-License-Identifier: Apache-2.0
#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/log/log.h"
#include "common/text/base64.h"
#include "common/text/hexadecimal.h"
#include "common/text/printable.h"
#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/played_clock.h"
#include "fuzz/played_curl.h"
#include "fuzz/require.h"
#include "fuzz/targets/read_promises.h"
#include "fuzz/targets/targets.h"
#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "module/vkt/vkt_https/http_message.h"
#include "module/vkt/vkt_https/https_transport.h"
#include "module/vkt/vkt_https/ipmi_codec.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

namespace Tulvo::Fuzz {

namespace HttpsPlay {

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using std::chrono::milliseconds;
using Time = PlayedClock::Time;

constexpr auto kDeadline = 30s;
constexpr auto kForLogOut = 1s;
constexpr auto kRounding = 2ms;  // libcurl waits for whole milliseconds
constexpr std::string_view kOrigin = "https://192.0.2.7:443";
constexpr const char* kUser = "monitor";
constexpr const char* kPassword = "T0p-\"s3cret";
constexpr unsigned kMostRequests = 1500;
constexpr unsigned kMostAtOnce = 100;
constexpr std::uint8_t kSelection = 0x80;
constexpr std::size_t kPiece = 100;

/// Bits of the input's byte for what is asked.
enum How : std::uint8_t
{
    kBasic = 1,
    kThroughGate = 2,
    kFirstAnswerInTime = 4,
};

/// What the server does with a request.
enum Deed : std::uint8_t
{
    kAnswersWell,
    kAnswersCode,      ///< And the completion code.
    kAnswersAnything,  ///< And completion code, length, bytes.
    kCutsAnswer,       ///< And how many bytes are left of it.
    kAnswersStatus,    ///< And the status, and a line for its body.
    kIsBusy,           ///< And a line that says how long.
    kEchoes,           ///< And which secret.
    kSendsAnything,    ///< And the status, header lines, an empty line, length and bytes.
    kAddsLines,        ///< And a line of an interim reply, and one of a trailer.
    kBreaksOff,        ///< And what of the reply has arrived by then, and the result.
    kStaysSilent,      ///< And what of the reply has arrived by then.
    kIsLate,           ///< And how late.
    kHangsUp,          ///< After its answer.
    kForgets,          ///< All sessions.
    kDies,             ///< Before the request is there.
    kDeeds,
};

/// What comes of a connection; what is none of these is a good one.
enum Meeting : std::uint8_t
{
    kMeets,
    kIsRefused,   ///< And the system's error.
    kFails,       ///< And how.
    kIsMistaken,  ///< And the verdict, two bytes of length, the certificate.
    kIsIgnored,
    kIsBroken,  ///< And the result.
    kMeetings = 12,
};

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

/// The input, as what all who take part do next.
class Script
{
public:
    explicit Script(InputReader& reader) : reader_(reader) {}

    std::uint8_t Next() { return NextInstruction(reader_, stop_); }

    std::string Line()
    {
        std::string line = reader_.Line();
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
            line.pop_back();
        }
        return line;
    }

    InputReader& Input() { return reader_; }
    std::stop_token Stop() const { return stop_.get_token(); }

private:
    InputReader& reader_;
    std::stop_source stop_;
};

class PlayedPace final : public Enclosures::Pace
{
public:
    Time Now() override { return std::chrono::steady_clock::now(); }
    void WaitUntil(Time until, const std::stop_token& stop) override
    {
        if (!stop.stop_requested()) {
            PlayedClock::MoveTo(until);
        }
    }
    Span PartOf(Span span) override { return span; }
};

class PlayedGate final : public LogInGate
{
public:
    explicit PlayedGate(Script& script) : script_(script) {}

    std::optional<Failure> Closed() override
    {
        return script_.Next() == 1 ? Told(Cause::kRefused) : std::nullopt;
    }

    std::optional<Failure> Enter(Time until, const std::stop_token& stop) override
    {
        Require(!isInside, "a log-in enters once");
        const std::uint8_t byte = script_.Next();
        if (byte == 1) {
            return Told(Cause::kRefused);
        }
        if (byte == 2 && !stop.stop_requested()) {
            PlayedClock::MoveTo(until);
            return Told(Cause::kTimedOut);
        }
        isInside = true;
        return std::nullopt;
    }

    void Leave(End /*end*/) override { Require(std::exchange(isInside, false), "it leaves once"); }

    bool isInside = false;

private:
    static std::optional<Failure> Told(Cause cause)
    {
        return Failure{cause, "the gate says so", "", {}};
    }

    Script& script_;
};

std::string HttpError(std::string_view message)
{
    return json{{"error", {{"code", "Base.1.0"}, {"message", message}}}}.dump(
        -1, ' ', false, json::error_handler_t::replace);
}

std::vector<std::string> InPieces(std::string_view text)
{
    std::vector<std::string> pieces;
    for (; !text.empty(); text.remove_prefix(std::min(kPiece, text.size()))) {
        pieces.emplace_back(text.substr(0, kPiece));
    }
    return pieces;
}

PlayedReply HttpReply(long status, std::string_view body, const std::vector<std::string>& fields)
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
    return HttpReply(status, body, fields);
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

/// The module's web service, to which the input says when to be another one.
class Service final : public PlayedServer
{
public:
    Service(Script& script, const Simulator::Scenario& scenario, const PlayedGate* gate,
            bool isSelection, milliseconds answerTime)
        : script_(script),
          enclosure_(scenario.enclosure, scenario.faults),
          gate_(gate),
          isSelection_(isSelection),
          answerTime_(answerTime),
          asksUntil_(std::chrono::steady_clock::now() + kDeadline - kForLogOut)
    {
    }

    void Begin(const std::string& method, const std::string& url) override;
    PlayedConnection Connect() override;
    bool TakesRequest() override;
    PlayedReply Answer(const PlayedRequest& request) override;
    void HeaderArrived() override;
    void ReplyArrived(const std::string& body) override;

    /// The module's own answers to requests that it can be asked.
    GoodAnswers answers;
    std::set<std::string> left;  ///< Paths of sessions that the client knows and has not deleted.

    /// What no text may hold: the password, and the tokens of the session and of that before it.
    std::vector<std::string> Secrets() const;

private:
    void RequireTime() const;
    void RequireLeave(const PlayedRequest& request);
    PlayedReply Right(const PlayedRequest& request);
    PlayedReply LogIn(const PlayedRequest& request);
    PlayedReply LogOut(const PlayedRequest& request);
    PlayedReply Ipmi(const PlayedRequest& request);
    PlayedReply Done(PlayedReply right);
    PlayedReply Instead();
    PlayedReply IpmiReply(std::uint8_t code, const Bytes& data) const;
    PlayedReply AnyReply();
    long AnyStatus();
    std::string Secret();

    Script& script_;
    Simulator::FaultyEnclosure enclosure_;
    const PlayedGate* gate_;  ///< Null for none.
    bool isSelection_;        ///< What the conversation is for.
    milliseconds answerTime_;
    Time asksUntil_;
    std::map<std::string, std::string> sessions_;  ///< That are open: tokens by path.
    unsigned opened_ = 0;                          ///< Sessions.
    std::vector<std::string> tokens_;              ///< That the client was told.
    bool isRefused_ = false;                       ///< User and password were.
    bool isAccepted_ = false;                      ///< Likewise.
    bool wasSelected_ = false;                     ///< Or may have been.
    unsigned connections_ = 0;
    unsigned connectionsInARow_ = 0;  ///< Without any time between them.
    Time connectedAt_{};
    unsigned requests_ = 0;

    // Of the present request.
    std::string path_;
    bool isLogOut_ = false;
    bool isTooLate_ = false;
    bool isProof_ = false;  ///< It carries the password.
    std::optional<IPMICOMMAND> command_;
    bool selects_ = false;
    std::uint8_t deed_ = 0;
    /// Path and token of the session that its reply tells.
    std::optional<std::pair<std::string, std::string>> opens_;
    long status_ = 0;
};

void Service::Begin(const std::string& method, const std::string& url)
{
    Require(url.starts_with(kOrigin), "only the module is asked");
    path_ = url.substr(kOrigin.size());
    isLogOut_ = method == "DELETE";
    isTooLate_ = !isLogOut_ && script_.Stop().stop_requested();
    if (isLogOut_) {
        Require(path_.starts_with(std::string(Https::kSessionsPath) + "/"),
                "only sessions are deleted");
        left.erase(path_);
    }
}

void Service::RequireTime() const
{
    Require(!isTooLate_, "after a stop only the session is given back");
    Require(std::chrono::steady_clock::now() < asksUntil_ + (isLogOut_ ? kForLogOut : 0s),
            "nothing is sent when the time is over");
}

PlayedConnection Service::Connect()
{
    RequireTime();
    Require(++connections_ < kMostRequests, "connections are not opened again and again");
    connectionsInARow_ =
        connectedAt_ == std::chrono::steady_clock::now() ? connectionsInARow_ + 1 : 1;
    connectedAt_ = std::chrono::steady_clock::now();
    Require(connectionsInARow_ < kMostAtOnce, "connections are not opened in a circle");
    PlayedConnection connection;
    connection.takes = answerTime_;
    const std::uint8_t meeting = script_.Next() % kMeetings;
    if (meeting == kIsRefused) {
        connection.result = CURLE_COULDNT_CONNECT;
        connection.systemError = Chosen(kSystemErrors, script_.Next());
        connection.handshakeBegins = false;
    } else if (meeting == kFails) {
        const std::uint8_t how = script_.Next();
        connection.result = CURLE_SSL_CONNECT_ERROR;
        connection.asksForCertificate = (how & 1U) != 0;
        connection.alert = (how & 2U) != 0;
        connection.handshakeBegins = (how & 4U) == 0;
        connection.detail = (how & 8U) != 0 ? "error:0A000438" : "";
        connection.systemError = (how & 16U) != 0 ? ECONNRESET : 0;
    } else if (meeting == kIsMistaken) {
        connection.result = CURLE_PEER_FAILED_VERIFICATION;
        connection.verdict = script_.Next();
        const std::size_t length = script_.Next() * std::size_t{256};
        const Bytes der = script_.Input().Some(length + script_.Next());
        const unsigned char* at = der.data();
        connection.certificate = {d2i_X509(nullptr, &at, static_cast<long>(der.size())), X509_free};
    } else if (meeting == kIsIgnored) {
        connection.takes.reset();
    } else if (meeting == kIsBroken) {
        connection.result = Chosen(kResults, script_.Next());
    }
    return connection;
}

bool Service::TakesRequest()
{
    RequireTime();
    deed_ = script_.Next() % kDeeds;
    return deed_ != kDies;
}

/// User and password go to a module that has not refused them, and when there is leave.
void Service::RequireLeave(const PlayedRequest& request)
{
    const bool logsIn = path_ == Https::kSessionsPath;
    isProof_ = logsIn || !request.password.empty();
    Require(logsIn || request.body.find("s3cret") == std::string::npos,
            "the password is sent to log in");
    Require(!isProof_ || !isRefused_, "what was refused is not sent again");
    Require(!isProof_ || gate_ == nullptr || gate_->isInside || (!logsIn && isAccepted_),
            "the password leaves when there is leave");
}

PlayedReply Service::Answer(const PlayedRequest& request)
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
    if (deed_ == kForgets) {
        sessions_.clear();
    }
    PlayedReply reply = Done(Right(request));
    if (reply.takes) {
        *reply.takes += answerTime_;
    }
    status_ = reply.status;
    return reply;
}

PlayedReply Service::Right(const PlayedRequest& request)
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

PlayedReply Service::LogIn(const PlayedRequest& request)
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

PlayedReply Service::LogOut(const PlayedRequest& request)
{
    const auto session = sessions_.find(path_);
    if (session == sessions_.end() || session->second != Field(request, "X-Auth-Token")) {
        return JsonReply(401, HttpError("no such session"));
    }
    sessions_.erase(session);
    return HttpReply(204, "", {});
}

PlayedReply Service::Ipmi(const PlayedRequest& request)
{
    command_ = CommandIn(request.body);
    const RequestBytes asked = BytesOf(*command_);
    selects_ = isSelection_ && asked != BytesOf(Requests::VKTStatus()) &&
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

PlayedReply Service::IpmiReply(std::uint8_t code, const Bytes& data) const
{
    return JsonReply(200, json{{"NetFn", command_->netFn + 1},
                               {"Command", command_->cmd},
                               {"CompletionCode", code},
                               {"ResponseData", Text::ToHexPairs(data)}}
                              .dump());
}

/// What the input says of the right reply.
PlayedReply Service::Done(PlayedReply right)
{
    switch (deed_) {
        case kAddsLines:
            right.interim = {"HTTP/1.1 100 Continue\r\n", script_.Line() + "\r\n", "\r\n"};
            right.trailers = {script_.Line() + "\r\n"};
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

PlayedReply Service::Instead()
{
    switch (deed_) {
        case kAnswersStatus: {
            const long status = AnyStatus();
            return JsonReply(status, HttpError(script_.Line()));
        }
        case kIsBusy:
            return JsonReply(503, "", {"Retry-After: " + script_.Line()});
        case kEchoes: {
            const long status = AnyStatus();
            return JsonReply(status, HttpError("you sent " + Secret()));
        }
        case kSendsAnything:
            return AnyReply();
        default:
            break;
    }
    if (!command_) {
        return JsonReply(500, HttpError("out of order"));
    }
    const std::uint8_t code = deed_ == kCutsAnswer ? std::uint8_t{0} : script_.Next();
    const std::size_t length = deed_ == kAnswersCode ? 0 : script_.Next() % 64U;
    if (deed_ == kCutsAnswer) {
        const Simulator::Answer answer =
            enclosure_.Serve(command_->netFn, command_->cmd, command_->data).answer;
        return IpmiReply(answer.completionCode,
                         {answer.bytes.begin(),
                          answer.bytes.begin() +
                              static_cast<std::ptrdiff_t>(std::min(length, answer.bytes.size()))});
    }
    return IpmiReply(code, script_.Input().Some(length));
}

long Service::AnyStatus()
{
    const std::uint8_t byte = script_.Next();
    return byte < 0x80 ? Chosen(kStatuses, byte) : 200 + 3 * (byte - 0x80);
}

PlayedReply Service::AnyReply()
{
    constexpr std::size_t kMostLines = 20;
    const long status = AnyStatus();
    std::vector<std::string> fields;
    for (std::string line = script_.Line(); !line.empty() && fields.size() < kMostLines;
         line = script_.Line()) {
        fields.push_back(line);
    }
    const Bytes body = script_.Input().Some(script_.Next() * std::size_t{4});
    return HttpReply(status, {reinterpret_cast<const char*>(body.data()), body.size()}, fields);
}

/// One of those that the client has sent, if it has sent any.
std::string Service::Secret()
{
    const std::vector<std::string> secrets = Secrets();
    return secrets[script_.Next() % secrets.size()];
}

std::vector<std::string> Service::Secrets() const
{
    static const std::string kInJson = json(kPassword).dump();
    static const std::string kInBasic = Text::ToBase64(std::string(kUser) + ":" + kPassword);
    std::vector<std::string> secrets{kPassword, kInJson.substr(1, kInJson.size() - 2)};
    if (tokens_.empty()) {
        secrets.push_back(kInBasic);
    }
    const std::size_t tokens = std::min<std::size_t>(tokens_.size(), left.empty() ? 1 : 2);
    secrets.insert(secrets.end(), tokens_.end() - static_cast<std::ptrdiff_t>(tokens),
                   tokens_.end());
    return secrets;
}

void Service::HeaderArrived()
{
    const bool logsIn = path_ == Https::kSessionsPath;
    if (isProof_ && (status_ == 401 || (logsIn && status_ == 403))) {
        isRefused_ = true;
    } else if (isProof_) {
        isAccepted_ = true;
    }
    if (opens_) {
        left.insert(opens_->first);
        tokens_.push_back(opens_->second);
    }
    if (selects_ && (status_ == 503 || status_ == 429)) {
        wasSelected_ = false;
    }
}

void Service::ReplyArrived(const std::string& body)
{
    Https::IpmiReply reply;
    const bool isAnswer = command_ && status_ == Https::kOk &&
                          !DecodeIpmiReply(*command_, "application/json", body, reply);
    if (isAnswer && reply.completionCode == 0) {
        answers[BytesOf(*command_)] = reply.data;
    } else if (isAnswer && selects_) {
        wasSelected_ = false;
    }
}

void RequireNoSecret(const std::string& text, const Service& service)
{
    for (const std::string& secret : service.Secrets()) {
        Require(text.find(secret) == std::string::npos, "no text holds a secret");
    }
}

/// Has every record checked, at the highest level.
class CheckedLog
{
public:
    explicit CheckedLog(const Service& service) : level_(GetLogLevel())
    {
        SetLogLevel(4);
        SetLogSink([&service](const LogRecord& record) { RequireNoSecret(record.text, service); });
    }
    ~CheckedLog()
    {
        SetLogSink([](const LogRecord&) {});
        SetLogLevel(level_);
    }
    CheckedLog(const CheckedLog&) = delete;
    CheckedLog& operator=(const CheckedLog&) = delete;

private:
    int level_;
};

void RequireGoodWords(const Failure& failure, const Service& service)
{
    constexpr std::size_t kMost = 1000;
    for (const std::string& text : {failure.message, failure.advice}) {
        Require(
            text.size() < kMost && std::all_of(text.begin(), text.end(), Text::IsPrintableAscii),
            "a failure is told in one printable line");
        RequireNoSecret(text, service);
    }
    Require(!failure.message.empty(), "a failure says what came back");
}

/// A certificate as a module shows it.
Bytes Certificate()
{
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"),
                                                                  EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
    X509_set_version(certificate.get(), X509_VERSION_3);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 1);
    X509_set_pubkey(certificate.get(), key.get());
    const auto* const name = reinterpret_cast<const unsigned char*>("module");
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC, name,
                               -1, -1, 0);
    X509_EXTENSION* const names =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name,
                            "DNS:enc017,DNS:enc017.example,IP:192.0.2.9,IP:2001:db8::9");
    X509_add_ext(certificate.get(), names, -1);
    X509_EXTENSION_free(names);
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    unsigned char* der = nullptr;
    const int size = i2d_X509(certificate.get(), &der);
    Bytes bytes(der, der + size);
    OPENSSL_free(der);
    return bytes;
}

HttpsSettings Settings(bool isBasic)
{
    return {.host = "192.0.2.7",
            .user = kUser,
            .password = kPassword,
            .trust = HttpsTrust::kAnybody,
            .trusted = "",
            .basicAuthentication = isBasic};
}

void ReadAndRequire(IpmiTransport& transport, const Enclosures::Scope& scope,
                    const Enclosures::Limits& limits, const Service& service)
{
    PlayedPace pace;
    const auto record = ReadOver(transport, pace, scope, limits);
    RequireHonestRecord(record, service.answers);
    for (const auto& missing : NotRead(record)) {
        RequireGoodWords(missing.failure, service);
    }
    if (record.error) {
        RequireGoodWords(*record.error, service);
    }
}

void SelectAndRequire(IpmiTransport& transport, std::uint8_t number,
                      const Enclosures::Limits& limits, const Service& service)
{
    PlayedPace pace;
    const auto selected = SelectOver(transport, pace, number, limits);
    if (selected.failure) {
        RequireGoodWords(*selected.failure, service);
    } else {
        Require(service.answers.size() >= 2, "what was not answered is not selected");
    }
}

}  // namespace

}  // namespace HttpsPlay

void RunHttpsConversation(Input input)
{
    using namespace HttpsPlay;
    InputReader reader(input);
    Script script(reader);
    const Simulator::Scenario& scenario = Scenarios()[reader.Byte() % Scenarios().size()];
    const std::uint8_t object = reader.Byte();
    const auto sections = static_cast<Enclosures::Sections>(reader.Byte());
    const std::uint8_t how = reader.Byte();
    const milliseconds answerTime = 20ms * reader.Byte();

    const PlayedClock clock;
    PlayedGate gate(script);
    const bool isGated = (how & kThroughGate) != 0;
    const bool isSelection = (object & kSelection) != 0;
    Service service(script, scenario, isGated ? &gate : nullptr, isSelection, answerTime);
    const PlayedCurl curl(service);
    const CheckedLog log(service);
    const auto transport = MakeHttpsTransport(Settings((how & kBasic) != 0));
    const Enclosures::Limits limits{.deadline = kDeadline,
                                    .stop = script.Stop(),
                                    .firstAnswer = (how & kFirstAnswerInTime) != 0 ? 2s : 0s,
                                    .gate = isGated ? &gate : nullptr};
    const Time begin = std::chrono::steady_clock::now();
    if (isSelection) {
        SelectAndRequire(*transport, static_cast<std::uint8_t>(object & ~kSelection), limits,
                         service);
    } else {
        ReadAndRequire(*transport, {sections, object}, limits, service);
    }
    Require(service.left.empty(), "the session is given back");
    Require(!gate.isInside, "the log-in has left the gate");
    Require(std::chrono::steady_clock::now() <= begin + kDeadline + kRounding,
            "a conversation ends in time");
}

// The input is a byte for the scenario; one for the only node that is read, 0 for all, or 0x80 and
// the supply that is selected; the sections; bits of How; how many times 20 ms connections and
// replies take. Then, in the order of events, a byte for every connection, request and question to
// the gate, as Meeting, Deed and PlayedGate have them, and what belongs to it.
std::vector<Bytes> HttpsConversationSeeds()
{
    using namespace HttpsPlay;
    std::vector<Bytes> seeds;
    const auto add = [&seeds](const Bytes& begin, const Bytes& then) {
        seeds.push_back(begin + then);
    };
    for (std::size_t at = 0; at < Scenarios().size(); ++at) {
        const auto scenario = static_cast<std::uint8_t>(at);
        add({scenario, 0, 0xFF, 0, 0}, {});
        add({scenario, 0x81, 0, kBasic, 0}, {});
    }
    const Bytes all{0, 0, 0xFF, 0, 1};
    const Bytes basic{0, 0, 0xFF, kBasic, 1};
    const Bytes goodLogIn{kMeets, kAnswersWell};
    for (std::uint8_t deed = kAnswersCode; deed < kDeeds; ++deed) {
        const Bytes event = Bytes{deed, 0xC0, 3} + AsBytes("12\n\n");
        add(all, Bytes{kMeets} + event);
        add(all, goodLogIn + event + event);
        add(all, goodLogIn + Bytes{kAnswersWell, kAnswersWell} + event);
        add(basic, Bytes{kMeets, kAnswersWell} + event);
        add({0, 0x81, 0, 0, 1}, goodLogIn + Bytes{kAnswersWell} + event);
    }
    for (std::uint8_t meeting = kIsRefused; meeting <= kIsBroken; ++meeting) {
        add(all, {meeting, 0xFF});
        add({0, 0, 0xFF, kThroughGate | kFirstAnswerInTime, 1}, {0, meeting, 0});
        add(all, goodLogIn + Bytes{kHangsUp, meeting, 0});
    }
    const Bytes certificate = Certificate();
    for (const std::uint8_t verdict : Bytes{X509_V_OK, X509_V_ERR_CERT_HAS_EXPIRED}) {
        add(all, Bytes{kIsMistaken, verdict, static_cast<std::uint8_t>(certificate.size() / 256),
                       static_cast<std::uint8_t>(certificate.size())} +
                     certificate);
    }
    for (std::uint8_t byte = 0; byte < 3; ++byte) {
        add({0, 0, 0xFF, kThroughGate, 1}, {0, kMeets, byte, kAnswersStatus, 6});
        add({0, 0, 0xFF, kThroughGate | kBasic, 1}, {0, kMeets, byte, kAnswersStatus, 6});
    }
    add(all, goodLogIn + Bytes{kForgets, kAnswersWell, kForgets, kStopNow, kAnswersWell});
    add(all, Bytes{kMeets, kIsLate, 0xFF});
    add(all, goodLogIn + Bytes{kSendsAnything, 0} +
                 AsBytes("Content-Type: application/json;charset=utf-8\n\n\x17{\"NetFn\": 51, "
                         "\"Command\": 168, \"CompletionCode\": 0, \"ResponseData\": \"fc00\"}"));
    add(all, Bytes{kMeets, kSendsAnything, 1} +
                 AsBytes("x-auth-token: abc\nlocation: https://192.0.2.7/redfish/v1/SessionService/"
                         "Sessions/9\n\n\x01{}"));
    return seeds;
}

}  // namespace Tulvo::Fuzz
