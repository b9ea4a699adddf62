// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/https_server.h"

#include <fcntl.h>
#include <httplib.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "apps/vkt_simulator/connection_threads.h"
#include "apps/vkt_simulator/https_service.h"
#include "apps/vkt_simulator/memory_file.h"
#include "apps/vkt_simulator/open_connections.h"
#include "apps/vkt_simulator/redfish_error.h"
#include "apps/vkt_simulator/request_limit.h"
#include "apps/vkt_simulator/server_certificate.h"
#include "apps/vkt_simulator/tcp_listeners.h"
#include "apps/vkt_simulator/tls_stream.h"

namespace Tulvo::Simulator {

namespace {

// Served at a time, each by a thread.
constexpr std::size_t kMostConnectionsOfAnEnclosure = 16;
constexpr std::size_t kMostConnections = 1024;
constexpr std::size_t kMostRequests = 1000000;  // on one connection
constexpr std::size_t kLongestTarget = 256;
constexpr std::size_t kLongestBody = 4096;
// A body up to this length is read to its end, so that whoever sends it sees the refusal and not a
// broken connection.
constexpr std::size_t kMostDrained = std::size_t{1} << 20U;
// Longer than a client pauses between two tries, so that it finds its connection again.
constexpr std::chrono::seconds kKeepAlive{30};
constexpr const char* kJson = "application/json";
// In a reply it tells the client, and EndIfAsked(), that the connection ends.
constexpr const char* kConnection = "Connection";
constexpr const char* kClose = "close";

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

// What this thread serves.
struct Connection
{
    int socket;
    HttpsService& service;
    RequestLimit limit;
    bool ending = false;
    std::shared_ptr<const FileDescriptor> answering = nullptr;  // as in AnswersUnderWay
};
thread_local Connection* thisConnection = nullptr;

// OpenSSL calls this before it reads from a socket, and after. Beyond the limit the socket seems to
// be broken for reading, so that the library gives up the request; it can still write why.
long LimitReads(BIO* socket, int operation, const char* /*data*/, std::size_t /*size*/,
                int /*argument*/, long /*argument*/, int result, std::size_t* count)
{
    if (operation == (BIO_CB_READ | BIO_CB_RETURN) && result > 0) {
        thisConnection->limit.Count(*count);
    }
    if (operation == BIO_CB_READ && !thisConnection->limit.Allows(RequestLimit::Clock::now())) {
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
    if (thisConnection->limit.IsUsedUp()) {
        Translate(RedfishError(431, "the header is too long"), response);
    } else {
        Translate(RedfishError(response.status, "this is not a request that is served here"),
                  response);
    }
    response.set_header(kConnection, kClose);
}

// The library's handling of requests, with connections that are not its own.
class HttpServer : public httplib::Server
{
public:
    using httplib::Server::process_request;
};

// A key with its certificate, and what serves with them.
class TlsIdentity
{
public:
    TlsIdentity(const std::string& address, Validity validity)
        : certificate_(address, validity),
          file_(MakeMemoryFile("certificate", certificate_.Pem())),
          context_(SSL_CTX_new(TLS_server_method()), SSL_CTX_free)
    {
        if (context_ == nullptr ||
            SSL_CTX_set_min_proto_version(context_.get(), TLS1_2_VERSION) != 1 ||
            SSL_CTX_use_certificate(context_.get(), certificate_.Certificate()) != 1 ||
            SSL_CTX_use_PrivateKey(context_.get(), certificate_.Key()) != 1) {
            throw std::runtime_error("OpenSSL does not serve with the certificate");
        }
    }

    SSL_CTX* Context() const { return context_.get(); }
    const ServerCertificate& Certificate() const { return certificate_; }
    const FileDescriptor& File() const { return file_; }

private:
    ServerCertificate certificate_;
    FileDescriptor file_;
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context_;
};

// Tells when all answers of a state have been sent. Each holds one end of a pipe as long as it
// is under way.
class AnswersUnderWay
{
public:
    AnswersUnderWay() { Renew(); }

    std::shared_ptr<const FileDescriptor> Hold()
    {
        const std::lock_guard lock(mutex_);
        return held_;
    }
    /// The end that hangs up when all that is held now has been let go.
    FileDescriptor Renew()
    {
        std::array<int, 2> pipe = {};
        if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
        }
        FileDescriptor end(pipe[0]);
        auto held = std::make_shared<const FileDescriptor>(pipe[1]);
        const std::lock_guard lock(mutex_);
        held_.swap(held);
        return std::exchange(end_, std::move(end));
    }

private:
    std::mutex mutex_;
    std::shared_ptr<const FileDescriptor> held_;
    FileDescriptor end_;
};

struct Place
{
    Place(std::uint16_t number, const TlsIdentity& shown, const Scenario& scenario)
        : port(number), identity(shown), service(scenario)
    {
    }

    const std::uint16_t port;
    const TlsIdentity& identity;
    HttpsService service;
};

}  // namespace

class HttpsServer::Impl
{
public:
    Impl(const std::string& address, std::uint16_t firstPort,
         const std::vector<const Scenario*>& scenarios)
        : threads_([this](std::size_t place,
                          const FileDescriptor& socket) { Serve(places_[place], socket.Get()); },
                   std::min(kMostConnections, scenarios.size() * kMostConnectionsOfAnEnclosure))
    {
        Configure();
        RegisterHandlers();
        for (const Scenario* const scenario : scenarios) {
            AddPlace(address, firstPort, *scenario);
        }
        listeners_.Start([this](std::size_t place, FileDescriptor socket) {
            threads_.Start(place, std::move(socket));
        });
    }

    // No connection is accepted any more once the listeners have stopped, and none is read or
    // written: the threads come to their end. Those that wait for room need that, too.
    ~Impl()
    {
        connections_.EndAll();
        listeners_.Stop();
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    const Place& At(std::size_t enclosure) const { return places_.at(enclosure); }
    FileDescriptor Change(const std::vector<const Scenario*>& scenarios)
    {
        for (std::size_t i = 0; i < places_.size(); ++i) {
            places_[i].service.Change(*scenarios.at(i));
        }
        return underWay_.Renew();
    }
    HttpsStatistics Statistics()
    {
        HttpsStatistics statistics = {handshakes_, requests_, 0};
        for (Place& place : places_) {
            statistics.openSessions += place.service.OpenSessions();
        }
        return statistics;
    }

private:
    void Configure()
    {
        http_.set_keep_alive_max_count(kMostRequests);
        http_.set_keep_alive_timeout(kKeepAlive.count());
        http_.set_payload_max_length(kMostDrained);
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
        http_.Post(".*", withBody).Put(".*", withBody).Patch(".*", withBody);
        http_.Delete(".*", withBody).Get(".*", withoutBody).Options(".*", withoutBody);
        http_.set_pre_routing_handler(CheckHeader);
        http_.set_error_handler(httplib::Server::Handler(CompleteRefusal));
        http_.set_logger(
            [](const Request& /*request*/, const Response& response) { EndIfAsked(response); });
    }

    void AddPlace(const std::string& address, std::uint16_t firstPort, const Scenario& scenario)
    {
        const auto validity =
            scenario.https.expiredCertificate ? Validity::kExpired : Validity::kCurrent;
        const std::size_t number = places_.size();
        const auto port = static_cast<std::uint16_t>(firstPort == 0 ? 0 : firstPort + number);
        places_.emplace_back(Bind(address, port), IdentityOf(address, validity), scenario);
    }

    // One for all enclosures: what is trusted is the simulator.
    const TlsIdentity& IdentityOf(const std::string& address, Validity validity)
    {
        std::optional<TlsIdentity>& identity = identities_.at(static_cast<std::size_t>(validity));
        return identity ? *identity : identity.emplace(address, validity);
    }

    std::uint16_t Bind(const std::string& address, std::uint16_t port)
    {
        try {
            return listeners_.Add(SocketAddress(address, port));
        } catch (const std::system_error& fault) {
            if (fault.code() == std::errc::too_many_files_open) {
                throw;
            }
            throw CannotListen("TCP", address, port, fault.code(), "--https-port");
        }
    }

    void Serve(Place& place, int socket)
    {
        connections_.Enter(socket);
        {
            Connection connection{socket, place.service, {}};
            thisConnection = &connection;
            TlsStream stream(place.identity.Context(), socket);
            BIO_set_callback_ex(stream.Input(), LimitReads);
            if (stream.Accept()) {
                ++handshakes_;
                ServeRequests(stream, connection);
            }
        }
        connections_.Leave(socket);
    }

    void ServeRequests(TlsStream& stream, Connection& connection)
    {
        for (std::size_t left = kMostRequests; left > 0 && !connection.ending; --left) {
            connection.limit.BeginHeader();
            bool closed = false;
            if (!stream.WaitForInput(kKeepAlive) ||
                !http_.process_request(stream, left == 1, closed, nullptr) || closed) {
                return;
            }
            connection.answering.reset();
        }
    }

    // The library matches its patterns with a recursion for every character.
    static httplib::Server::HandlerResponse CheckHeader(const httplib::Request& request,
                                                        httplib::Response& response)
    {
        thisConnection->limit.BeginBody();
        if (request.target.size() <= kLongestTarget) {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        response.status = 404;
        return httplib::Server::HandlerResponse::Handled;
    }

    void Handle(const httplib::Request& request, httplib::Response& response, const Body& body)
    {
        thisConnection->answering = underWay_.Hold();
        ++requests_;
        HttpsRequest translated = Translate(request);
        translated.body = body.text;
        translated.bodyState = body.state;
        const HttpsReply reply = thisConnection->service.Answer(translated);
        connections_.Pause(reply.latency);
        if (reply.closed) {
            shutdown(thisConnection->socket, SHUT_RDWR);
        }
        Translate(reply, response);
        if (!body.readToItsEnd) {
            response.set_header(kConnection, kClose);
        }
    }

    // The library calls this after a reply was written.
    static void EndIfAsked(const httplib::Response& response)
    {
        thisConnection->ending = response.get_header_value(kConnection) == kClose;
    }

    std::array<std::optional<TlsIdentity>, 2> identities_;  // by validity
    std::deque<Place> places_;
    AnswersUnderWay underWay_;
    HttpServer http_;
    OpenConnections connections_;
    std::atomic<std::uint64_t> handshakes_ = 0;
    std::atomic<std::uint64_t> requests_ = 0;
    ConnectionThreads threads_;
    TcpListeners listeners_;
};

HttpsServer::HttpsServer(const std::string& address, std::uint16_t firstPort,
                         const std::vector<const Scenario*>& scenarios)
try : impl_(std::make_unique<Impl>(address, firstPort, scenarios)) {
} catch (const std::system_error& fault) {
    throw std::runtime_error(std::string("the HTTPS server cannot start: ") + fault.what());
}

HttpsServer::~HttpsServer() = default;

std::uint16_t HttpsServer::Port(std::size_t enclosure) const
{
    return impl_->At(enclosure).port;
}

std::string HttpsServer::CertificateFile(std::size_t enclosure) const
{
    return "/proc/" + std::to_string(getpid()) + "/fd/" +
           std::to_string(impl_->At(enclosure).identity.File().Get());
}

std::string HttpsServer::Pin(std::size_t enclosure) const
{
    return impl_->At(enclosure).identity.Certificate().Pin();
}

FileDescriptor HttpsServer::Change(const std::vector<const Scenario*>& scenarios)
{
    return impl_->Change(scenarios);
}

HttpsStatistics HttpsServer::Statistics() const
{
    return impl_->Statistics();
}

}  // namespace Tulvo::Simulator
