// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_PROBE_TARGET_READER_H
#define APPS_VKT_EXPORTER_PROBE_TARGET_READER_H

#include <functional>
#include <stop_token>
#include <utility>

#include "apps/vkt_exporter/metrics/exporter_metrics.h"
#include "apps/vkt_exporter/probe/password_faults.h"
#include "apps/vkt_exporter/probe/reads.h"
#include "fleet/refusals.h"
#include "fleet/settings.h"

namespace Tulvo::Exporter {

/// Reads one target as the fleet file says, unless it is to be left alone. For any number of
/// threads.
class TargetReader
{
public:
    /// Is told of a password that a module has refused; must not wait.
    using Renew = std::function<void(const SharedConfiguration&, const Fleet::PasswordSource&)>;

    /// @param metrics counts log-ins; outlives this.
    TargetReader(ExporterMetrics& metrics, Renew renew)
        : metrics_(metrics), renew_(std::move(renew))
    {
    }

    /// Never throws for what module, network or files do: the result has the error.
    ReadResult Read(const Wanted& wanted, const std::stop_token& stop);

    Fleet::Refusals& Refused() { return refusals_; }

private:
    Enclosures::Enclosure ReadMember(const Fleet::Member& member, const Wanted& wanted,
                                     const std::stop_token& stop);
    void Count(const Fleet::Refusals::Gate& gate, const Enclosures::Enclosure& enclosure);

    ExporterMetrics& metrics_;
    const Renew renew_;
    Fleet::Refusals refusals_;
    PasswordFaults passwordFaults_;
};

}  // namespace Tulvo::Exporter

#endif
