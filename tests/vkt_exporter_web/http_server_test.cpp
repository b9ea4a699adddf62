// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/http_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/few_descriptors.h"
#include "tests/vkt_exporter_web/client.h"

namespace Tulvo::Exporter {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr auto kPatience = std::chrono::seconds(60);

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
    ASSERT_EQ(waiting.wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(Body(Get(server.Address(), "/quick")), "GET /quick\nHost: test\n");
    std::thread([respond = waiting.get()] {
        respond({.status = 200, .contentType = "", .body = "first", .headers = {}});
        respond({.status = 200, .contentType = "", .body = "second", .headers = {}});
    }).join();
    EXPECT_EQ(Body(slow.Answer()), "first");
}

}  // namespace
}  // namespace Tulvo::Exporter
