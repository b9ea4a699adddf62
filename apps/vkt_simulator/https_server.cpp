// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/https_server.h"

#include <httplib.h>
#include <openssl/ssl.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "apps/vkt_simulator/connection_threads.h"
#include "apps/vkt_simulator/https_service.h"
#include "apps/vkt_simulator/memory_file.h"
#include "apps/vkt_simulator/open_connections.h"
#include "apps/vkt_simulator/redfish_error.h"
#include "apps/vkt_simulator/request_limit.h"
#include "apps/vkt_simulator/server_certificate.h"

namespace Tulvo::Simulator {

namespace {

constexpr std::size_t kMostConnections = 16;    // served at a time; each takes a thread
constexpr std::size_t kMostRequests = 1000000;  // on one connection
constexpr std::size_t kLongestTarget = 256;
constexpr std::size_t kLongestBody = 4096;
// A body up to this length is read to its end, so that whoever sends it sees the refusal and not a
// broken connection.
constexpr std::size_t kMostDrained = std::size_t{1} << 20U;
// Longer than a client pauses between two tries, so that it finds its connection again.
constexpr int kKeepAliveSeconds = 30;
constexpr const char* kJson = "application/json";
// In a reply it tells the client, and EndIfAsked(), that the connection ends.
constexpr const char* kConnection = "Connection";
constexpr const char* kClose = "close";

// What the library takes for the threads that it starts and ends itself.
class TaskQueue : public httplib::TaskQueue
{
public:
    explicit TaskQueue(ConnectionThreads& threads) : threads_(threads) {}

    void enqueue(std::function<void()> serve) override { threads_.Enqueue(std::move(serve)); }
    void shutdown() override { threads_.Finish(); }

private:
    ConnectionThreads& threads_;
};

bool HasBody(const httplib::Request& request)
{
    return request.has_header("Transfer-Encoding") || request.has_header("Content-Length");
}

// What is not worth reading: the library would follow a length of terabytes to its end, and take
// forms to pieces.
bool IsReadable(const httplib::Request& request)
{
    return request.get_header_value<std::uint64_t>("Content-Length") <= kMostDrained &&
           !request.is_multipart_form_data();
}

struct Body
{
    std::string text;
    BodyState state = BodyState::kTooLong;
    bool readToItsEnd = false;
};

Body ReadBody(const httplib::Request& request, const httplib::ContentReader& read)
{
    Body body;
    if (!IsReadable(request)) {
        return body;
    }
    std::size_t length = 0;
    body.readToItsEnd = read([&](const char* bytes, std::size_t count) {
        length += count;
        if (length <= kLongestBody) {
            body.text.append(bytes, count);
        }
        return length <= kMostDrained;
    });
    if (length <= kLongestBody) {
        body.state = body.readToItsEnd ? BodyState::kWhole : BodyState::kUnreadable;
    }
    return body;
}

HttpsRequest Translate(const httplib::Request& request)
{
    HttpsRequest result;
    result.method = request.method;
    result.target = request.target;
    result.authorization = request.get_header_value("Authorization");
    result.token = request.get_header_value("X-Auth-Token");
    result.contentType = request.get_header_value("Content-Type");
    result.odataVersion = request.get_header_value("OData-Version");
    return result;
}

void Translate(const HttpsReply& reply, httplib::Response& response)
{
    response.status = reply.status;
    response.set_header("OData-Version", "4.0");
    for (const auto& [name, value] : reply.headers) {
        response.set_header(name, value);
    }
    if (!reply.body.empty()) {
        response.set_content(reply.body, kJson);
    }
}

// Of the connection that this thread serves.
thread_local RequestLimit thisLimit;

// OpenSSL calls this before it reads from a socket, and after. Beyond the limit the socket seems to
// be broken for reading, so that the library gives up the request; it can still write why.
long LimitReads(BIO* socket, int operation, const char* /*data*/, std::size_t /*size*/,
                int /*argument*/, long /*argument*/, int result, std::size_t* count)
{
    if (operation == (BIO_CB_READ | BIO_CB_RETURN) && result > 0) {
        thisLimit.Count(*count);
    }
    if (operation == BIO_CB_READ && !thisLimit.Allows(RequestLimit::Clock::now())) {
        BIO_clear_retry_flags(socket);
        return -1;
    }
    return result;
}

// Replies of the library itself, to what is hardly HTTP. What follows in such a connection could
// be anything.
void CompleteRefusal(const httplib::Request& /*request*/, httplib::Response& response)
{
    if (!response.body.empty()) {
        return;
    }
    if (thisLimit.IsUsedUp()) {
        Translate(RedfishError(431, "the header is too long"), response);
    } else {
        Translate(RedfishError(response.status, "this is not a request that is served here"),
                  response);
    }
    response.set_header(kConnection, kClose);
}

// Not SO_REUSEPORT, the library's own choice: two simulators would share one port.
void AllowQuickRestart(int socket)
{
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

}  // namespace

class HttpsServer::Impl
{
public:
    Impl(const std::string& address, std::uint16_t port, const Scenario& scenario)
        : certificate_(address,
                       scenario.https.expiredCertificate ? Validity::kExpired : Validity::kCurrent),
          file_(MakeMemoryFile("certificate", certificate_.Pem())),
          service_(scenario),
          server_([this](SSL_CTX& context) { return SetUpTls(context); })
    {
        Configure();
        RegisterHandlers();
        Bind(address, port);
        thread_ = std::thread([this] {
            server_.listen_after_bind();
            ended_ = true;
        });
        // Before that, the library would not notice that it is asked to stop.
        while (!server_.is_running() && !ended_) {
            std::this_thread::yield();
        }
    }

    ~Impl()
    {
        server_.stop();
        connections_.EndAll();
        thread_.join();
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    std::uint16_t Port() const { return port_; }
    const ServerCertificate& Certificate() const { return certificate_; }
    const FileDescriptor& File() const { return file_; }
    HttpsStatistics Statistics() { return {handshakes_, requests_, service_.OpenSessions()}; }

private:
    bool SetUpTls(SSL_CTX& context)
    {
        SSL_CTX_set_app_data(&context, this);
        SSL_CTX_set_info_callback(&context, Watch);
        return SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) == 1 &&
               SSL_CTX_use_certificate(&context, certificate_.Certificate()) == 1 &&
               SSL_CTX_use_PrivateKey(&context, certificate_.Key()) == 1;
    }

    // A connection is served on one thread, and here is where OpenSSL first tells its socket.
    static void Watch(const SSL* tls, int where, int /*value*/)
    {
        Impl& server = *static_cast<Impl*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(tls)));
        if ((where & SSL_CB_HANDSHAKE_START) != 0) {
            server.connections_.Enter(SSL_get_fd(tls));
            thisLimit.BeginHeader();
            BIO_set_callback_ex(SSL_get_rbio(tls), LimitReads);
        }
        if ((where & SSL_CB_HANDSHAKE_DONE) != 0) {
            ++server.handshakes_;
            thisLimit.BeginHeader();
        }
    }

    void Configure()
    {
        server_.new_task_queue = [this] { return new TaskQueue(threads_); };
        server_.set_socket_options(AllowQuickRestart);
        server_.set_tcp_nodelay(true);
        server_.set_keep_alive_max_count(kMostRequests);
        server_.set_keep_alive_timeout(kKeepAliveSeconds);
        server_.set_payload_max_length(kMostDrained);
    }

    void RegisterHandlers()
    {
        using httplib::Request;
        using httplib::Response;
        const auto withBody = [this](const Request& request, Response& response,
                                     const httplib::ContentReader& read) {
            Handle(request, response, ReadBody(request, read));
        };
        const auto withoutBody = [this](const Request& request, Response& response) {
            Handle(request, response, {"", BodyState::kWhole, !HasBody(request)});
        };
        server_.Post(".*", withBody).Put(".*", withBody).Patch(".*", withBody);
        server_.Delete(".*", withBody).Get(".*", withoutBody).Options(".*", withoutBody);
        server_.set_pre_routing_handler(CheckHeader);
        server_.set_error_handler(httplib::Server::Handler(CompleteRefusal));
        server_.set_logger(
            [this](const Request& /*request*/, const Response& response) { EndIfAsked(response); });
    }

    // The library matches its patterns with a recursion for every character.
    static httplib::Server::HandlerResponse CheckHeader(const httplib::Request& request,
                                                        httplib::Response& response)
    {
        thisLimit.BeginBody();
        if (request.target.size() <= kLongestTarget) {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        response.status = 404;
        return httplib::Server::HandlerResponse::Handled;
    }

    void Handle(const httplib::Request& request, httplib::Response& response, const Body& body)
    {
        ++requests_;
        HttpsRequest translated = Translate(request);
        translated.body = body.text;
        translated.bodyState = body.state;
        const HttpsReply reply = service_.Answer(translated);
        connections_.Pause(reply.latency);
        if (reply.closed) {
            connections_.EndThis();
        }
        Translate(reply, response);
        if (!body.readToItsEnd) {
            response.set_header(kConnection, kClose);
        }
    }

    // The library calls this after a reply was written.
    void EndIfAsked(const httplib::Response& response)
    {
        thisLimit.BeginHeader();
        if (response.get_header_value(kConnection) == kClose) {
            connections_.EndThis();
        }
    }

    void Bind(const std::string& address, std::uint16_t port)
    {
        const int bound = port == 0                             ? server_.bind_to_any_port(address)
                          : server_.bind_to_port(address, port) ? port
                                                                : -1;
        if (bound <= 0) {
            throw std::runtime_error("cannot listen on TCP port " + std::to_string(port) + " of " +
                                     address + "; choose another with --https-port");
        }
        port_ = static_cast<std::uint16_t>(bound);
    }

    ServerCertificate certificate_;
    FileDescriptor file_;
    HttpsService service_;
    OpenConnections connections_;
    ConnectionThreads threads_{connections_, kMostConnections};
    std::atomic<std::uint64_t> handshakes_ = 0;
    std::atomic<std::uint64_t> requests_ = 0;
    httplib::SSLServer server_;
    std::uint16_t port_ = 0;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

HttpsServer::HttpsServer(const std::string& address, std::uint16_t port, const Scenario& scenario)
try : impl_(std::make_unique<Impl>(address, port, scenario)) {
} catch (const std::system_error& fault) {
    throw std::runtime_error(std::string("the HTTPS server cannot start: ") + fault.what());
}

HttpsServer::~HttpsServer() = default;

std::uint16_t HttpsServer::Port() const
{
    return impl_->Port();
}

std::string HttpsServer::CertificateFile() const
{
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(impl_->File().Get());
}

std::string HttpsServer::Pin() const
{
    return impl_->Certificate().Pin();
}

HttpsStatistics HttpsServer::Statistics() const
{
    return impl_->Statistics();
}

}  // namespace Tulvo::Simulator
