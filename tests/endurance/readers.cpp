// SPDX-License-Identifier: Apache-2.0
#include "tests/endurance/readers.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <stop_token>
#include <thread>

#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "tests/support/run_in_threads.h"

namespace Tulvo::Tests {
namespace {

using Enclosures::Cause;
using Enclosures::Enclosure;
using Enclosures::Target;

/// What a reader has of its own, and how its reads must end.
struct Kind
{
    const char* name;
    Target (*target)(const PlayedEnclosure& own, const PlayedEnclosure& other);
    std::optional<Cause> failure = {};
    bool stops = false;
};

Target OverRmcp(const PlayedEnclosure& own, std::optional<std::uint8_t> suite)
{
    const TulvoConnection::ConnectionInfo record = own.Record(kRmcp);
    Enclosures::RmcpPlus rmcp;
    rmcp.cipherSuite = suite;
    return {.host = record.address,
            .port = record.port,
            .user = record.userName,
            .password = record.password,
            .transport = rmcp};
}

Target OverHttps(const PlayedEnclosure& own, const std::string& pin,
                 Enclosures::HttpAuthentication authentication)
{
    const TulvoConnection::ConnectionInfo record = own.Record(kHttps);
    return {.host = record.address,
            .port = record.port,
            .user = record.userName,
            .password = record.password,
            .transport = Enclosures::Https{.trust = Enclosures::TrustPinnedKey{pin},
                                           .authentication = authentication}};
}

constexpr auto kSession = Enclosures::HttpAuthentication::kSession;
constexpr auto kBasic = Enclosures::HttpAuthentication::kBasic;
using P = PlayedEnclosure;

constexpr std::array<Kind, 8> kKinds{{
    {"RMCP+, suite 3", [](const P& own, const P&) { return OverRmcp(own, 3); }},
    {"HTTPS", [](const P& own, const P&) { return OverHttps(own, own.Pin(), kSession); }},
    {"RMCP+, any suite", [](const P& own, const P&) { return OverRmcp(own, {}); }},
    {"HTTPS, Basic", [](const P& own, const P&) { return OverHttps(own, own.Pin(), kBasic); }},
    {"RMCP+, suite 17", [](const P& own, const P&) { return OverRmcp(own, 17); }, Cause::kRefused},
    {"HTTPS, the other's pin",
     [](const P& own, const P& other) { return OverHttps(own, other.Pin(), kSession); },
     Cause::kNotTrusted},
    {"RMCP+, stopped", [](const P& own, const P&) { return OverRmcp(own, 3); }, Cause::kCancelled,
     true},
    {"HTTPS, stopped", [](const P& own, const P&) { return OverHttps(own, own.Pin(), kSession); },
     Cause::kCancelled, true},
}};

/// Empty when the record says what the scenario does.
std::string WrongValue(const Enclosure& record, const nlohmann::json& scenario)
{
    const auto missing = NotRead(record);
    if (record.error || !missing.empty()) {
        return record.error ? record.error->message : missing.front().failure.message;
    }
    const std::string serial = scenario.at("module").at("serialNumber");
    const std::string* const read = record.identity.serialNumber.Get();
    if (read == nullptr || *read != serial) {
        return "another's serial number";
    }
    const int average = scenario.at("nodes").back().at("power").at("average");
    const auto* const power = record.nodes.back().power.Get();
    const bool isRight =
        power != nullptr && power->average.HasValue() && *power->average.Get() == average;
    return isRight ? "" : "another power consumption";
}

/// One read; a stop comes from another thread, at a moment that differs from read to read.
std::string ReadOnce(const Kind& kind, const P& own, const P& other, int number)
{
    std::stop_source stop;
    std::jthread stopper;
    if (kind.stops) {
        stopper = std::jthread([&stop, number] {
            std::this_thread::sleep_for(std::chrono::milliseconds(number % 16));
            stop.request_stop();
        });
    }
    const Enclosure record =
        ReadEnclosure(kind.target(own, other), {},
                      {.deadline = std::chrono::minutes(10), .stop = stop.get_token()});
    if (kind.failure && record.error && record.error->cause == *kind.failure) {
        return "";
    }
    if (kind.failure && !kind.stops) {
        return record.error ? record.error->message : "it was read";
    }
    return WrongValue(record, own.Scenario());
}

}  // namespace

std::vector<std::string> Readers::Read(int readsPerReader) const
{
    std::vector<std::string> wrong(kReaders);
    RunInThreads(kReaders, [&](int reader) {
        const auto number = static_cast<std::size_t>(reader);
        const Kind& kind = kKinds[number % kKinds.size()];
        const std::size_t own = number / kKinds.size() % enclosures_.size();
        for (int i = 0; i < readsPerReader && wrong[number].empty(); ++i) {
            const std::string found =
                ReadOnce(kind, enclosures_[own], enclosures_[1 - own], reader + i);
            wrong[number] = found.empty() ? "" : std::string(kind.name) + ": " + found;
        }
    });
    return wrong;
}

std::vector<pid_t> Readers::Processes() const
{
    std::vector<pid_t> processes;
    for (const PlayedEnclosure& enclosure : enclosures_) {
        const std::vector<pid_t> some = enclosure.Processes();
        processes.insert(processes.end(), some.begin(), some.end());
    }
    return processes;
}

std::vector<std::string> Readers::End()
{
    std::vector<std::string> wrong;
    for (PlayedEnclosure& enclosure : enclosures_) {
        wrong.push_back(enclosure.End());
    }
    return wrong;
}

}  // namespace Tulvo::Tests
