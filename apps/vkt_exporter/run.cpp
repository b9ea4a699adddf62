// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/run.h"

#include <string>
#include <variant>

#include <unistd.h>

#include "fleet/fleet_file.h"

namespace Tulvo::Exporter {
namespace {

void Complain(const Fleet::Mistakes& mistakes)
{
    for (const Fleet::Mistake& mistake : mistakes) {
        const std::string text = "vkt-exporter: " + mistake.message + "\n";
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    }
}

}  // namespace

ExitCode Run(const CommandLine& line)
{
    const auto fleet = Fleet::FleetFile::Load(line.fleetFile);
    if (const auto* const mistakes = std::get_if<Fleet::Mistakes>(&fleet)) {
        Complain(*mistakes);
        return ExitCode::kCannotRun;
    }
    return ExitCode::kEndedOnRequest;
}

}  // namespace Tulvo::Exporter
