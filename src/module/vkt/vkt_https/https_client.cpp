// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/https_client.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "common/connection/connection_values.h"
#include "common/interruption/interruption.h"
#include "common/lookup/host_lookup.h"
#include "common/text/host.h"
#include "module/vkt/vkt_https/connection_checks.h"
#include "module/vkt/vkt_https/result_tables.h"

namespace Tulvo::Https {
namespace {

constexpr long kDefaultConnectSeconds = 5;
constexpr long kDefaultRequestSeconds = 30;
constexpr long kFirstErrorStatus = 300;

long OrDefault(std::uint16_t seconds, long defaultSeconds)
{
    return seconds == 0 ? defaultSeconds : seconds;
}

long IpResolve(std::int32_t addressFamily)
{
    switch (addressFamily) {
        case 4:
            return CURL_IPRESOLVE_V4;
        case 6:
            return CURL_IPRESOLVE_V6;
        default:
            return CURL_IPRESOLVE_WHATEVER;
    }
}

/// At least 1, for 0 is libcurl's own default.
long MillisecondsTo(CallLimit::Clock::time_point until)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - CallLimit::Clock::now());
    return static_cast<long>(std::max<std::chrono::milliseconds::rep>(left.count(), 1));
}

// Once per process and never undone: the host program may use libcurl too.
bool LibraryIsReady()
{
    static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
    return result == CURLE_OK;
}

template <bool (ReplyCollector::*Take)(std::string_view)>
std::size_t Collect(char* bytes, std::size_t size, std::size_t count, void* collector)
try {
    const std::string_view piece(bytes, size * count);
    return (static_cast<ReplyCollector*>(collector)->*Take)(piece) ? piece.size() : 0;
} catch (...) {
    return 0;  // No exception may pass through libcurl's C code.
}

// libcurl calls this at least once a second.
int EndWhenInterrupted(void* /*data*/, curl_off_t /*toReceive*/, curl_off_t /*received*/,
                       curl_off_t /*toSend*/, curl_off_t /*sent*/)
{
    return Interruption::Raised() ? 1 : 0;
}

// libcurl keeps to itself why it gets no socket, and lets the programs that a host starts inherit
// those that it opens.
curl_socket_t OpenSocket(void* error, curlsocktype /*purpose*/, curl_sockaddr* address)
{
    const int opened = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    *static_cast<int*>(error) = opened < 0 ? errno : 0;
    return opened;
}

/// "192.0.2.1", "[2001:db8::1]"; empty for what libcurl does not take as an address.
std::string TextOf(const LookUp::Endpoint& endpoint)
{
    std::array<char, NI_MAXHOST> text{};
    const int error =
        getnameinfo(reinterpret_cast<const sockaddr*>(&endpoint.address), endpoint.length,
                    text.data(), text.size(), nullptr, 0, NI_NUMERICHOST);
    const std::string address = error == 0 ? text.data() : "";
    const bool hasZone = address.find('%') != std::string::npos;
    return hasZone || address.empty() ? "" : Text::WithBrackets(address);
}

/// As libcurl takes them, with a comma between.
std::string AddressesOf(const LookUp::Found& found)
{
    std::string addresses;
    for (const LookUp::Endpoint& endpoint : found.endpoints) {
        const std::string address = TextOf(endpoint);
        addresses += addresses.empty() || address.empty() ? address : "," + address;
    }
    return addresses;
}

void SetLimits(CurlOptions& options, const TulvoConnection::ConnectionInfo& info)
{
    options
        .Set(CURLOPT_CONNECTTIMEOUT, OrDefault(info.connectTimeoutSeconds, kDefaultConnectSeconds))
        .Set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kLargestBody))
        .Set(CURLOPT_MAXCONNECTS, 1L)
        // A name service that hangs is left behind when the time is over, not waited for.
        .Set(CURLOPT_QUICK_EXIT, 1L);
}

void SetTransport(CurlOptions& options, const TulvoConnection::ConnectionInfo& info)
{
    options.Set(CURLOPT_PROTOCOLS_STR, "https")
        .Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1))
        .Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2))
        .Set(CURLOPT_IPRESOLVE, IpResolve(info.addressFamily))
        .Set(CURLOPT_FOLLOWLOCATION, 0L)
        // The module is in the management network, where a proxy that the environment names for
        // other purposes does not lead, and which is not trusted with the log-in.
        .Set(CURLOPT_PROXY, "")
        .Set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED))
        // Without signals libcurl is safe in a program with threads.
        .Set(CURLOPT_NOSIGNAL, 1L)
        .Set(CURLOPT_USERAGENT, "vktinventory/" VKT_VERSION);
}

}  // namespace

std::optional<Failure> HttpsClient::Exchange(const HttpRequest& request, HttpReply& reply)
{
    if (request.isInterruptible && Interruption::Raised()) {
        return Interrupted();
    }
    if (auto failure = Prepare()) {
        return failure;
    }
    CurlOptions options(handle_.get());
    const std::string url = origin_ + request.path;
    options.Set(CURLOPT_URL, url.c_str())
        .Set(CURLOPT_NOPROGRESS, request.isInterruptible ? 0L : 1L)
        .Set(CURLOPT_FRESH_CONNECT, ConnectionIsUsable() ? 0L : 1L)
        // A server that was refused has to show its key again: a resumed session shows none to
        // tell.
        .Set(CURLOPT_SSL_SESSIONID_CACHE, serverIsRefused_ ? 0L : 1L);
    SetTimes(options, request);
    SetMethod(options, request);
    const CURLcode result = Perform(request, options);
    return End(result, reply);
}

std::optional<Failure> HttpsClient::Finish(const CallLimit& limit, HttpReply& reply)
{
    const CURLcode result = Continue(limit, false);
    return End(result, reply);
}

std::optional<Failure> HttpsClient::LookUpServer(const CallLimit& limit)
{
    if (auto failure = Prepare()) {
        return failure;
    }
    const LookUp::Found found = LookUp::Host(
        info_.address, info_.port, {limit.until, [&limit] { return limit.stop.stop_requested(); }});
    if (!found.failure.empty()) {
        Failure failure = FailureOf(CURLE_COULDNT_RESOLVE_HOST, false);
        failure.detail = found.failure;
        failure.systemError = found.systemError;
        return failure;
    }
    const std::string addresses = AddressesOf(found);
    if (!found.byName || addresses.empty()) {
        return std::nullopt;
    }
    const std::string entry = info_.address + ":" + std::to_string(info_.port) + ":" + addresses;
    std::unique_ptr<curl_slist, FreeList> list(curl_slist_append(nullptr, entry.c_str()));
    CurlOptions options(handle_.get());
    options.Set(CURLOPT_RESOLVE, list.get());
    addresses_.swap(list);
    if (addresses_ == nullptr || options.Refusal() != CURLE_OK) {
        return FailureOf(CURLE_FAILED_INIT, false);
    }
    return std::nullopt;
}

std::optional<Failure> HttpsClient::ShakeHands(const CallLimit& limit)
{
    if (auto failure = LookUpServer({limit.UntilFirstAnswer(), limit.stop})) {
        return failure;
    }
    const HttpRequest nothing{.limit = &limit};
    CurlOptions options(handle_.get());
    options.Set(CURLOPT_URL, origin_.c_str()).Set(CURLOPT_CONNECT_ONLY, 1L);
    SetTimes(options, nothing);
    const CURLcode result = Perform(nothing, options);
    transfer_.reset();
    if (result != CURLE_OK) {
        return Blame(result, false);
    }
    return proof_.Pin().empty() ? std::optional(FailureOf(CURLE_SSL_CERTPROBLEM, false))
                                : std::nullopt;
}

void HttpsClient::Abandon()
{
    static_cast<void>(handle_.release());
    static_cast<void>(transfer_.release());
    loop_.Abandon();
    connectionIsSpent_ = false;
    isUnfinished_ = false;
}

std::optional<Failure> HttpsClient::Prepare()
{
    if (handle_) {
        return std::nullopt;
    }
    if (auto failure = CheckConnection(info_, origin_)) {
        return failure;
    }
    std::unique_ptr<CURL, Close> handle(LibraryIsReady() ? curl_easy_init() : nullptr);
    if (!handle) {
        return FailureOf(CURLE_FAILED_INIT, false);
    }
    if (auto failure = SetUp(handle.get())) {
        return failure;
    }
    handle_ = std::move(handle);
    return std::nullopt;
}

std::optional<Failure> HttpsClient::SetUp(CURL* handle)
{
    CurlOptions options(handle);
    options.Set(CURLOPT_ERRORBUFFER, errorText_.data())
        .Set(CURLOPT_XFERINFOFUNCTION, &EndWhenInterrupted)
        .Set(CURLOPT_OPENSOCKETFUNCTION, &OpenSocket)
        .Set(CURLOPT_OPENSOCKETDATA, &socketError_)
        .Set(CURLOPT_WRITEFUNCTION, &Collect<&ReplyCollector::TakeBody>)
        .Set(CURLOPT_HEADERFUNCTION, &Collect<&ReplyCollector::TakeHeader>);
    SetTransport(options, info_);
    SetLimits(options, info_);
    SetCredentials(options);
    ServerTrust trust;
    if (auto failure = findTrust_(origin_, trust)) {
        return failure;
    }
    std::string pins;
    if (auto failure = SetTrust(options, trust, pins)) {
        return failure;
    }
    const auto mayLeave = [this] { return transfer_ == nullptr || transfer_->GetLeave(); };
    if (!proof_.Guard(handle, pins, mayLeave) || options.Refusal() != CURLE_OK) {
        return FailureOf(CURLE_FAILED_INIT, false);
    }
    return std::nullopt;
}

void HttpsClient::SetCredentials(CurlOptions& options) const
{
    if (info_.authentication == TulvoConnection::kAuthenticateBasic) {
        options.Set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC))
            .Set(CURLOPT_USERNAME, info_.userName.c_str())
            .Set(CURLOPT_PASSWORD, info_.password.c_str());
    }
}

void HttpsClient::SetMethod(CurlOptions& options, const HttpRequest& request) const
{
    if (request.method == Method::kPost) {
        options.Set(CURLOPT_POST, 1L).Set(CURLOPT_CUSTOMREQUEST, static_cast<char*>(nullptr));
    } else {
        options.Set(CURLOPT_HTTPGET, 1L).Set(CURLOPT_CUSTOMREQUEST, "DELETE");
    }
}

// A limit is a point in time that the loop keeps to.
void HttpsClient::SetTimes(CurlOptions& options, const HttpRequest& request) const
{
    if (request.limit != nullptr) {
        // Each of several addresses gets its part of this.
        options.Set(CURLOPT_TIMEOUT, 0L)
            .Set(CURLOPT_CONNECTTIMEOUT_MS, MillisecondsTo(request.limit->UntilFirstAnswer()));
        return;
    }
    const long seconds = OrDefault(info_.requestTimeoutSeconds, kDefaultRequestSeconds);
    options.Set(CURLOPT_TIMEOUT,
                request.longestSeconds == 0 ? seconds : std::min(seconds, request.longestSeconds));
}

CURLcode HttpsClient::Perform(const HttpRequest& request, CurlOptions& options)
{
    loop_.Drop(handle_.get());
    isUnfinished_ = false;
    errorText_.front() = '\0';
    transfer_ = std::make_unique<Transfer>(request);
    if (request.method == Method::kPost) {
        transfer_->body.AttachTo(options);
    }
    options.Set(CURLOPT_HTTPHEADER, transfer_->headers.Lines())
        .Set(CURLOPT_WRITEDATA, &transfer_->collector)
        .Set(CURLOPT_HEADERDATA, &transfer_->collector);
    if (transfer_->headers.Lines() == nullptr || options.Refusal() != CURLE_OK) {
        return CURLE_FAILED_INIT;
    }
    socketError_ = 0;
    proof_.Forget();
    if (request.limit == nullptr) {
        return curl_easy_perform(handle_.get());
    }
    const CURLcode started = loop_.Start(handle_.get());
    return started == CURLE_OK ? Continue(*request.limit, request.canBeFinishedLater) : started;
}

CURLcode HttpsClient::Continue(const CallLimit& limit, bool canBeFinishedLater)
{
    const std::optional<CURLcode> result = loop_.Continue(limit);
    isUnfinished_ = !result && canBeFinishedLater && transfer_->body.IsTaken() && !ReplyIsRefusal();
    if (!result && !isUnfinished_) {
        loop_.Drop(handle_.get());
    }
    transfer_->pass = nullptr;
    return result.value_or(CURLE_OPERATION_TIMEDOUT);
}

std::optional<Failure> HttpsClient::End(CURLcode result, HttpReply& reply)
{
    connectionIsSpent_ = false;
    transfer_->reply.status = Number(CURLINFO_RESPONSE_CODE);
    auto failure = Judge(result);
    serverIsRefused_ = failure && failure->code == VKT_HTTPS_TLS_ERROR;
    if (failure) {
        failure->mayHaveArrived = transfer_->body.IsTaken();
    }
    if (!isUnfinished_) {
        reply = std::move(transfer_->reply);
        transfer_.reset();
    }
    return failure;
}

long HttpsClient::Number(CURLINFO info) const
{
    long number = 0;
    curl_easy_getinfo(handle_.get(), info, &number);
    return number;
}

bool HttpsClient::ReplyIsRefusal() const
{
    return transfer_->collector.HeaderIsWhole() &&
           Number(CURLINFO_RESPONSE_CODE) >= kFirstErrorStatus;
}

std::optional<Failure> HttpsClient::Judge(CURLcode result) const
{
    // A refusal is a refusal, however its explanation ends.
    const ReplyCollector& collector = transfer_->collector;
    if (ReplyIsRefusal() || (result == CURLE_OK && collector.HeaderIsWhole())) {
        return std::nullopt;
    }
    if (result == CURLE_ABORTED_BY_CALLBACK && Interruption::Raised()) {
        return Interrupted();
    }
    // libcurl is content with a header that the end of the connection cuts short.
    return Blame(result == CURLE_OK ? CURLE_PARTIAL_FILE : result, collector.Began());
}

Failure HttpsClient::Blame(CURLcode result, bool replyBegan) const
{
    const CURLcode cause = CauseOf(result);
    Failure failure = FailureOf(cause, replyBegan);
    if (cause == result) {
        failure.detail = Detail(result);
        const bool systemSaysWhy =
            result == CURLE_COULDNT_CONNECT || result == CURLE_SSL_CONNECT_ERROR;
        failure.systemError = systemSaysWhy ? SystemError() : 0;
    } else if (cause == CURLE_PEER_FAILED_VERIFICATION) {
        failure.detail = proof_.Distrust();
    }
    if (failure.code == VKT_HTTPS_TLS_ERROR && !proof_.Pin().empty()) {
        failure.advice += "; the server's key is " + proof_.Pin();
    }
    return failure;
}

CURLcode HttpsClient::CauseOf(CURLcode result) const
{
    if (proof_.KeyIsRefused()) {
        return CURLE_SSL_PINNEDPUBKEYNOTMATCH;
    }
    // A certificate whose signature is wrong is called a broken handshake by libcurl.
    const bool distrusted = result == CURLE_SSL_CONNECT_ERROR && !proof_.Distrust().empty() &&
                            info_.tlsVerification == TulvoConnection::kTlsVerifyAuthority;
    return distrusted ? CURLE_PEER_FAILED_VERIFICATION : result;
}

std::string HttpsClient::Detail(CURLcode result) const
{
    std::string detail =
        errorText_.front() == '\0' ? curl_easy_strerror(result) : errorText_.data();
    const int error = SystemError();
    if (result == CURLE_COULDNT_CONNECT && error != 0) {
        detail += ": " + std::generic_category().message(error);
    }
    return detail;
}

/// Why there is no connection; 0 when the system did not say.
int HttpsClient::SystemError() const
{
    return socketError_ != 0 ? socketError_ : static_cast<int>(Number(CURLINFO_OS_ERRNO));
}

// Bytes that wait on an idle connection announce its end, or belong to no request.
bool HttpsClient::ConnectionIsUsable() const
{
    if (!handle_) {
        return false;
    }
    curl_socket_t connection = CURL_SOCKET_BAD;
    curl_easy_getinfo(handle_.get(), CURLINFO_ACTIVESOCKET, &connection);
    if (connection == CURL_SOCKET_BAD || connectionIsSpent_) {
        return false;
    }
    char byte = 0;
    const auto waiting = recv(connection, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return waiting < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

}  // namespace Tulvo::Https
