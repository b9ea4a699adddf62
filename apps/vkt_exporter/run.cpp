// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/run.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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
#include "apps/vkt_exporter/web/listening_socket.h"
#include "apps/vkt_exporter/web/web_files.h"
#include "common/log/log.h"

namespace Tulvo::Exporter {
namespace {

using namespace std::chrono_literals;

/// A log-out takes three seconds at most.
constexpr std::chrono::seconds kLogOutLimit = 5s;

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

enum class Purpose
{
    kStart,
    kReload,
    kCheck,
};

/// The server takes changes of this file by itself; here its mistakes are found.
std::string MistakeInWebFile(const std::string& path, Purpose purpose)
{
    try {
        if (!path.empty()) {
            ReadWebSettings(path);
        }
        return "";
    } catch (const UnmatchedKey& mistake) {
        // The server cannot be started with it for now; a later start may find the key.
        return purpose == Purpose::kStart ? "" : mistake.what();
    } catch (const BadWebConfig& mistake) {
        return mistake.what();
    }
}

/// The fleet file; or all mistakes that stay until somebody mends them, wherever they are.
FleetOrMistakes LoadFiles(const CommandLine& line, const std::string& fleetFile, Purpose purpose)
{
    Fleet::Mistakes mistakes;
    for (std::string& mistake : std::array{MistakeInAddress(line.listenAddress),
                                           MistakeInWebFile(line.webConfigFile, purpose)}) {
        if (!mistake.empty()) {
            mistakes.push_back({std::move(mistake)});
        }
    }
    auto fleet = LoadFleet(fleetFile);
    if (const auto* const more = std::get_if<Fleet::Mistakes>(&fleet)) {
        mistakes.insert(mistakes.end(), more->begin(), more->end());
    }
    return mistakes.empty() ? std::move(fleet) : mistakes;
}

ExitCode Serve(const CommandLine& line, const std::string& fleetFile, Fleet::FleetFile fleet)
{
    Signals signals;
    auto first = ConfigurationOf(std::move(fleet), signals.StopToken());
    if (signals.StopToken().stop_requested()) {
        return ExitCode::kEndedOnRequest;
    }
    if (const auto* const mistakes = std::get_if<Fleet::Mistakes>(&first)) {
        Complain(*mistakes);
        return ExitCode::kCannotRun;
    }
    Service service({line.maxInFlight, line.timeoutOffset, line.enableLifecycle},
                    std::move(std::get<SharedConfiguration>(first)),
                    [&line, &fleetFile](const std::stop_token& stop) {
                        return ConfigurationOf(LoadFiles(line, fleetFile, Purpose::kReload), stop);
                    });
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
        << "listening on " << (server.SpeaksTls() ? "https://" : "http://") << server.Address();
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
    const auto found = FleetPathOf(line);
    if (const auto* const mistake = std::get_if<Fleet::Mistake>(&found)) {
        Complain({*mistake});
        return ExitCode::kWrongUsage;
    }
    const auto& fleetFile = std::get<std::string>(found);
    auto loaded = LoadFiles(line, fleetFile, line.configCheck ? Purpose::kCheck : Purpose::kStart);
    if (const auto* const mistakes = std::get_if<Fleet::Mistakes>(&loaded)) {
        Complain(*mistakes);
        return ExitCode::kWrongUsage;
    }
    auto& fleet = std::get<Fleet::FleetFile>(loaded);
    if (line.configCheck) {
        Log(kNotice, __FILE__, __LINE__).Stream()
            << "no mistake was found (hosts: " << fleet.HostNames().size() << ")";
        return ExitCode::kEndedOnRequest;
    }
    return Serve(line, fleetFile, std::move(fleet));
}

}  // namespace Tulvo::Exporter
