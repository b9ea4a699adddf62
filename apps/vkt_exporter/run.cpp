// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/run.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stop_token>
#include <string>
#include <utility>
#include <variant>

#include "apps/vkt_exporter/log_lines.h"
#include "apps/vkt_exporter/service.h"
#include "apps/vkt_exporter/signals.h"
#include "apps/vkt_exporter/web/http_server.h"
#include "apps/vkt_exporter/web/web_files.h"
#include "common/log/log.h"

namespace Tulvo::Exporter {
namespace {

using namespace std::chrono_literals;

constexpr int kError = 1;
constexpr int kWarning = 2;
constexpr int kNotice = 3;

/// A log-out takes a second at most.
constexpr std::chrono::seconds kLogOutLimit = 5s;

using FleetOrMistakes = std::variant<Fleet::FleetFile, Fleet::Mistakes>;

/// Reads and connections take a descriptor each, and more than a shell lets a program have unasked.
void AllowManyDescriptors()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void Complain(const Fleet::Mistakes& mistakes)
{
    for (const Fleet::Mistake& mistake : mistakes) {
        Log(kError, __FILE__, __LINE__).Stream() << mistake.message;
    }
}

/// Where the fleet file is, or that there is none.
std::variant<std::string, Fleet::Mistake> FleetPathOf(const CommandLine& line)
{
    const Fleet::FleetPath found = Fleet::FindFleetFile(line.fleetFile);
    if (found.path) {
        return *found.path;
    }
    std::string tried;
    for (const std::string& path : found.tried) {
        tried += (tried.empty() ? "" : " or ") + path;
    }
    return Fleet::Mistake{"there is no fleet file at " + tried + "; name one with --fleet"};
}

/// The server takes changes of this file by itself; here its mistakes are found.
Fleet::Mistakes MistakesInWebFile(const std::string& path)
{
    try {
        if (!path.empty()) {
            ReadWebSettings(path);
        }
        return {};
    } catch (const BadWebConfig& mistake) {
        return {{mistake.what()}};
    }
}

/// All files of the program, or the mistakes in them.
std::variant<SharedConfiguration, Fleet::Mistakes> LoadFiles(const std::string& fleetFile,
                                                             const std::string& webConfigFile,
                                                             const std::stop_token& stop)
{
    Fleet::Mistakes mistakes = MistakesInWebFile(webConfigFile);
    auto loaded = LoadConfiguration(fleetFile, stop);
    if (auto* const more = std::get_if<Fleet::Mistakes>(&loaded)) {
        more->insert(more->begin(), mistakes.begin(), mistakes.end());
        return loaded;
    }
    return mistakes.empty() ? std::move(loaded) : mistakes;
}

ExitCode Check(const std::string& fleetFile, const std::string& webConfigFile)
{
    Fleet::Mistakes mistakes = MistakesInWebFile(webConfigFile);
    const auto fleet = LoadFleet(fleetFile);
    if (const auto* const more = std::get_if<Fleet::Mistakes>(&fleet)) {
        mistakes.insert(mistakes.end(), more->begin(), more->end());
    }
    if (!mistakes.empty()) {
        Complain(mistakes);
        return ExitCode::kCannotRun;
    }
    Log(kNotice, __FILE__, __LINE__).Stream()
        << "no mistake was found (hosts: " << std::get<Fleet::FleetFile>(fleet).HostNames().size()
        << ")";
    return ExitCode::kEndedOnRequest;
}

bool HasTls(const std::string& webConfigFile)
{
    return !webConfigFile.empty() && ReadWebSettings(webConfigFile).tls != nullptr;
}

ExitCode Serve(const CommandLine& line, const std::string& fleetFile)
{
    Signals signals;
    const auto load = [&line, &fleetFile](const std::stop_token& stop) {
        return LoadFiles(fleetFile, line.webConfigFile, stop);
    };
    auto first = load(signals.StopToken());
    if (signals.StopToken().stop_requested()) {
        return ExitCode::kEndedOnRequest;
    }
    if (const auto* const mistakes = std::get_if<Fleet::Mistakes>(&first)) {
        Complain(*mistakes);
        return ExitCode::kCannotRun;
    }
    Service service({line.maxInFlight, line.timeoutOffset, line.enableLifecycle},
                    std::move(std::get<SharedConfiguration>(first)), load);
    HttpServerOptions options;
    options.listenAddress = line.listenAddress;
    options.webConfigFile = line.webConfigFile;
    options.maxConnections = std::max(options.maxConnections, 2 * line.maxInFlight);
    options.warn = [](const std::string& what) {
        Log(kWarning, __FILE__, __LINE__).Stream() << what;
    };
    HttpServer server(options, [&service](const HttpRequest& request, const Respond& respond) {
        service.Handle(request, respond);
    });
    Log(kNotice, __FILE__, __LINE__).Stream()
        << "listening on " << (HasTls(line.webConfigFile) ? "https://" : "http://")
        << server.Address();
    signals.Wait([&service] { service.Reload([](const Fleet::Mistakes&) {}); });
    Log(kNotice, __FILE__, __LINE__).Stream() << "ending on request";
    server.Stop();
    if (!service.Stop(kLogOutLimit)) {
        Log(kError, __FILE__, __LINE__).Stream() << "a read did not end in time; ending without it";
        _exit(static_cast<int>(ExitCode::kCannotRun));
    }
    return ExitCode::kEndedOnRequest;
}

}  // namespace

ExitCode Run(const CommandLine& line)
{
    for (const int failedWrite : {SIGPIPE, SIGXFSZ}) {
        std::signal(failedWrite, SIG_IGN);
    }
    AllowManyDescriptors();
    StartLogging(line.logLevel);
    const auto fleetFile = FleetPathOf(line);
    if (const auto* const mistake = std::get_if<Fleet::Mistake>(&fleetFile)) {
        Complain({*mistake});
        return ExitCode::kCannotRun;
    }
    const auto& path = std::get<std::string>(fleetFile);
    return line.configCheck ? Check(path, line.webConfigFile) : Serve(line, path);
}

}  // namespace Tulvo::Exporter
