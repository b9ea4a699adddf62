// SPDX-License-Identifier: Apache-2.0
/// @file
/// The program between its HTTP server and its reads.
#ifndef APPS_VKT_EXPORTER_SERVICE_H
#define APPS_VKT_EXPORTER_SERVICE_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <set>
#include <stop_token>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "apps/vkt_exporter/background.h"
#include "apps/vkt_exporter/configuration.h"
#include "apps/vkt_exporter/metrics/exporter_metrics.h"
#include "apps/vkt_exporter/probe/probe_request.h"
#include "apps/vkt_exporter/probe/reads.h"
#include "apps/vkt_exporter/probe/target_reader.h"
#include "apps/vkt_exporter/web/http_server.h"
#include "fleet/settings.h"

namespace Tulvo::Exporter {

struct ServiceOptions
{
    std::size_t maxInFlight = 512;
    std::chrono::milliseconds timeoutOffset{500};
    bool enableLifecycle = false;
};

/// Answers requests: reads enclosures, lists them, tells about itself, reads its files again.
class Service
{
public:
    /// Reads the program's files.
    using Load = std::function<std::variant<SharedConfiguration, Fleet::Mistakes>(
        const std::stop_token& stop)>;
    /// Is told why the files were not taken over; nothing when they were.
    using Reloaded = std::function<void(const Fleet::Mistakes& mistakes)>;

    /// @param first what `load` has given.
    Service(const ServiceOptions& options, SharedConfiguration first, Load load);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service() = default;

    /// Answers at once, or later from another thread. Does not wait.
    void Handle(const HttpRequest& request, const Respond& respond);

    /// Has the files read again, in the background; on any mistake the old ones stay. All that ask
    /// before a reading begins share it.
    void Reload(const Reloaded& reloaded);

    /// Ends all reads, so that every session is logged out.
    /// @return whether that was done within `limit`.
    bool Stop(std::chrono::milliseconds limit) { return reads_.Stop(limit); }

private:
    struct Route;
    static const Route kRoutes[];

    void FrontPage(const HttpRequest& request, const Respond& respond);
    void Probe(const HttpRequest& request, const Respond& respond);
    void Discovery(const HttpRequest& request, const Respond& respond);
    void OwnMetrics(const HttpRequest& request, const Respond& respond);
    void Healthy(const HttpRequest& request, const Respond& respond);
    void Ready(const HttpRequest& request, const Respond& respond);
    void ReloadOnRequest(const HttpRequest& request, const Respond& respond);

    SharedConfiguration Current() const;
    void TakeOver(SharedConfiguration configuration);
    Fleet::Mistakes LoadAgain(const std::stop_token& stop);
    void RenewPassword(const SharedConfiguration& configuration,
                       const Fleet::PasswordSource& source);

    const ServiceOptions options_;
    const Load load_;
    ExporterMetrics metrics_;
    mutable std::mutex mutex_;
    SharedConfiguration current_;
    std::vector<Reloaded> reloading_;  ///< Wait for the files to be read again.
    std::set<std::string> renewing_;   ///< Password commands that are to be run.
    TargetReader reader_;
    Background background_;
    Reads reads_;
};

}  // namespace Tulvo::Exporter

#endif
