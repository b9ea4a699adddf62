// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/cell.h"

#include <charconv>
#include <system_error>

#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

constexpr std::string_view kAbsent = "N/A";

Datum NumberIn(const std::string& text)
{
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || last != end) {
        return text;
    }
    return number;
}

}  // namespace

Datum DatumOf(const std::string& text, Kind kind)
{
    if (kind == Kind::kText) {
        return text;
    }
    if (text == kAbsent || text.empty()) {
        return {};
    }
    return kind == Kind::kReading ? NumberIn(text) : Datum(text);
}

std::string ShownText(const std::string& text)
{
    return text.empty() ? "-" : Text::PrintableAscii(text);
}

std::string ShownNumber(std::int64_t number, Kind kind)
{
    if (kind != Kind::kIdentifier) {
        return std::to_string(number);
    }
    char digits[16];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number, 16);
    return "0x" + std::string(digits, end);
}

}  // namespace Tulvo::Cli
