// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/service.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "apps/vkt_exporter/front_page.h"
#include "apps/vkt_exporter/log_lines.h"
#include "apps/vkt_exporter/metrics/enclosure_metrics.h"
#include "common/log/log.h"
#include "common/text/printable.h"

namespace Tulvo::Exporter {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kPlainText = "text/plain; charset=utf-8";

/// @param text a line of printable text, without its end.
HttpResponse Plain(int status, std::string_view text)
{
    return {status, kPlainText, std::string(text).append("\n"), {}};
}

/// Such an enclosure may well be up; but nothing of it was read.
ReadResult Late()
{
    ReadResult result;
    result.enclosure.time = std::chrono::system_clock::now();
    result.enclosure.error = Failure{
        Cause::kTimedOut,
        "the time for this scrape was over before its turn to read the enclosure, or before "
        "the end of a read that it shared",
        "allow scrapes more time, or raise --max-in-flight",
        {}};
    const Failure& late = *result.enclosure.error;
    result.log = late.message + "; " + late.advice + "\n";
    return result;
}

std::string DebugText(const std::string& target, const ReadResult& result,
                      const std::string& metrics)
{
    return "Log of reading " + target + ":\n" + result.log + "\nMetrics of this read:\n" + metrics;
}

HttpResponse ProbeResponse(const ProbeRequest& probe, const ReadResult& result,
                           Clock::duration took)
{
    const std::string metrics = EnclosureMetrics(result.enclosure, result.expected, took);
    if (probe.debug) {
        return {200, kPlainText, DebugText(probe.target, result, metrics), {}};
    }
    return {200, std::string(kExpositionType), metrics, {}};
}

HttpResponse ResponseTo(const ProbeRequest& probe, const Answer& answer, Clock::duration took)
{
    switch (answer.kind) {
        case Answer::Kind::kRead:
            return ProbeResponse(probe, *answer.result, took);
        case Answer::Kind::kLate:
            return ProbeResponse(probe, Late(), took);
        case Answer::Kind::kTooMany: {
            HttpResponse response =
                Plain(503,
                      "too many scrapes wait; scrape less often, raise --max-in-flight, or share "
                      "the targets among several exporters");
            response.headers.emplace_back("Retry-After", "5");
            return response;
        }
        case Answer::Kind::kStopping:
            break;
    }
    return Plain(503, "the exporter is being stopped; ask again when it runs");
}

double SecondsSinceEpoch()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

struct Service::Route
{
    std::string_view path;
    std::string_view methods;  ///< As in the field Allow.
    void (Service::*answer)(const HttpRequest& request, const Respond& respond);
};

const Service::Route Service::kRoutes[] = {
    {"/", "GET, HEAD", &Service::FrontPage},
    {"/probe", "GET, HEAD", &Service::Probe},
    {"/sd", "GET, HEAD", &Service::Discovery},
    {"/metrics", "GET, HEAD", &Service::OwnMetrics},
    {"/-/healthy", "GET, HEAD", &Service::Healthy},
    {"/-/ready", "GET, HEAD", &Service::Ready},
    {"/-/reload", "POST", &Service::ReloadOnRequest},
};

Service::Service(const ServiceOptions& options, SharedConfiguration first, Load load)
    : options_(options),
      load_(std::move(load)),
      reader_(
          metrics_,
          [this](const SharedConfiguration& configuration, const Fleet::PasswordSource& source) {
              RenewPassword(configuration, source);
          }),
      reads_([this](const Wanted& wanted,
                    const std::stop_token& stop) { return reader_.Read(wanted, stop); },
             options.maxInFlight)
{
    TakeOver(std::move(first));
}

void Service::Handle(const HttpRequest& request, const Respond& respond)
{
    const auto* const route =
        std::find_if(std::begin(kRoutes), std::end(kRoutes),
                     [&request](const Route& known) { return known.path == request.path; });
    if (route == std::end(kRoutes)) {
        return respond(
            Plain(404, std::string("there is no ")
                               .append(Text::PrintableAscii(request.path, Text::kMostShown)) +
                           " here; / lists what there is"));
    }
    if (route->methods.find(request.method) == std::string_view::npos) {
        HttpResponse response = Plain(
            405, std::string(route->path) + " is asked for with " + std::string(route->methods));
        response.headers.emplace_back("Allow", route->methods);
        return respond(std::move(response));
    }
    (this->*route->answer)(request, respond);
}

void Service::FrontPage(const HttpRequest& /*request*/, const Respond& respond)
{
    respond({200, "text/html; charset=utf-8", FrontPageOf(Current()->fleet.HostNames().size()),
             FrontPageHeaders()});
}

void Service::Probe(const HttpRequest& request, const Respond& respond)
{
    const Clock::time_point begin = Clock::now();
    const auto parsed = ParseProbe(request, options_.timeoutOffset);
    if (const auto* const bad = std::get_if<BadRequest>(&parsed)) {
        return respond(Plain(400, bad->text));
    }
    const auto& probe = std::get<ProbeRequest>(parsed);
    SharedConfiguration configuration = Current();
    if (!configuration->fleet.Find(probe.target)) {
        return respond(Plain(400, Text::Quoted(probe.target) +
                                      " is no host of the fleet file; /sd lists them, to be named "
                                      "just so"));
    }
    reads_.Ask({.target = probe.target,
                .configuration = std::move(configuration),
                .sections = probe.sections,
                .until = begin + probe.time,
                .withLog = probe.debug},
               [probe, begin, respond](const Answer& answer) {
                   respond(ResponseTo(probe, answer, Clock::now() - begin));
               });
}

void Service::Discovery(const HttpRequest& /*request*/, const Respond& respond)
{
    respond({200, "application/json", Current()->discovery, {}});
}

void Service::OwnMetrics(const HttpRequest& /*request*/, const Respond& respond)
{
    const Reads::Counts counts = reads_.Now();
    metrics_.readsInFlight.Set(static_cast<double>(counts.inFlight));
    metrics_.readsWaiting.Set(static_cast<double>(counts.waiting));
    respond({200, std::string(kExpositionType), metrics_.Text(), {}});
}

void Service::Healthy(const HttpRequest& /*request*/, const Respond& respond)
{
    respond(Plain(200, "healthy"));
}

void Service::Ready(const HttpRequest& /*request*/, const Respond& respond)
{
    respond(Plain(200, "ready"));
}

void Service::ReloadOnRequest(const HttpRequest& /*request*/, const Respond& respond)
{
    if (!options_.enableLifecycle) {
        return respond(Plain(403,
                             "this is not enabled; start vkt-exporter with "
                             "--web.enable-lifecycle, or send it SIGHUP"));
    }
    Reload([respond](const Fleet::Mistakes& mistakes) {
        if (mistakes.empty()) {
            return respond(Plain(200, "read again"));
        }
        const std::string more =
            mistakes.size() == 1
                ? ""
                : " (the log has " + std::to_string(mistakes.size() - 1) + " more)";
        respond(Plain(500, "the old files stay in use: " + mistakes.front().message + more));
    });
}

void Service::Reload(const Reloaded& reloaded)
{
    {
        const std::lock_guard lock(mutex_);
        reloading_.push_back(reloaded);
        if (reloading_.size() > 1) {
            return;
        }
    }
    background_.Post([this](const std::stop_token& stop) {
        std::vector<Reloaded> waiting;
        {
            const std::lock_guard lock(mutex_);
            waiting.swap(reloading_);
        }
        const Fleet::Mistakes mistakes = LoadAgain(stop);
        for (const Reloaded& each : waiting) {
            each(mistakes);
        }
    });
}

Fleet::Mistakes Service::LoadAgain(const std::stop_token& stop)
{
    auto loaded = load_(stop);
    if (auto* const configuration = std::get_if<SharedConfiguration>(&loaded)) {
        TakeOver(std::move(*configuration));
        Log(kNotice, __FILE__, __LINE__).Stream()
            << "the files were read again (hosts: " << Current()->fleet.HostNames().size() << ")";
        return {};
    }
    metrics_.reloadSuccessful.Set(0);
    auto& mistakes = std::get<Fleet::Mistakes>(loaded);
    for (const Fleet::Mistake& mistake : mistakes) {
        Log(kError, __FILE__, __LINE__).Stream()
            << mistake.message << "; the old files stay in use";
    }
    return std::move(mistakes);
}

SharedConfiguration Service::Current() const
{
    const std::lock_guard lock(mutex_);
    return current_;
}

void Service::TakeOver(SharedConfiguration configuration)
{
    const Fleet::Hosts& names = configuration->fleet.HostNames();
    reader_.Refused().KeepOnly({names.begin(), names.end()});
    metrics_.targets.Set(static_cast<double>(names.size()));
    metrics_.reloadSuccessful.Set(1);
    metrics_.reloadSuccessSeconds.Set(SecondsSinceEpoch());
    const std::lock_guard lock(mutex_);
    current_ = std::move(configuration);
}

/// A command may be what knows that the password has changed; all else is read at every scrape.
void Service::RenewPassword(const SharedConfiguration& configuration,
                            const Fleet::PasswordSource& source)
{
    const auto* const command = std::get_if<Fleet::PasswordCommand>(&source);
    if (command == nullptr) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        if (!renewing_.insert(command->command).second) {
            return;
        }
    }
    background_.Post([this, configuration, source = *command](const std::stop_token& stop) {
        {
            const std::lock_guard lock(mutex_);
            renewing_.erase(source.command);
        }
        if (const auto mistake = configuration->passwords->Renew(source, stop)) {
            Log(kWarning, __FILE__, __LINE__).Stream() << mistake->message;
        }
    });
}

}  // namespace Tulvo::Exporter
