// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/probe/probe_request.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>
#include <vector>

#include "common/text/printable.h"

namespace Tulvo::Exporter {
namespace {

constexpr std::string_view kTimeoutHeader = "X-Prometheus-Scrape-Timeout-Seconds";
constexpr std::string_view kUsualTimeout = "10";
constexpr double kLongestTimeout = 86400;

struct Section
{
    std::string_view word;
    Enclosures::Sections sections;
};

/// The words are those of the command.
constexpr Section kSections[] = {
    {"identity", Enclosures::kIdentity}, {"power", Enclosures::kPower},
    {"psu", Enclosures::kSupplies},      {"nodes", Enclosures::kNodes},
    {"health", Enclosures::kHealth},     {"status", Enclosures::kModuleOnly},
};

std::vector<std::string> ValuesOf(const HttpRequest& request, std::string_view name)
{
    std::vector<std::string> values;
    for (const auto& [key, value] : request.query) {
        if (key == name) {
            values.push_back(value);
        }
    }
    return values;
}

/// Seconds in a decimal number above 0.
std::optional<double> SecondsIn(std::string_view text)
{
    double seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && std::isfinite(seconds) && seconds > 0 ? std::optional(seconds) : std::nullopt;
}

std::string_view TimeoutIn(const HttpRequest& request)
{
    const auto header = request.headers.find(kTimeoutHeader);
    return header == request.headers.end() ? kUsualTimeout : std::string_view(header->second);
}

}  // namespace

std::string SectionWords()
{
    std::string words;
    for (const Section& section : kSections) {
        words.append(words.empty() ? "" : ", ").append(section.word);
    }
    return words;
}

std::variant<ProbeRequest, BadRequest> ParseProbe(const HttpRequest& request,
                                                  std::chrono::milliseconds offset)
{
    ProbeRequest probe;
    const std::vector<std::string> targets = ValuesOf(request, "target");
    if (targets.size() != 1 || targets.front().empty()) {
        return BadRequest{
            (targets.size() > 1 ? "several targets are named" : "no target is named") +
            std::string("; ask for /probe?target=HOST, with one host of /sd")};
    }
    probe.target = targets.front();
    // Left aside it would have everything read, at many times the cost.
    if (!ValuesOf(request, "collect").empty()) {
        return BadRequest{"collect: use collect[]=SECTION; sections are " + SectionWords()};
    }
    const std::vector<std::string> words = ValuesOf(request, "collect[]");
    probe.sections = words.empty() ? Enclosures::kEverything : Enclosures::kModuleOnly;
    for (const std::string& word : words) {
        const auto* const known =
            std::find_if(std::begin(kSections), std::end(kSections),
                         [&word](const Section& section) { return section.word == word; });
        if (known == std::end(kSections)) {
            return BadRequest{"collect[]: there is no section " + Text::Quoted(word) +
                              "; there are " + SectionWords()};
        }
        probe.sections |= known->sections;
    }
    const std::vector<std::string> debug = ValuesOf(request, "debug");
    probe.debug = !debug.empty() && debug.front() == "true";
    const std::string_view timeout = TimeoutIn(request);
    const std::optional<double> seconds = SecondsIn(timeout);
    if (!seconds) {
        return BadRequest{std::string(kTimeoutHeader) + ": " + Text::Quoted(timeout) +
                          " is no number of seconds above 0"};
    }
    const auto all = std::chrono::milliseconds(
        std::llround(std::ceil(std::min(*seconds, kLongestTimeout) * 1000)));
    probe.time = std::max(all - offset, all / 2);
    return probe;
}

}  // namespace Tulvo::Exporter
