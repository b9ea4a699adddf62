// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/journal.h"

#include <algorithm>
#include <cstdio>

namespace Tulvo::Fakes {

void Journal::Write(const std::string& line)
{
    if (Get() != nullptr) {
        Get()->lines_.push_back(line);
    }
}

std::string Journal::Enter(const void* object, const std::string& kind)
{
    if (Get() == nullptr) {
        return kind;
    }
    std::string name = kind + " " + std::to_string(++Get()->counts_[kind]);
    Get()->names_[object] = name;
    return name;
}

void Journal::Leave(const void* object)
{
    if (Get() != nullptr) {
        Get()->names_.erase(object);
    }
}

std::string Journal::NameOf(const void* object)
{
    if (object == nullptr) {
        return "nothing";
    }
    if (Get() == nullptr || Get()->names_.count(object) == 0) {
        return "unknown";
    }
    return Get()->names_[object];
}

std::vector<std::string> Journal::Of(std::initializer_list<std::string_view> firstWords) const
{
    std::vector<std::string> found;
    std::copy_if(
        lines_.begin(), lines_.end(), std::back_inserter(found), [&](const std::string& line) {
            const std::string first = line.substr(0, line.find(' '));
            return std::find(firstWords.begin(), firstWords.end(), first) != firstWords.end();
        });
    return found;
}

std::vector<std::string> Journal::Requests() const
{
    static const std::string deed = " send ";
    std::vector<std::string> requests;
    for (const std::string& line : Of({"client", "https"})) {
        const std::size_t at = line.find(deed);
        if (at != std::string::npos) {
            requests.push_back(line.substr(at + deed.size()));
        }
    }
    return requests;
}

static std::string TwoDigits(std::uint8_t byte)
{
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(byte));
    return digits;
}

std::string ToText(const IPMICOMMAND& request)
{
    std::string text = TwoDigits(request.netFn) + " " + TwoDigits(request.cmd);
    for (const std::uint8_t byte : request.data) {
        text += " " + TwoDigits(byte);
    }
    return text;
}

}  // namespace Tulvo::Fakes
