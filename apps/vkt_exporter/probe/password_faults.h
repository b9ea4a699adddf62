// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_PROBE_PASSWORD_FAULTS_H
#define APPS_VKT_EXPORTER_PROBE_PASSWORD_FAULTS_H

#include <map>
#include <mutex>
#include <set>
#include <string>

#include "fleet/settings.h"

namespace Tulvo::Exporter {

/// Logs once that a password file cannot be used, and once that it can again, however many targets
/// need it and however often they are scraped. For any number of threads.
class PasswordFaults
{
public:
    /// @param fault why there is no password now; null when there is one.
    void Note(const Fleet::PasswordSource& source, const Fleet::Mistake* fault);

private:
    std::mutex mutex_;
    std::map<std::string, std::set<std::string>> told_;  ///< By path, since it was last good.
};

}  // namespace Tulvo::Exporter

#endif
