// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/probe/target_reader.h"

#include <algorithm>
#include <optional>
#include <string>
#include <variant>

#include "apps/vkt_exporter/log_lines.h"
#include "common/log/log.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"

namespace Tulvo::Exporter {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds kUsualConnectTimeout = 5s;

Enclosures::Enclosure NotAsked(const Fleet::Mistake& mistake)
{
    Enclosures::Enclosure enclosure;
    enclosure.time = std::chrono::system_clock::now();
    enclosure.error = Failure{Cause::kLocal, mistake.message, "", {}};
    return enclosure;
}

std::variant<Enclosures::Target, Fleet::Mistake> TargetOf(const Fleet::Member& member,
                                                          const Wanted& wanted,
                                                          PasswordFaults& faults,
                                                          const std::stop_token& stop)
{
    std::string password;
    if (const auto& source = member.settings.password) {
        auto got = wanted.configuration->passwords->Get(*source, stop);
        auto* const mistake = std::get_if<Fleet::Mistake>(&got);
        faults.Note(*source, mistake);
        if (mistake != nullptr) {
            return std::move(*mistake);
        }
        password = std::move(std::get<std::string>(got));
    }
    return Fleet::TargetOf(member.name, member.settings, std::move(password));
}

std::chrono::milliseconds TimeFor(const Fleet::Member& member, const Wanted& wanted)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        wanted.until - std::chrono::steady_clock::now());
    const auto& most = member.settings.timeout;
    return most ? std::min<std::chrono::milliseconds>(left, *most) : left;
}

void Tell(const Enclosures::Enclosure& enclosure)
{
    Log(kTrace, __FILE__, __LINE__).Stream()
        << (enclosure.error ? enclosure.error->message : "read to the end") << "; "
        << enclosure.cost.requests << " requests, " << enclosure.cost.copies << " copies, "
        << enclosure.cost.logIns << " log-ins, " << enclosure.cost.elapsed.count() << " ms";
}

}  // namespace

ReadResult TargetReader::Read(const Wanted& wanted, const std::stop_token& stop)
{
    const LogContext context(wanted.target);
    std::optional<LogCollector> log;
    if (wanted.withLog) {
        log.emplace();
    }
    const Fleet::Member member = *wanted.configuration->fleet.Find(wanted.target);
    ReadResult result;
    result.enclosure = ReadMember(member, wanted, stop);
    result.expected = Fleet::ExpectationsOf(member.settings);
    Tell(result.enclosure);
    result.log = log ? log->Text() : "";
    return result;
}

Enclosures::Enclosure TargetReader::ReadMember(const Fleet::Member& member, const Wanted& wanted,
                                               const std::stop_token& stop)
{
    const auto target = TargetOf(member, wanted, passwordFaults_, stop);
    if (const auto* const mistake = std::get_if<Fleet::Mistake>(&target)) {
        return NotAsked(*mistake);
    }
    const auto& found = std::get<Enclosures::Target>(target);
    Fleet::Refusals::Gate gate(refusals_, member.name, found);
    Enclosures::Enclosure enclosure = Enclosures::ReadEnclosure(
        found, {.sections = wanted.sections},
        {.deadline = TimeFor(member, wanted),
         .stop = stop,
         .firstAnswer = member.settings.connectTimeout.value_or(kUsualConnectTimeout),
         .gate = &gate});
    Count(gate, enclosure);
    if (gate.Ended(enclosure.error)) {
        Log(kWarning, __FILE__, __LINE__).Stream()
            << enclosure.error->message << "; it is left alone for a while";
        if (member.settings.password) {
            renew_(wanted.configuration, *member.settings.password);
        }
    }
    return enclosure;
}

/// How the log-in ended, if there was to be one.
void TargetReader::Count(const Fleet::Refusals::Gate& gate, const Enclosures::Enclosure& enclosure)
{
    if (gate.Accepted()) {
        metrics_.LogIns().Increment();
    } else if (enclosure.error && !gate.KeptOut()) {
        metrics_.LogIns(enclosure.error->cause).Increment();
    }
}

}  // namespace Tulvo::Exporter
