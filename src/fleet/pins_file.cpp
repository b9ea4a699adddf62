// SPDX-License-Identifier: Apache-2.0
#include "fleet/pins_file.h"

#include <cstddef>
#include <sstream>
#include <variant>

#include "common/text/pin.h"
#include "common/text/printable.h"
#include "fleet/bounded_file.h"
#include "fleet/host_pattern.h"

namespace Tulvo::Fleet {
namespace {

constexpr std::size_t kLargestPinsFile = 32U << 20U;

/// Why `word` is not one host; empty when it is.
std::string NoHost(const std::string& word)
{
    const std::string quoted = Text::Quoted(word);
    if (!SplitPort(word)) {
        return quoted + " is no host";
    }
    if (IsPattern(word)) {
        return quoted + " is a pattern; each host has a line of its own";
    }
    const auto expanded = ExpandHosts({word}, {}, HostFiles::kRefused);
    const auto* const mistake = std::get_if<Mistake>(&expanded);
    return mistake == nullptr ? "" : mistake->message;
}

/// What is wrong with a line; empty when nothing is.
std::string Take(const std::string& line, Pins& pins)
{
    std::istringstream words(line);
    std::string host;
    std::string pin;
    std::string more;
    words >> host >> pin >> more;
    if (host.empty() || host.front() == '#') {
        return {};
    }
    if (std::string wrong = NoHost(host); !wrong.empty()) {
        return wrong;
    }
    if (!Text::IsOnePin(pin) || !more.empty()) {
        return "a host and its pin, sha256// and 44 characters of Base64, are to stand here";
    }
    return pins.emplace(host, pin).second ? "" : host + " has a line already";
}

}  // namespace

Pins ReadPins(const std::string& path, std::vector<std::string>& mistakes)
{
    const auto read = ReadFile(path, kLargestPinsFile);
    if (const auto* const reason = std::get_if<std::string>(&read)) {
        mistakes.push_back("cannot be read: " + *reason);
        return {};
    }
    Pins pins;
    std::istringstream lines(std::get<FileText>(read).text);
    std::size_t number = 1;
    for (std::string line; std::getline(lines, line); ++number) {
        if (const std::string wrong = Take(line, pins); !wrong.empty()) {
            mistakes.push_back("line " + std::to_string(number) + ": " + wrong);
        }
    }
    return pins;
}

}  // namespace Tulvo::Fleet
