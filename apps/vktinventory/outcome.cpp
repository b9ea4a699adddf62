// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/outcome.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>

#include "common/text/words.h"

namespace Tulvo::Cli {
namespace {

using Enclosures::Missing;

constexpr std::uint8_t kInsufficientPrivilege = 0xD4;

constexpr std::uint8_t kFirmwareUpdate = 0xD1;

/// What a failure is to the person who started the command. Its own advice names no flag; these are
/// the flags that it is about.
struct Meaning
{
    Cause cause;
    std::optional<std::uint8_t> completionCode;  ///< Only with this one.
    ExitCode code;           ///< When it kept the command from having a conversation at all.
    std::string_view about;  ///< Only when its words have these.
    std::string_view words;
    std::string_view lanplusFlags;  ///< When it kept the command from that; over HTTPS:
    std::string_view httpsFlags;
    std::string_view readingFlags;  ///< When it kept a value from being read.
};

constexpr std::string_view kAccount = "-U and -f";

// clang-format off
constexpr Meaning kMeanings[] = {
    {Cause::kUnreachable, {}, ExitCode::kNoConnection, "more time", "no connection", "-H, -p and --connect-timeout", "-H, -p and --connect-timeout", ""},
    {Cause::kUnreachable, {}, ExitCode::kNoConnection, "", "no connection", "-H and -p", "-H and -p", ""},
    {Cause::kTimedOut, {}, ExitCode::kNoConnection, "", "no answer in time", "-H, -p and --timeout", "-H, -p and --timeout", "--timeout"},
    {Cause::kRefused, {}, ExitCode::kRefused, "cipher suite", "refused", "-C", "", ""},
    {Cause::kRefused, {}, ExitCode::kRefused, "K_g key", "refused", "-k", "", ""},
    {Cause::kRefused, {}, ExitCode::kRefused, "password is right", "refused", "", "", ""},
    {Cause::kRefused, {}, ExitCode::kRefused, "privilege", "refused", "-U and -L", "-U", ""},
    {Cause::kRefused, {}, ExitCode::kRefused, "not asked", "refused", "-U, -f and --keep-going", "-U, -f and --keep-going", ""},
    {Cause::kRefused, {}, ExitCode::kRefused, "Digest", "refused", "", "--auth and -I", ""},
    {Cause::kRefused, {}, ExitCode::kRefused, "certificate of its client", "refused", "", "-I", ""},
    {Cause::kRefused, {}, ExitCode::kRefused, "", "refused", kAccount, kAccount, ""},
    {Cause::kNotTrusted, {}, ExitCode::kRefused, "", "not trusted", "-f and -k", "--ca-file and --pin", ""},
    {Cause::kBusy, kFirmwareUpdate, ExitCode::kNoConnection, "", "busy", "", "", ""},
    {Cause::kBusy, {}, ExitCode::kNoConnection, "", "busy", "--timeout", "--timeout", "--timeout"},
    {Cause::kNoSuchModule, {}, ExitCode::kNoConnection, "", "no such module", "-H and -p", "-H and -p", ""},
    {Cause::kMalformedAnswer, {}, ExitCode::kNoConnection, "", "malformed answer", "", "-H and -p", ""},
    {Cause::kCompletionCode, kInsufficientPrivilege, ExitCode::kRefused, "", "refused", "-U and -L", "-U", "-U"},
    {Cause::kCompletionCode, {}, ExitCode::kSomeQueriesFailed, "", "refused by the module", "", "", ""},
    {Cause::kCancelled, {}, ExitCode::kInterrupted, "", "cancelled", "", "", ""},
    {Cause::kLocal, {}, ExitCode::kHostExhausted, "", "a fault on this side", "", "", ""},
};
// clang-format on

bool Mentions(const Failure& failure, std::string_view words)
{
    return failure.message.find(words) != failure.message.npos ||
           failure.advice.find(words) != failure.advice.npos;
}

const Meaning& MeaningOf(const Failure& failure)
{
    const auto* const known =
        std::find_if(std::begin(kMeanings), std::end(kMeanings), [&failure](const Meaning& row) {
            return row.cause == failure.cause &&
                   (!row.completionCode || row.completionCode == failure.completionCode) &&
                   Mentions(failure, row.about);
        });
    return known == std::end(kMeanings) ? kMeanings[std::size(kMeanings) - 1] : *known;
}

/// What came back, what to do about it, and with which flags.
std::string Explained(const Failure& failure, std::string_view flags)
{
    std::string text = failure.message;
    text += failure.advice.empty() ? "" : "; " + failure.advice;
    text += flags.empty() ? "" : " (see " + std::string(flags) + ")";
    return text;
}

std::string NotRead(const Failure& failure)
{
    return " not read: " + Explained(failure, MeaningOf(failure).readingFlags);
}

std::string NameOf(const Missing& missing)
{
    return missing.object + " " + Text::InWords(missing.field);
}

/// What is missing for one and the same reason.
struct Group
{
    const Failure* failure;
    std::vector<const Missing*> members;
};

std::vector<Group> GroupsOf(const std::vector<Missing>& all)
{
    std::vector<Group> groups;
    for (const Missing& missing : all) {
        auto group = std::find_if(groups.begin(), groups.end(), [&](const Group& known) {
            return *known.failure == missing.failure;
        });
        if (group == groups.end()) {
            group = groups.insert(groups.end(), {&missing.failure, {}});
        }
        group->members.push_back(&missing);
    }
    return groups;
}

/// So many are named; more are counted.
constexpr std::size_t kMostNamed = 3;

std::string Subject(const Group& group)
{
    const std::size_t count = group.members.size();
    if (count > kMostNamed) {
        return std::to_string(count) + " values";
    }
    std::string names;
    for (std::size_t index = 0; index < count; ++index) {
        const bool last = index + 1 == count;
        names += index == 0 ? "" : last ? " and " : ", ";
        names += NameOf(*group.members[index]);
    }
    return names;
}

std::vector<std::string> NotReadMessages(const Report& report)
{
    std::vector<std::string> lines;
    const auto& error = report.enclosure.error;
    bool errorTold = !error;
    for (const Group& group : GroupsOf(report.notRead)) {
        errorTold = errorTold || *group.failure == *error;
        lines.push_back(Subject(group) + NotRead(*group.failure));
    }
    if (!errorTold) {
        lines.push_back("the reading ended early: " +
                        Explained(*error, MeaningOf(*error).readingFlags));
    }
    return lines;
}

/// Why there was no conversation, with advice where only the command can give it.
Failure Advised(Failure failure, const Report& report)
{
    const bool aboutTheAccount =
        MeaningOf(failure).lanplusFlags.starts_with("-U") && failure.cause == Cause::kRefused;
    if (report.withoutUser && aboutTheAccount) {
        failure.advice = "no user was named";
    } else if (failure.cause == Cause::kCompletionCode && failure.advice.empty()) {
        failure.advice = "try again later; if it stays so, look at the module's own log";
    }
    return failure;
}

/// Which of a fleet file's passwords was refused.
std::string PasswordRefused(const Failure& failure, const Report& report)
{
    const std::string_view flags = MeaningOf(failure).lanplusFlags;
    const bool refused = failure.cause == Cause::kRefused && flags.find("-f") != flags.npos;
    return refused && !report.withoutUser && !report.passwordFrom.empty()
               ? "; the password is that of " + report.passwordFrom
               : "";
}

std::string Count(std::uint64_t count, std::string_view one, std::string_view many)
{
    return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

/// A refused log-in is none less: over RMCP+ it may have been refused before any proof has left.
std::string LogIns(const Enclosures::Cost& cost)
{
    const std::uint64_t refused = cost.logInsRefused;
    const std::string logIns = Count(std::max(cost.logIns, refused), "log-in", "log-ins");
    return refused == 0 ? logIns : logIns + " (" + std::to_string(refused) + " refused)";
}

}  // namespace

std::string_view WordsFor(const Failure& failure)
{
    return MeaningOf(failure).words;
}

std::string NoConversation(const Failure& failure, bool overHttps, const std::string& pinsFrom)
{
    const Meaning& meaning = MeaningOf(failure);
    std::string flags(overHttps ? meaning.httpsFlags : meaning.lanplusFlags);
    if (overHttps && failure.cause == Cause::kNotTrusted && !pinsFrom.empty()) {
        flags = pinsFrom + ", and vktinventory pins";
    }
    std::string text(meaning.words);
    text += failure.cause == Cause::kCompletionCode ? ": asked for its status, " : ": ";
    return text + Explained(failure, flags);
}

ExitCode ExitCodeOf(const Failure& failure)
{
    return MeaningOf(failure).code;
}

ExitCode CommonCode(const std::set<ExitCode>& codes)
{
    return codes.size() == 1 ? *codes.begin() : ExitCode::kSomeQueriesFailed;
}

ExitCode ExitCodeOf(const Report& report)
{
    if (report.IsComplete()) {
        return ExitCode::kEverythingRead;
    }
    const Failure* const why = report.WhyNothingWasRead();
    return why == nullptr ? ExitCode::kSomeQueriesFailed : ExitCodeOf(*why);
}

std::vector<std::string> Messages(const Report& report)
{
    if (const Failure* const why = report.WhyNothingWasRead()) {
        return {NoConversation(Advised(*why, report), report.enclosure.source.overHttps,
                               report.pinsFrom) +
                PasswordRefused(*why, report)};
    }
    const auto& error = report.enclosure.error;
    const bool onThisSide = error && error->cause == Cause::kLocal && report.notRead.empty();
    if (onThisSide && report.selected == 0) {
        return {Explained(*error, "")};
    }
    if (error && report.selected != 0) {
        return {"PSU" + std::to_string(report.selected) +
                " not selected: " + Explained(*error, MeaningOf(*error).readingFlags)};
    }
    return NotReadMessages(report);
}

std::string CostLine(const Enclosures::Enclosure& enclosure)
{
    const Enclosures::Cost& cost = enclosure.cost;
    std::string line = Count(cost.requests, "request", "requests") + ", ";
    line += enclosure.source.overHttps
                ? Count(cost.tlsHandshakes, "TLS handshake", "TLS handshakes")
                : Count(cost.datagramsSent, "datagram", "datagrams") + " sent, " +
                      std::to_string(cost.datagramsReceived) + " received";
    return line + ", " + Count(cost.copies, "copy", "copies") + ", " + LogIns(cost) + ", " +
           std::to_string(cost.elapsed.count()) + " ms";
}

}  // namespace Tulvo::Cli
