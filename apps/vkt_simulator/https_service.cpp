// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/https_service.h"

#include <strings.h>

#include <csignal>

#include "apps/vkt_simulator/json_members.h"
#include "apps/vkt_simulator/redfish_error.h"
#include "common/text/base64.h"
#include "common/text/hexadecimal.h"

namespace Tulvo::Simulator {

namespace {

constexpr int kAdministrator = 4;
constexpr std::string_view kBasic = "Basic ";
constexpr const char* kGarbage = "<html><body>It works!</body></html>";

struct RawRequest
{
    std::uint8_t netFn;
    std::uint8_t command;
    std::vector<std::uint8_t> data;
};

bool StartsWithIgnoringCase(const std::string& text, std::string_view start)
{
    return strncasecmp(text.c_str(), start.data(), start.size()) == 0;
}

std::string BasicOf(const Credentials& credentials)
{
    return Text::ToBase64(credentials.user + ':' + credentials.password);
}

HttpsReply FaultyReply(const HttpsFault& fault)
{
    if (fault.kind == HttpsFaultKind::kStatus) {
        return RedfishError(fault.status, "the scenario has this service fail");
    }
    HttpsReply reply;
    reply.closed = fault.kind == HttpsFaultKind::kClose;
    reply.body = kGarbage;
    return reply;
}

bool IsJson(const std::string& contentType)
{
    constexpr std::string_view kType = "application/json";
    return StartsWithIgnoringCase(contentType, kType) &&
           (contentType.size() == kType.size() ||
            std::string_view("; ").find(contentType[kType.size()]) != std::string_view::npos);
}

nlohmann::json ParseBody(const HttpsRequest& request)
{
    if (!request.odataVersion.empty() && request.odataVersion != "4.0") {
        throw Refused(400, "OData-Version must be 4.0");
    }
    if (!IsJson(request.contentType)) {
        throw Refused(400, "Content-Type must be application/json");
    }
    if (request.bodyState == BodyState::kTooLong) {
        throw Refused(413, "the body is too long");
    }
    if (request.bodyState == BodyState::kUnreadable) {
        throw Refused(400, "the body cannot be read");
    }
    return ParseJson(request.body);
}

std::uint8_t ReadNetFn(const JsonValue& value)
{
    const std::uint32_t netFn = value.Number(0, 62);
    if (netFn % 2 != 0) {
        value.Fail("must be even; an odd one is an answer's");
    }
    return static_cast<std::uint8_t>(netFn);
}

// 255 bytes are the most that an IPMI message can hold, with any transport.
std::vector<std::uint8_t> ReadData(const JsonValue& value)
{
    constexpr std::size_t kMostBytes = 255;
    if (value.IsText() && value.Raw().get_ref<const std::string&>().size() > 2 * kMostBytes) {
        throw Refused(413, value.Pointer() + ": must be at most 255 bytes");
    }
    return value.HexadecimalBytes(kMostBytes);
}

RawRequest ReadRawRequest(const nlohmann::json& document)
{
    JsonMembers members(JsonValue(document, ""));
    RawRequest request = {ReadNetFn(members["NetFn"]), members["Command"].NumberAs<std::uint8_t>(),
                          ReadData(members["RequestData"])};
    members["Lun"].Number(0, 3);
    members.RejectOthers();
    return request;
}

HttpsReply RawAnswer(const RawRequest& request, const Delivery& delivery)
{
    nlohmann::ordered_json body;
    body["NetFn"] = request.netFn + 1;
    body["Command"] = request.command;
    body["CompletionCode"] = delivery.answer.completionCode;
    body["ResponseData"] = Text::ToHexPairs(delivery.answer.bytes);
    HttpsReply reply;
    reply.body = body.dump();
    return reply;
}

std::string LocationOf(const RedfishSession& session)
{
    return std::string(kSessionsPath).append("/").append(session.id);
}

std::string SessionResource(const RedfishSession& session, const std::string& user)
{
    nlohmann::ordered_json body;
    body["@odata.id"] = LocationOf(session);
    body["@odata.type"] = "#Session.v1_0_0.Session";
    body["Id"] = session.id;
    body["Name"] = "User Session";
    body["UserName"] = user;
    return body.dump();
}

}  // namespace

HttpsService::HttpsService(const Scenario& scenario)
    : credentials_(scenario.credentials),
      basic_(BasicOf(credentials_)),
      busy_(scenario.sessions == 0),
      sessions_(scenario.sessions, scenario.https.sessionLifetime),
      faults_(scenario.https.faults),
      enclosure_(scenario.enclosure, scenario.faults, scenario.crashAtRequest)
{
}

void HttpsService::Change(const Scenario& scenario)
{
    const std::lock_guard lock(mutex_);
    busy_ = scenario.sessions == 0;
    sessions_.Limit(scenario.sessions, scenario.https.sessionLifetime);
    faults_ = scenario.https.faults;
    enclosure_ = FaultyEnclosure(scenario.enclosure, scenario.faults, scenario.crashAtRequest);
}

std::size_t HttpsService::OpenSessions()
{
    const std::lock_guard lock(mutex_);
    return sessions_.Count();
}

HttpsReply HttpsService::Answer(const HttpsRequest& request)
{
    const std::lock_guard lock(mutex_);
    std::chrono::milliseconds latency{0};
    const auto late = [&](HttpsReply reply) {
        reply.latency += latency + logInLatency_;
        return reply;
    };
    logInLatency_ = {};
    for (HttpsFault& fault : faults_) {
        if (!fault.schedule.AppliesToNext()) {
            continue;
        }
        latency += fault.latency;
        if (fault.kind != HttpsFaultKind::kLatency) {
            return late(FaultyReply(fault));
        }
    }
    return late(Route(request));
}

HttpsReply HttpsService::Route(const HttpsRequest& request)
{
    const bool isSession = request.target.starts_with(std::string(kSessionsPath).append("/"));
    try {
        if (request.method == "POST" && request.target == kActionPath) {
            return SendIpmiCommand(request);
        }
        if (request.method == "POST" && request.target == kSessionsPath) {
            return OpenSession(request);
        }
        if (request.method == "DELETE" && isSession) {
            return CloseSession(request);
        }
        return RedfishError(404, "there is nothing at this place for this method");
    } catch (const Refused& refused) {
        return RedfishError(refused.Status(), refused.what());
    } catch (const JsonError& error) {
        return RedfishError(400, error.what());
    }
}

// Before the credentials are checked, as over RMCP+.
void HttpsService::RefuseWhenBusy() const
{
    if (busy_) {
        throw Refused(503, "the module is busy; try again later");
    }
}

bool HttpsService::IsAccount(const std::string& authorization)
{
    if (!StartsWithIgnoringCase(authorization, kBasic)) {
        return false;
    }
    logInLatency_ = enclosure_.NextLogInLatency();
    return authorization.substr(kBasic.size()) == basic_;
}

void HttpsService::DemandLogIn(const HttpsRequest& request)
{
    const bool known =
        request.token.empty() ? IsAccount(request.authorization) : sessions_.Use(request.token);
    if (!known) {
        throw Refused(401, "user and password or an open session's token are needed");
    }
}

HttpsReply HttpsService::SendIpmiCommand(const HttpsRequest& request)
{
    RefuseWhenBusy();
    DemandLogIn(request);
    if (credentials_.privilege < kAdministrator) {
        throw Refused(403, "raw IPMI requests are for administrators");
    }
    const RawRequest raw = ReadRawRequest(ParseBody(request));
    const Delivery delivery = enclosure_.Serve(raw.netFn, raw.command, raw.data);
    if (delivery.crashed) {
        std::raise(SIGKILL);
    }
    HttpsReply reply = delivery.dropped ? RedfishError(504, "the module did not answer")
                                        : RawAnswer(raw, delivery);
    reply.latency = delivery.latency;
    return reply;
}

HttpsReply HttpsService::OpenSession(const HttpsRequest& request)
{
    RefuseWhenBusy();
    const nlohmann::json document = ParseBody(request);
    JsonMembers members(JsonValue(document, ""));
    const std::string user = members["UserName"].Text(0, 64);
    const std::string password = members["Password"].Text(0, 64);
    members.RejectOthers();
    logInLatency_ = enclosure_.NextLogInLatency();
    if (user != credentials_.user || password != credentials_.password) {
        throw Refused(401, "user or password is wrong");
    }
    const std::optional<RedfishSession> session = sessions_.Open();
    if (!session) {
        throw Refused(503, "there is no room for another session; close one or try again later");
    }
    HttpsReply reply;
    reply.status = 201;
    reply.headers = {{"X-Auth-Token", session->token}, {"Location", LocationOf(*session)}};
    reply.body = SessionResource(*session, user);
    return reply;
}

HttpsReply HttpsService::CloseSession(const HttpsRequest& request)
{
    DemandLogIn(request);
    if (!sessions_.Close(request.target.substr(kSessionsPath.size() + 1))) {
        throw Refused(404, "there is no such session");
    }
    HttpsReply reply;
    reply.status = 204;
    return reply;
}

}  // namespace Tulvo::Simulator
