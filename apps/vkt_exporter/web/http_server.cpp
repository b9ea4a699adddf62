// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/http_server.h"

#include <gnutls/abstract.h>
#include <gnutls/gnutls.h>
#include <microhttpd.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <unordered_map>

#include "apps/vkt_exporter/web/basic_auth.h"
#include "apps/vkt_exporter/web/connection_table.h"
#include "apps/vkt_exporter/web/listening_socket.h"
#include "apps/vkt_exporter/web/mailbox.h"
#include "apps/vkt_exporter/web/tls_context.h"
#include "apps/vkt_exporter/web/web_files.h"

namespace Tulvo::Exporter {

namespace {

using Clock = std::chrono::steady_clock;

/// For request line and header of a request together; longer ones are refused.
constexpr std::size_t kMostRequestBytes = 16'384;
/// Accepted before those that are there get their turn.
constexpr unsigned kAcceptedAtOnce = 32;
/// How long to accept nothing when the host has run out of something.
constexpr auto kShortageRest = std::chrono::milliseconds(200);
/// Rounds without an event that are taken at once; then so many with a pause of a millisecond, of
/// two, and so on. A long request takes about 60.
constexpr unsigned kRoundsAtOnce = 16;
constexpr unsigned kRoundsOfOnePause = 32;
constexpr unsigned kDoublings = 6;
constexpr auto kBetweenWarnings = std::chrono::minutes(1);

char LowerCase(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

HttpResponse PlainText(int status, const std::string& text)
{
    return {.status = status,
            .contentType = "text/plain; charset=utf-8",
            .body = text + "\n",
            .headers = {}};
}

/// The answer to one request on its way to the server's thread.
class PendingAnswer
{
public:
    using Deliver = std::function<void(std::uint64_t request, HttpResponse&& response)>;

    PendingAnswer(std::shared_ptr<Mailbox> mailbox, std::uint64_t request, Deliver deliver)
        : mailbox_(std::move(mailbox)), request_(request), deliver_(std::move(deliver))
    {
    }
    PendingAnswer(const PendingAnswer&) = delete;
    PendingAnswer& operator=(const PendingAnswer&) = delete;
    ~PendingAnswer() { Give(PlainText(500, "this request got no answer")); }

    void Give(HttpResponse response)
    {
        if (!given_.exchange(true)) {
            mailbox_->Post([deliver = deliver_, request = request_,
                            response = std::make_shared<HttpResponse>(std::move(response))] {
                deliver(request, std::move(*response));
            });
        }
    }

private:
    const std::shared_ptr<Mailbox> mailbox_;
    const std::uint64_t request_;
    const Deliver deliver_;
    std::atomic<bool> given_ = false;
};

/// A request that the library has announced.
struct Exchange
{
    std::uint64_t number = 0;
    MHD_Connection* connection = nullptr;
    Connection* entry = nullptr;
    bool suspended = false;
    bool admitted = false;  ///< Its password has been found right.
    std::optional<HttpResponse> response;
};

struct DestroyResponse
{
    void operator()(MHD_Response* response) const { MHD_destroy_response(response); }
};
using LibraryResponse = std::unique_ptr<MHD_Response, DestroyResponse>;

void FreeBody(void* body)
{
    delete static_cast<std::string*>(body);
}

/// Null when a header field cannot be sent, or memory ran out.
LibraryResponse MakeResponse(HttpResponse&& response)
{
    auto body = std::make_unique<std::string>(std::move(response.body));
    LibraryResponse made(MHD_create_response_from_buffer_with_free_callback_cls(
        body->size(), body->data(), FreeBody, body.get()));
    if (made == nullptr) {
        return nullptr;
    }
    static_cast<void>(body.release());  // now the response's
    if (!response.contentType.empty()) {
        response.headers.emplace_back(MHD_HTTP_HEADER_CONTENT_TYPE, response.contentType);
    }
    for (const auto& [name, value] : response.headers) {
        // The library refuses line ends; a NUL would cut the value off.
        if (value.find('\0') != std::string::npos ||
            MHD_add_response_header(made.get(), name.c_str(), value.c_str()) != MHD_YES) {
            return nullptr;
        }
    }
    return made;
}

MHD_Result Queue(MHD_Connection* connection, HttpResponse response)
{
    const auto status = static_cast<unsigned>(response.status);
    LibraryResponse made = MakeResponse(std::move(response));
    if (made != nullptr) {
        return MHD_queue_response(connection, status, made.get());
    }
    made = MakeResponse(PlainText(500, "the answer cannot be sent"));
    return made == nullptr
               ? MHD_NO
               : MHD_queue_response(connection, MHD_HTTP_INTERNAL_SERVER_ERROR, made.get());
}

std::string_view Text(const char* text, std::size_t size)
{
    return text == nullptr ? std::string_view() : std::string_view(text, size);
}

MHD_Result AddField(void* request, MHD_ValueKind, const char* name, std::size_t nameSize,
                    const char* value, std::size_t valueSize)
{
    std::string& field =
        static_cast<HttpRequest*>(request)->headers[std::string(Text(name, nameSize))];
    field += field.empty() ? "" : ", ";
    field += Text(value, valueSize);
    return MHD_YES;
}

MHD_Result AddArgument(void* request, MHD_ValueKind, const char* name, std::size_t nameSize,
                       const char* value, std::size_t valueSize)
{
    static_cast<HttpRequest*>(request)->query.emplace_back(Text(name, nameSize),
                                                           Text(value, valueSize));
    return MHD_YES;
}

struct FreeMemory
{
    void operator()(char* memory) const { std::free(memory); }
};
using CharMemory = std::unique_ptr<char, FreeMemory>;

struct Credentials
{
    std::string user;
    std::string password;
};

std::optional<Credentials> CredentialsOf(MHD_Connection* connection)
{
    char* found = nullptr;
    const CharMemory user(MHD_basic_auth_get_username_password(connection, &found));
    const CharMemory password(found);
    if (user == nullptr || password == nullptr) {
        return std::nullopt;
    }
    Credentials credentials{user.get(), password.get()};
    explicit_bzero(password.get(), credentials.password.size());
    return credentials;
}

HttpResponse Unauthorized()
{
    HttpResponse refusal = PlainText(401, "this takes a user and a password");
    refusal.headers.emplace_back(MHD_HTTP_HEADER_WWW_AUTHENTICATE, "Basic realm=\"exporter\"");
    return refusal;
}

Connection* EntryOf(MHD_Connection* connection)
{
    return static_cast<Connection*>(
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
}

/// The library hands the path on as a C string, in which a NUL would hide the rest.
std::size_t Unescape(void*, MHD_Connection* connection, char* text)
{
    const std::size_t length = MHD_http_unescape(text);
    if (std::strlen(text) != length) {
        EntryOf(connection)->hasNulInUrl = true;
    }
    return length;
}

/// Stands in for what each connection gets of its own before it is used.
int NoCertificate(gnutls_session_t, const gnutls_datum_t*, int, const gnutls_pk_algorithm_t*, int,
                  gnutls_pcert_st**, unsigned*, gnutls_privkey_t*)
{
    return GNUTLS_E_NO_CERTIFICATE_FOUND;
}

HttpRequest RequestOf(MHD_Connection* connection, const char* path, const char* method)
{
    HttpRequest request{.method = method, .path = path, .query = {}, .headers = {}};
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, AddField, &request);
    MHD_get_connection_values_n(connection, MHD_GET_ARGUMENT_KIND, AddArgument, &request);
    request.headers.erase(MHD_HTTP_HEADER_AUTHORIZATION);
    return request;
}

bool HasBody(const HttpRequest& request)
{
    const auto length = request.headers.find(MHD_HTTP_HEADER_CONTENT_LENGTH);
    return request.headers.contains(MHD_HTTP_HEADER_TRANSFER_ENCODING) ||
           (length != request.headers.end() && length->second != "0");
}

/// What no handler is asked about.
std::optional<HttpResponse> Refusal(const HttpRequest& request, Connection& connection)
{
    if (std::exchange(connection.hasNulInUrl, false)) {
        return PlainText(400, "no name here has a NUL");
    }
    if (request.method != MHD_HTTP_METHOD_GET && request.method != MHD_HTTP_METHOD_HEAD &&
        request.method != MHD_HTTP_METHOD_POST) {
        HttpResponse refusal = PlainText(405, "only GET, HEAD and POST are served");
        refusal.headers.emplace_back(MHD_HTTP_HEADER_ALLOW, "GET, HEAD, POST");
        return refusal;
    }
    if (HasBody(request)) {
        return PlainText(413, "no request here has a body");
    }
    return std::nullopt;
}

/// Signals are for the threads of the program.
class NoSignals
{
public:
    NoSignals()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    NoSignals(const NoSignals&) = delete;
    NoSignals& operator=(const NoSignals&) = delete;
    ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_ = {};
};

struct StopDaemon
{
    void operator()(MHD_Daemon* daemon) const { MHD_stop_daemon(daemon); }
};

bool IsShortage(int fault)
{
    return fault == EMFILE || fault == ENFILE || fault == ENOBUFS || fault == ENOMEM;
}

}  // namespace

bool CaseInsensitive::operator()(std::string_view left, std::string_view right) const
{
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(),
        [](char one, char other) { return LowerCase(one) < LowerCase(other); });
}

/// All but the constructor and Stop() runs in the thread, which so needs no locks. The library is
/// driven from here, and accepts no connections itself: it would spin when descriptors run out, and
/// keep new ones waiting behind idle ones.
class HttpServer::Thread
{
public:
    Thread(HttpServerOptions options, Handler handler)
        : options_(std::move(options)),
          handler_(std::move(handler)),
          webFiles_(options_.webConfigFile, options_.warn),
          basicAuth_(mailbox_),
          connections_(options_.timeouts),
          listening_(Listen(options_.listenAddress)),
          daemon_(StartDaemon())
    {
        const NoSignals inherited;
        try {
            thread_ = std::thread([this] { Work(); });
        } catch (const std::system_error& fault) {
            throw std::runtime_error(std::string("no thread can be started: ") + fault.what());
        }
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    ~Thread() { Stop(); }

    const std::string& Address() const { return listening_.address; }
    bool SpeaksTls() const { return tls_; }

    void Stop()
    {
        if (thread_.joinable()) {
            mailbox_->Post([this] { stopping_ = true; });
            thread_.join();
        }
    }

private:
    using Daemon = std::unique_ptr<MHD_Daemon, StopDaemon>;

    Daemon StartDaemon();
    void Work();
    void Wait();
    bool IsWorkPending() const;
    int PauseMilliseconds() const;
    int WaitMilliseconds(Clock::time_point now) const;
    bool MayAccept(Clock::time_point now) const;
    void Accept(Clock::time_point now);
    bool OneWaits() const;
    void AcceptOne(Clock::time_point now);
    void Rest(Clock::time_point now, int fault);
    void RefuseOutstanding();

    void Notice(MHD_Connection* connection, void** entry, MHD_ConnectionNotificationCode what);
    MHD_Result Take(MHD_Connection* connection, const char* path, const char* method,
                    void** context);
    MHD_Result Begin(MHD_Connection* connection, const HttpRequest& request, void** context);
    MHD_Result Continue(Exchange& exchange, const char* path, const char* method);
    std::optional<MHD_Result> Authenticate(Exchange& exchange, const WebSettings& settings);
    void Admit(std::uint64_t number, bool good);
    MHD_Result Ask(Exchange& exchange, HttpRequest&& request);
    void Suspend(Exchange& exchange);
    MHD_Result Answer(Exchange& exchange, HttpResponse&& response);
    void Deliver(std::uint64_t number, HttpResponse&& response);
    void Forget(Exchange& exchange);

    const HttpServerOptions options_;
    const Handler handler_;
    const std::shared_ptr<Mailbox> mailbox_ = std::make_shared<Mailbox>();
    WebFiles webFiles_;
    BasicAuth basicAuth_;
    std::shared_ptr<const WebSettings> settings_ = webFiles_.Current();
    const bool tls_ = settings_->tls != nullptr;
    ConnectionTable connections_;
    ListeningSocket listening_;
    std::unordered_map<std::uint64_t, Exchange> exchanges_;
    std::uint64_t lastExchange_ = 0;
    std::optional<Clock::time_point> restUntil_;
    std::optional<Clock::time_point> lastWarning_;
    unsigned roundsWithoutEvent_ = 0;
    Clock::duration lastRound_ = {};
    bool stopping_ = false;
    Daemon daemon_;
    std::thread thread_;
};

HttpServer::Thread::Daemon HttpServer::Thread::StartDaemon()
{
    const MHD_AccessHandlerCallback take = [](void* self, MHD_Connection* connection,
                                              const char* path, const char* method, const char*,
                                              const char*, std::size_t*, void** context) {
        try {
            return static_cast<Thread*>(self)->Take(connection, path, method, context);
        } catch (const std::exception&) {
            return MHD_NO;  // no memory: the connection ends
        }
    };
    const MHD_RequestCompletedCallback completed = [](void* self, MHD_Connection*, void** context,
                                                      MHD_RequestTerminationCode) {
        if (*context != nullptr) {
            static_cast<Thread*>(self)->Forget(*static_cast<Exchange*>(*context));
            *context = nullptr;
        }
    };
    const MHD_NotifyConnectionCallback notice = [](void* self, MHD_Connection* connection,
                                                   void** entry,
                                                   MHD_ConnectionNotificationCode what) {
        static_cast<Thread*>(self)->Notice(connection, entry, what);
    };
    // The library's own bound is never reached.
    const auto most = static_cast<unsigned>(2 * options_.maxConnections + kAcceptedAtOnce);
    const unsigned tls = tls_ ? unsigned{MHD_USE_TLS} : 0U;
    const MHD_OptionItem tlsOptions[] = {
        {MHD_OPTION_HTTPS_CERT_CALLBACK, 0, reinterpret_cast<void*>(NoCertificate)},
        {MHD_OPTION_END, 0, nullptr},
    };
    Daemon daemon(MHD_start_daemon(
        MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME | tls, 0, nullptr,
        nullptr, take, this, MHD_OPTION_ARRAY, tls == 0 ? tlsOptions + 1 : tlsOptions,
        MHD_OPTION_UNESCAPE_CALLBACK, Unescape, nullptr, MHD_OPTION_CONNECTION_LIMIT, most,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMostRequestBytes, MHD_OPTION_STRICT_FOR_CLIENT, 1,
        MHD_OPTION_NOTIFY_COMPLETED, completed, this, MHD_OPTION_NOTIFY_CONNECTION, notice, this,
        MHD_OPTION_END));
    if (daemon == nullptr) {
        throw std::runtime_error(
            "the HTTP server cannot be started: no memory or descriptor is left");
    }
    return daemon;
}

void HttpServer::Thread::Work()
{
    while (!stopping_) {
        Wait();
        mailbox_->Work();
        const auto now = Clock::now();
        Accept(now);
        connections_.CloseOverdue(now);
        const auto begun = Clock::now();
        MHD_run(daemon_.get());
        lastRound_ = Clock::now() - begun;
    }
    mailbox_->Close();
    RefuseOutstanding();
    daemon_.reset();
    listening_.descriptor = FileDescriptor();
}

bool HttpServer::Thread::IsWorkPending() const
{
    MHD_UNSIGNED_LONG_LONG timeout = 0;
    return MHD_get_timeout(daemon_.get(), &timeout) == MHD_YES && timeout == 0;
}

/// The library calls it work when a client has sent part of a TLS handshake and nothing since: to
/// follow it at once would keep a processor busy. Bytes that come end a pause.
int HttpServer::Thread::PauseMilliseconds() const
{
    const auto fifthOfAProcessor =
        std::chrono::duration_cast<std::chrono::milliseconds>(4 * lastRound_);
    if (fifthOfAProcessor.count() > 0) {
        return static_cast<int>(std::min<std::int64_t>(fifthOfAProcessor.count(), 1 << kDoublings));
    }
    if (roundsWithoutEvent_ < kRoundsAtOnce) {
        return 0;
    }
    // A large answer is sent in many rounds.
    return connections_.IsSending()
               ? 1
               : 1 << std::min((roundsWithoutEvent_ - kRoundsAtOnce) / kRoundsOfOnePause,
                               kDoublings);
}

int HttpServer::Thread::WaitMilliseconds(Clock::time_point now) const
{
    auto next = connections_.NextDeadline();
    if (restUntil_ && (!next || *restUntil_ < *next)) {
        next = restUntil_;
    }
    if (!next) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - now).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

bool HttpServer::Thread::MayAccept(Clock::time_point now) const
{
    return (!restUntil_ || *restUntil_ <= now) &&
           (connections_.Open() < options_.maxConnections || connections_.CanGiveWay());
}

void HttpServer::Thread::Wait()
{
    const auto now = Clock::now();
    const int library = MHD_get_daemon_info(daemon_.get(), MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
    std::array<pollfd, 3> descriptors = {{
        {mailbox_->Descriptor(), POLLIN, 0},
        {library, POLLIN, 0},
        {MayAccept(now) ? listening_.descriptor.Get() : -1, POLLIN, 0},
    }};
    const bool pending = IsWorkPending();
    const int events = poll(descriptors.data(), descriptors.size(),
                            pending ? PauseMilliseconds() : WaitMilliseconds(now));
    roundsWithoutEvent_ = pending && events == 0 ? roundsWithoutEvent_ + 1 : 0;
}

void HttpServer::Thread::Accept(Clock::time_point now)
{
    if (restUntil_ && *restUntil_ <= now) {
        restUntil_.reset();
    }
    for (unsigned i = 0; i < kAcceptedAtOnce && MayAccept(now) && OneWaits(); ++i) {
        AcceptOne(now);
    }
}

/// Without a descriptor left, accept() complains even when nobody waits.
bool HttpServer::Thread::OneWaits() const
{
    pollfd listening = {listening_.descriptor.Get(), POLLIN, 0};
    return poll(&listening, 1, 0) > 0;
}

void HttpServer::Thread::AcceptOne(Clock::time_point now)
{
    sockaddr_storage peer = {};
    socklen_t length = sizeof peer;
    auto* const address = reinterpret_cast<sockaddr*>(&peer);
    const int accepted =
        accept4(listening_.descriptor.Get(), address, &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (accepted < 0) {
        const int fault = errno;
        if (IsShortage(fault)) {
            Rest(now, fault);
        }
        return;
    }
    if (connections_.Open() >= options_.maxConnections) {
        connections_.GiveWay(connections_.MostIdleAreSilent() ? std::chrono::milliseconds()
                                                              : options_.timeouts.grace);
    }
    settings_ = webFiles_.Current();
    MHD_add_connection(daemon_.get(), accepted, address, length);  // closes it on failure
}

/// What still waits to be accepted would have poll() return at once, on and on.
void HttpServer::Thread::Rest(Clock::time_point now, int fault)
{
    connections_.GiveWay(options_.timeouts.grace);
    restUntil_ = now + kShortageRest;
    if (!lastWarning_ || *lastWarning_ + kBetweenWarnings <= now) {
        lastWarning_ = now;
        options_.warn("cannot accept a connection (" + std::generic_category().message(fault) +
                      "); connections wait. Raise the limit of open files of this process, or see "
                      "who holds so many");
    }
}

void HttpServer::Thread::RefuseOutstanding()
{
    for (auto& [number, exchange] : exchanges_) {
        if (exchange.suspended) {
            exchange.response = PlainText(503, "the exporter ends");
            exchange.response->headers.emplace_back(MHD_HTTP_HEADER_CONNECTION, "close");
            exchange.suspended = false;
            MHD_resume_connection(exchange.connection);
        }
    }
    MHD_run(daemon_.get());
}

void HttpServer::Thread::Notice(MHD_Connection* connection, void** entry,
                                MHD_ConnectionNotificationCode what)
{
    if (what == MHD_CONNECTION_NOTIFY_STARTED) {
        const int socket =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
        Connection& added = connections_.Add(socket);
        *entry = &added;
        if (settings_->tls != nullptr) {
            added.keeps = settings_->tls;
            auto* const session = static_cast<gnutls_session_t>(
                MHD_get_connection_info(connection, MHD_CONNECTION_INFO_GNUTLS_SESSION)
                    ->tls_session);
            if (!settings_->tls->SetUp(session)) {
                connections_.Close(added);
            }
        }
    } else {
        connections_.Remove(*static_cast<Connection*>(*entry));
        *entry = nullptr;
    }
}

/// Called once with the header, and again until there is an answer.
MHD_Result HttpServer::Thread::Take(MHD_Connection* connection, const char* path,
                                    const char* method, void** context)
{
    if (*context == nullptr) {
        return Begin(connection, RequestOf(connection, path, method), context);
    }
    return Continue(*static_cast<Exchange*>(*context), path, method);
}

MHD_Result HttpServer::Thread::Begin(MHD_Connection* connection, const HttpRequest& request,
                                     void** context)
{
    Exchange& exchange = exchanges_[++lastExchange_];
    exchange.number = lastExchange_;
    exchange.connection = connection;
    exchange.entry = EntryOf(connection);
    *context = &exchange;
    connections_.Enter(*exchange.entry, Activity::kWorking);
    if (auto refusal = Refusal(request, *exchange.entry)) {
        return Answer(exchange, std::move(*refusal));
    }
    return MHD_YES;
}

MHD_Result HttpServer::Thread::Continue(Exchange& exchange, const char* path, const char* method)
{
    if (exchange.response) {
        return Answer(exchange, std::move(*exchange.response));
    }
    settings_ = webFiles_.Current();
    if (!settings_->users.empty() && !exchange.admitted) {
        if (const auto ended = Authenticate(exchange, *settings_)) {
            return *ended;
        }
    }
    return Ask(exchange, RequestOf(exchange.connection, path, method));
}

/// Nothing when the request may go on.
std::optional<MHD_Result> HttpServer::Thread::Authenticate(Exchange& exchange,
                                                           const WebSettings& settings)
{
    auto given = CredentialsOf(exchange.connection);
    if (!given) {
        return Answer(exchange, Unauthorized());
    }
    const BasicAuth::Verdict verdict =
        basicAuth_.Check(settings.users, given->user, given->password,
                         [this, number = exchange.number](bool good) { Admit(number, good); });
    explicit_bzero(given->password.data(), given->password.size());
    switch (verdict) {
        case BasicAuth::Verdict::kGood:
            return std::nullopt;
        case BasicAuth::Verdict::kBad:
            return Answer(exchange, Unauthorized());
        case BasicAuth::Verdict::kPending:
            Suspend(exchange);
            return MHD_YES;
        case BasicAuth::Verdict::kBusy:
            break;
    }
    return Answer(exchange, PlainText(503, "too many passwords are being checked; try again"));
}

void HttpServer::Thread::Admit(std::uint64_t number, bool good)
{
    if (!good) {
        Deliver(number, Unauthorized());
        return;
    }
    const auto found = exchanges_.find(number);
    if (found != exchanges_.end() && found->second.suspended) {
        found->second.admitted = true;
        found->second.suspended = false;
        MHD_resume_connection(found->second.connection);
    }
}

void HttpServer::Thread::Suspend(Exchange& exchange)
{
    exchange.suspended = true;
    MHD_suspend_connection(exchange.connection);
}

MHD_Result HttpServer::Thread::Ask(Exchange& exchange, HttpRequest&& request)
{
    const auto answer = std::make_shared<PendingAnswer>(
        mailbox_, exchange.number, [this](std::uint64_t number, HttpResponse&& response) {
            Deliver(number, std::move(response));
        });
    Suspend(exchange);
    try {
        handler_(std::move(request),
                 [answer](HttpResponse response) { answer->Give(std::move(response)); });
    } catch (const std::exception&) {
        answer->Give(PlainText(500, "this request could not be handled"));
    }
    return MHD_YES;
}

MHD_Result HttpServer::Thread::Answer(Exchange& exchange, HttpResponse&& response)
{
    connections_.Enter(*exchange.entry, Activity::kSending);
    response.headers.insert(response.headers.end(), settings_->headers.begin(),
                            settings_->headers.end());
    return Queue(exchange.connection, std::move(response));
}

void HttpServer::Thread::Deliver(std::uint64_t number, HttpResponse&& response)
{
    const auto found = exchanges_.find(number);
    if (found != exchanges_.end() && found->second.suspended) {
        found->second.response = std::move(response);
        found->second.suspended = false;
        MHD_resume_connection(found->second.connection);
    }
}

void HttpServer::Thread::Forget(Exchange& exchange)
{
    connections_.Enter(*exchange.entry, Activity::kKeptAlive);
    exchanges_.erase(exchange.number);
}

HttpServer::HttpServer(HttpServerOptions options, Handler handler)
    : thread_(std::make_unique<Thread>(std::move(options), std::move(handler)))
{
}

HttpServer::~HttpServer() = default;

const std::string& HttpServer::Address() const
{
    return thread_->Address();
}

bool HttpServer::SpeaksTls() const
{
    return thread_->SpeaksTls();
}

void HttpServer::Stop()
{
    thread_->Stop();
}

}  // namespace Tulvo::Exporter
