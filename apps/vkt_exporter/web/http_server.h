// SPDX-License-Identifier: Apache-2.0
/// @file
/// An HTTP/1.1 server whose answers may take their time: one thread serves all connections, and a
/// request that waits for its answer costs no other.
#ifndef APPS_VKT_EXPORTER_WEB_HTTP_SERVER_H
#define APPS_VKT_EXPORTER_WEB_HTTP_SERVER_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tulvo::Exporter {

/// As names of header fields are compared: ASCII letters of both cases are the same.
struct CaseInsensitive
{
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const;
};

struct HttpRequest
{
    std::string method;  ///< "GET", "HEAD" or "POST"; the server refuses all others.
    std::string path;    ///< Decoded, without the query.
    /// Decoded, in the order of the request; a name without "=" has an empty value.
    std::vector<std::pair<std::string, std::string>> query;
    /// Of a field that came several times the values stand behind one another, separated by ", ".
    /// Authorization is not among them.
    std::map<std::string, std::string, CaseInsensitive> headers;
};

struct HttpResponse
{
    int status = 200;
    std::string contentType;  ///< Empty for none.
    std::string body;
    /// Further fields. A name or value that would break out of its line makes the answer a 500.
    std::vector<std::pair<std::string, std::string>> headers;
};

/// Answers one request: once, from any thread, also after the server has ended, which drops it. Of
/// several calls the first counts. When the last copy goes without a call the answer is 500.
using Respond = std::function<void(HttpResponse)>;
/// Takes a request, answers then or later. It must not block: it runs in the server's thread.
using Handler = std::function<void(HttpRequest, Respond)>;

/// How long a connection may take.
struct Timeouts
{
    std::chrono::milliseconds request{10'000};  ///< From the connection to its first whole request.
    /// The first part of that, in which idle ones give way before it: its request is on its way.
    std::chrono::milliseconds grace{1'000};
    /// From an answer to the next whole request. A scraper that comes every two minutes need not
    /// connect anew.
    std::chrono::milliseconds nextRequest{150'000};
    std::chrono::milliseconds answer{60'000};  ///< To take an answer.
};

struct HttpServerOptions
{
    /// "127.0.0.1:9842", "[::1]:9842", "localhost:9842"; ":9842" for every address of the host.
    /// Port 0 is a free one.
    std::string listenAddress;
    /// When there are as many, one that does nothing gives way to a new one. Two Prometheus servers
    /// that read 512 enclosures at a time have room.
    std::size_t maxConnections = 1024;
    Timeouts timeouts = {};
    /// The web configuration file that Prometheus' exporters share; empty for none: plain HTTP, and
    /// nobody logs in. It is read anew when it or a file that it names changes.
    std::string webConfigFile = {};
    /// Is told what the operator should know, such as a mistake in a changed file, or that
    /// connections wait because something ran out: seldom, and nothing secret. In the constructor's
    /// thread, then in the server's.
    std::function<void(const std::string&)> warn = [](const std::string&) {};
};

/// Serves from construction on. Only complete requests without a body reach the handler; what is
/// malformed, too long or too slow is refused here.
class HttpServer
{
public:
    /// @throws std::runtime_error with what to do about it: no such address, port in use, a mistake
    /// in the web configuration.
    HttpServer(HttpServerOptions options, Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Where it listens, with the port that was chosen: "127.0.0.1:9842".
    const std::string& Address() const;
    /// Which does not change as long as it runs.
    bool SpeaksTls() const;
    /// Answers what is outstanding with 503, closes all connections and returns when its own thread
    /// has ended. Handlers are not called any more then. For any thread but the server's.
    void Stop();

private:
    class Thread;
    std::unique_ptr<Thread> thread_;
};

}  // namespace Tulvo::Exporter

#endif
