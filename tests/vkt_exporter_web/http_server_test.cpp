// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/http_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/few_descriptors.h"
#include "tests/vkt_exporter_web/client.h"

namespace Tulvo::Exporter {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr auto kLongestWait = std::chrono::seconds(60);

HttpServerOptions Anywhere()
{
    HttpServerOptions options;
    options.listenAddress = "127.0.0.1:0";
    return options;
}

/// Says what request it got.
void Echo(const HttpRequest& request, const Respond& respond)
{
    HttpResponse response;
    response.contentType = "text/plain";
    response.body = request.method + " " + request.path + "\n";
    for (const auto& [name, value] : request.query) {
        response.body.append(name).append("=").append(value).append("\n");
    }
    for (const auto& [name, value] : request.headers) {
        response.body.append(name).append(": ").append(value).append("\n");
    }
    respond(response);
}

TEST(HttpServer, HandsOnARequestDecoded)
{
    const HttpServer server(Anywhere(), Echo);
    const std::string answer =
        Get(server.Address(), "/a%20b?target=n%2b1&collect[]=x+y&collect[]=z&flag", "X-One: 1\r\n");
    EXPECT_THAT(answer, AllOf(StartsWith("HTTP/1.1 200 OK\r\n"),
                              HasSubstr("\r\nContent-Type: text/plain\r\n")));
    EXPECT_EQ(Body(answer),
              "GET /a b\ntarget=n+1\ncollect[]=x y\ncollect[]=z\nflag=\nHost: test\nX-One: 1\n");
}

TEST(HttpServer, ComparesNamesOfHeaderFieldsWithoutCase)
{
    const HttpServer server(Anywhere(), [](const HttpRequest& request, const Respond& respond) {
        respond({.status = 200,
                 .contentType = "",
                 .body = request.headers.at("X-TIME"),
                 .headers = {{"X-Own", "value"}}});
    });
    const std::string answer = Get(server.Address(), "/", "x-time: 1\r\nX-Time: 2\r\n");
    EXPECT_EQ(Body(answer), "1, 2");
    EXPECT_THAT(answer, HasSubstr("\r\nX-Own: value\r\n"));
}

TEST(HttpServer, AnswersLaterFromAnotherThread)
{
    std::promise<Respond> asked;
    const HttpServer server(Anywhere(),
                            [&asked](const HttpRequest& request, const Respond& respond) {
                                if (request.path == "/slow") {
                                    asked.set_value(respond);
                                } else {
                                    Echo(request, respond);
                                }
                            });
    Client slow(server.Address());
    slow.Send("GET /slow HTTP/1.1\r\nHost: test\r\n\r\n");
    std::future<Respond> waiting = asked.get_future();
    ASSERT_EQ(waiting.wait_for(kLongestWait), std::future_status::ready);
    EXPECT_EQ(Body(Get(server.Address(), "/quick")), "GET /quick\nHost: test\n");
    std::thread([respond = waiting.get()] {
        respond({.status = 200, .contentType = "", .body = "first", .headers = {}});
        respond({.status = 200, .contentType = "", .body = "second", .headers = {}});
    }).join();
    EXPECT_EQ(Body(slow.Answer()), "first");
}

struct BadRequest
{
    const char* what;
    std::string bytes;
    std::string status;
};

void PrintTo(const BadRequest& request, std::ostream* stream)
{
    *stream << request.what;
}

std::string Host(const std::string& line)
{
    return line + "\r\nHost: test\r\n";
}

std::string ManyFields(int count)
{
    std::string fields;
    for (int i = 0; i < count; ++i) {
        fields += "X-" + std::to_string(i) + ": 1\r\n";
    }
    return fields;
}

const BadRequest kBadRequests[] = {
    {"64 KiB of query", Host("GET /probe?target=" + std::string(65536, 'a') + " HTTP/1.1") + "\r\n",
     "414 URI Too Long"},
    {"64 KiB of encoded query",
     Host("GET /probe?" + std::string(65536, '%') + " HTTP/1.1") + "\r\n", "414 URI Too Long"},
    {"a long header field", Host("GET / HTTP/1.1") + "X: " + std::string(65536, 'a') + "\r\n\r\n",
     "431 Request Header Fields Too Large"},
    {"thousands of header fields", Host("GET / HTTP/1.1") + ManyFields(5000) + "\r\n",
     "431 Request Header Fields Too Large"},
    {"no host", "GET / HTTP/1.1\r\n\r\n", "400 Bad Request"},
    {"a NUL in the path", Host("GET /probe%00/metrics HTTP/1.1") + "\r\n", "400 Bad Request"},
    {"a NUL in the query", Host("GET /probe?target=a%00b HTTP/1.1") + "\r\n", "400 Bad Request"},
    {"another method", Host("DELETE / HTTP/1.1") + "\r\n", "405 Method Not Allowed"},
    {"an unknown method", Host("get / HTTP/1.1") + "\r\n", "405 Method Not Allowed"},
    {"a body", Host("POST /-/reload HTTP/1.1") + "Content-Length: 5\r\n\r\nhello",
     "413 Content Too Large"},
    {"a body of any length",
     Host("POST / HTTP/1.1") + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
     "413 Content Too Large"},
    {"a body behind two lengths",
     Host("GET / HTTP/1.1") + "Content-Length: 0\r\nContent-Length: 5\r\n\r\nhello",
     "413 Content Too Large"},
};

class HttpServerRefuses : public testing::TestWithParam<BadRequest>
{
};

TEST_P(HttpServerRefuses, AndServesTheNext)
{
    std::atomic<int> asked = 0;
    const HttpServer server(Anywhere(),
                            [&asked](const HttpRequest& request, const Respond& respond) {
                                ++asked;
                                Echo(request, respond);
                            });
    Client client(server.Address());
    client.Send(GetParam().bytes);
    EXPECT_EQ(StatusLine(client.Answer()), "HTTP/1.1 " + GetParam().status);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(StatusLine(Get(server.Address(), "/")), "HTTP/1.1 200 OK");
}

INSTANTIATE_TEST_SUITE_P(Each, HttpServerRefuses, testing::ValuesIn(kBadRequests));

TEST(HttpServer, EndsAConnectionThatSendsNoHttp)
{
    HttpServerOptions options = Anywhere();
    options.timeouts.request = std::chrono::seconds(2);
    const HttpServer server(options, Echo);
    const std::string garbage[] = {
        "",
        "GET / HT",
        std::string(100, '\0') + "\r\n\r\n",
        std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11),
        std::string(70000, 'A'),
        "GET\r\n\r\n",
        "GET / HTTP/9.9\r\nHost: test\r\n\r\n",
        "GET /a b HTTP/1.1\r\nHost: test\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: test\r\nno colon\r\n\r\n",
    };
    std::vector<Client> clients;
    for (const std::string& bytes : garbage) {
        const Client& client = clients.emplace_back(server.Address());
        client.Send(bytes);
        client.EndSending();
    }
    for (std::size_t i = 0; i < clients.size(); ++i) {
        EXPECT_THAT(clients[i].UntilClosed(), Not(HasSubstr(" 200 ")))
            << testing::PrintToString(garbage[i]);
    }
    EXPECT_EQ(StatusLine(Get(server.Address(), "/")), "HTTP/1.1 200 OK");
}

TEST(HttpServer, AnswersSeveralRequestsOfOneConnectionInOrder)
{
    const HttpServer server(Anywhere(), Echo);
    Client client(server.Address());
    client.Send(Host("GET /1 HTTP/1.1") + "\r\n" + Host("HEAD /2 HTTP/1.1") + "\r\n" +
                Host("POST /3 HTTP/1.1") + "Connection: close\r\n\r\n");
    EXPECT_EQ(Body(client.Answer()), "GET /1\nHost: test\n");
    const std::string rest = client.UntilClosed();
    EXPECT_THAT(rest, StartsWith("HTTP/1.1 200 OK"));
    EXPECT_THAT(rest, Not(HasSubstr("HEAD /2\n"))) << "an answer to HEAD has no body";
    EXPECT_THAT(rest, HasSubstr("\r\n\r\nPOST /3\n"));
}

TEST(HttpServer, AnswersForAHandlerThatDoesNot)
{
    const HttpServer server(Anywhere(), [](const HttpRequest& request, const Respond& respond) {
        if (request.path == "/throws") {
            throw std::runtime_error("no");
        }
        if (request.path == "/splits") {
            respond({.status = 200,
                     .contentType = "",
                     .body = "",
                     .headers = {{"X-Target", "a\r\nSet-Cookie: b"}}});
        }
        if (request.path == "/cuts") {
            respond(
                {.status = 200, .contentType = std::string("a\0b", 3), .body = "", .headers = {}});
        }
    });
    for (const char* place : {"/forgets", "/throws", "/splits", "/cuts"}) {
        const std::string answer = Get(server.Address(), place);
        EXPECT_EQ(StatusLine(answer), "HTTP/1.1 500 Internal Server Error") << place;
        EXPECT_THAT(answer, Not(HasSubstr("Cookie"))) << place;
    }
}

/// A handler whose answers the test gives.
class Held
{
public:
    Handler Hold()
    {
        return [this](const HttpRequest&, Respond respond) {
            const std::lock_guard lock(mutex_);
            held_.push_back(std::move(respond));
            changed_.notify_one();
        };
    }

    Respond Next()
    {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, kLongestWait, [this] { return !held_.empty(); })) {
            throw std::runtime_error("no request came");
        }
        Respond next = std::move(held_.front());
        held_.pop_front();
        return next;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Respond> held_;
};

HttpResponse Text(const std::string& body)
{
    return {.status = 200, .contentType = "", .body = body, .headers = {}};
}

void Ask(const Client& client)
{
    client.Send(Host("GET / HTTP/1.1") + "\r\n");
}

TEST(HttpServer, OutlivesAClientThatGoesWhileItsAnswerIsMade)
{
    Held held;
    const HttpServer server(Anywhere(), held.Hold());
    {
        std::optional<Client> client(server.Address());
        Ask(*client);
        const Respond late = held.Next();
        client.reset();
        late(Text(std::string(1'000'000, 'x')));
    }
    Client client(server.Address());
    Ask(client);
    held.Next()(Text("good"));
    EXPECT_EQ(Body(client.Answer()), "good");
}

TEST(HttpServer, StopsWhileRequestsAreOutstanding)
{
    Held held;
    HttpServer server(Anywhere(), held.Hold());
    Client first(server.Address());
    Client second(server.Address());
    const Client silent(server.Address());
    Ask(first);
    Ask(second);
    const Respond late = held.Next();
    const Respond dropped = held.Next();
    server.Stop();
    for (Client* client : {&first, &second}) {
        EXPECT_EQ(StatusLine(client->UntilClosed()), "HTTP/1.1 503 Service Unavailable");
    }
    EXPECT_TRUE(silent.HasNews());
    late(Text("too late"));
    EXPECT_THROW(Client(server.Address()), std::system_error) << "the port is free again";
    server.Stop();
}

TEST(HttpServer, LeavesOutWhatASlowClientDoesNotSendOrTake)
{
    HttpServerOptions options = Anywhere();
    // An answer has been too slow long before the last of the others has been silent for too long.
    options.timeouts = {.request = std::chrono::seconds(3),
                        .nextRequest = std::chrono::seconds(3),
                        .answer = std::chrono::milliseconds(500)};
    std::string large;
    large.resize(50'000'000, 'x');
    const HttpServer server(options, [&large](const HttpRequest& request, const Respond& respond) {
        respond(Text(request.path == "/large" ? large : "small"));
    });
    Client silent(server.Address());
    Client slow(server.Address());
    slow.Send("GET / HTTP/1.1\r\nHo");
    Client keptAlive(server.Address());
    Ask(keptAlive);
    Client slowReader(server.Address());
    slowReader.Send(Host("GET /large HTTP/1.1") + "\r\n");
    EXPECT_EQ(silent.UntilClosed(), "");
    EXPECT_EQ(slow.UntilClosed(), "");
    EXPECT_THAT(keptAlive.UntilClosed(), HasSubstr("\r\n\r\nsmall"));
    EXPECT_LT(slowReader.UntilClosed().size(), large.size());
}

TEST(HttpServer, LetsTheSilentGiveWayBeforeTheKeptAlive)
{
    HttpServerOptions options = Anywhere();
    options.maxConnections = 2;
    const HttpServer server(options, Echo);
    Client keptAlive(server.Address());
    Ask(keptAlive);
    keptAlive.Answer();
    Client silent(server.Address());
    Client third(server.Address());
    Ask(third);
    EXPECT_EQ(StatusLine(third.Answer()), "HTTP/1.1 200 OK");
    EXPECT_EQ(silent.UntilClosed(), "");
    Ask(keptAlive);
    EXPECT_EQ(StatusLine(keptAlive.Answer()), "HTTP/1.1 200 OK");
    Client fourth(server.Address());
    Ask(fourth);
    EXPECT_EQ(StatusLine(fourth.Answer()), "HTTP/1.1 200 OK");
    EXPECT_EQ(third.UntilClosed(), "") << "it has been kept alive longest without a request";
}

TEST(HttpServer, LetsTheKeptAliveGiveWayBeforeThoseThatHaveJustCome)
{
    HttpServerOptions options = Anywhere();
    options.maxConnections = 8;
    options.timeouts.request = kLongestWait;
    options.timeouts.grace = kLongestWait;
    std::promise<void> waits;
    std::promise<void> goOn;
    const HttpServer server(options, [&](const HttpRequest& request, const Respond& respond) {
        if (request.path == "/wait") {
            waits.set_value();
            goOn.get_future().wait();
        }
        respond(Text("good"));
    });
    std::deque<Client> keptAlive;
    for (std::size_t i = 0; i < options.maxConnections; ++i) {
        Ask(keptAlive.emplace_back(server.Address()));
        keptAlive.back().Answer();
    }
    keptAlive.back().Send(Host("GET /wait HTTP/1.1") + "\r\n");
    waits.get_future().wait();
    std::deque<Client> together;  // the server sees them at once
    for (int i = 0; i < 3; ++i) {
        Ask(together.emplace_back(server.Address()));
    }
    goOn.set_value();
    for (Client& client : together) {
        EXPECT_EQ(Body(client.Answer()), "good");
    }
    EXPECT_EQ(Body(keptAlive.back().Answer()), "good");
    EXPECT_EQ(keptAlive.front().UntilClosed(), "");
}

TEST(HttpServer, LetsNoRequestGiveWay)
{
    HttpServerOptions options = Anywhere();
    options.maxConnections = 1;
    Held held;
    const HttpServer server(options, held.Hold());
    Client first(server.Address());
    Ask(first);
    const Respond answerFirst = held.Next();
    Client second(server.Address());
    Ask(second);
    answerFirst(Text("first"));
    EXPECT_EQ(Body(first.Answer()), "first");
    held.Next()(Text("second"));
    EXPECT_EQ(Body(second.Answer()), "second");
}

std::size_t ResidentBytes()
{
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::ptrdiff_t Threads()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

TEST(HttpServer, ServesANewScraperBehindTenThousandSilentConnections)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const std::size_t most = HttpServerOptions().maxConnections;
    const std::size_t count = std::min<std::size_t>(10'000, limit.rlim_max - most - 200);
    std::cout << count << " silent connections\n";

    const HttpServer server(Anywhere(), Echo);
    Client before(server.Address());
    Ask(before);
    before.Answer();
    const std::ptrdiff_t threads = Threads();
    const std::size_t resident = ResidentBytes();
    std::vector<Client> silent;
    silent.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        silent.emplace_back(server.Address());
    }
    EXPECT_EQ(StatusLine(Get(server.Address(), "/")), "HTTP/1.1 200 OK");
    Ask(before);
    EXPECT_EQ(StatusLine(before.Answer()), "HTTP/1.1 200 OK") << "a scraper that was there stays";
    EXPECT_EQ(Threads(), threads);
    // All ten thousand would take 200 MB.
    EXPECT_LT(ResidentBytes() - resident, 100'000'000U);
    const auto closed = std::count_if(silent.begin(), silent.end(),
                                      [](const Client& client) { return client.HasNews(); });
    EXPECT_GE(static_cast<std::size_t>(closed) + most, count);
}

TEST(HttpServer, RestsWithoutDescriptorsAndRecovers)
{
    Held held;
    HttpServerOptions options = Anywhere();
    std::promise<std::string> warned;
    options.warn = [&warned](const std::string& text) { warned.set_value(text); };
    const HttpServer server(options, held.Hold());
    Client first(server.Address());
    Ask(first);
    const Respond answerFirst = held.Next();
    std::optional<FewDescriptors> few(std::in_place, 1);
    Client second(server.Address());
    Ask(second);
    std::future<std::string> warning = warned.get_future();
    ASSERT_EQ(warning.wait_for(kLongestWait), std::future_status::ready);
    EXPECT_THAT(warning.get(), HasSubstr("Too many open files"));

    const auto before = ProcessorTime();
    EXPECT_FALSE(second.HasNews(500));
    EXPECT_LT(ProcessorTime() - before, std::chrono::milliseconds(100)) << "it spins";

    // The first connection is idle now, and has a descriptor to give.
    answerFirst(Text("first"));
    EXPECT_EQ(Body(first.Answer()), "first");
    held.Next()(Text("second"));
    EXPECT_EQ(Body(second.Answer()), "second");
    few.reset();
}

struct BadAddress
{
    const char* address;
    const char* complaint;
};

constexpr BadAddress kBadAddresses[] = {
    {"", "that is not HOST:PORT"},
    {"9842", "that is not HOST:PORT"},
    {"127.0.0.1", "that is not HOST:PORT"},
    {"127.0.0.1:", "that is not HOST:PORT"},
    {"127.0.0.1:65536", "that is not HOST:PORT"},
    {"127.0.0.1:-1", "that is not HOST:PORT"},
    {"127.0.0.1:http", "that is not HOST:PORT"},
    {"::1:9842", "that is not HOST:PORT"},
    {"[::1:9842", "that is not HOST:PORT"},
    {"192.0.2.1:9842", "name an address of this machine"},
};

TEST(HttpServer, SaysWhatIsWrongWithAnAddress)
{
    for (const BadAddress& bad : kBadAddresses) {
        HttpServerOptions options;
        options.listenAddress = bad.address;
        try {
            const HttpServer server(options, Echo);
            ADD_FAILURE() << bad.address;
        } catch (const std::runtime_error& fault) {
            EXPECT_THAT(fault.what(),
                        AllOf(HasSubstr(std::string("cannot listen on ") + bad.address),
                              HasSubstr(bad.complaint)));
        }
    }
}

TEST(HttpServer, SaysThatAPortIsInUse)
{
    const HttpServer server(Anywhere(), Echo);
    HttpServerOptions options;
    options.listenAddress = server.Address();
    try {
        const HttpServer second(options, Echo);
        ADD_FAILURE();
    } catch (const std::runtime_error& fault) {
        EXPECT_EQ(fault.what(),
                  "cannot listen on " + server.Address() +
                      ": Address already in use; another program has the port: end it, "
                      "or choose another port");
    }
}

TEST(HttpServer, ListensOnEveryAddress)
{
    HttpServerOptions options;
    options.listenAddress = ":0";
    const HttpServer server(options, Echo);
    EXPECT_THAT(server.Address(), testing::AnyOf(StartsWith("[::]:"), StartsWith("0.0.0.0:")));
    EXPECT_EQ(StatusLine(Get(server.Address(), "/")), "HTTP/1.1 200 OK");
}

}  // namespace
}  // namespace Tulvo::Exporter
