// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/probe/password_faults.h"

#include <variant>

#include "apps/vkt_exporter/log_lines.h"
#include "common/log/log.h"

namespace Tulvo::Exporter {

/// All other passwords were had when the fleet file was read, and do not go.
void PasswordFaults::Note(const Fleet::PasswordSource& source, const Fleet::Mistake* fault)
{
    const auto* const file = std::get_if<Fleet::PasswordFile>(&source);
    if (file == nullptr) {
        return;
    }
    const LogContext ofNoTarget("");
    const std::lock_guard lock(mutex_);
    if (fault == nullptr) {
        if (told_.erase(file->path) > 0) {
            Log(kNotice, __FILE__, __LINE__).Stream()
                << "the password file " << file->path << " is good again";
        }
    } else if (told_[file->path].insert(fault->message).second) {
        Log(kWarning, __FILE__, __LINE__).Stream()
            << fault->message << "; targets that need it are not read until it is good";
    }
}

}  // namespace Tulvo::Exporter
