// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/metrics/exposition.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

#include "common/text/utf8.h"

namespace Tulvo::Exporter {
namespace {

std::string Escaped(std::string_view text)
{
    std::string escaped;
    escaped.reserve(text.size());
    for (const char character : text) {
        switch (character) {
            case '\\':
                escaped += "\\\\";
                break;
            case '"':
                escaped += "\\\"";
                break;
            case '\n':
                escaped += "\\n";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

std::string SeriesText(const MetricFamily& family, const std::vector<std::string>& labels)
{
    std::string text = family.name;
    const std::size_t count = std::min(family.labels.size(), labels.size());
    for (std::size_t index = 0; index < count; ++index) {
        text += index == 0 ? '{' : ',';
        text += family.labels[index];
        text += "=\"";
        text += Escaped(Text::BytesAsUtf8(labels[index]));
        text += '"';
    }
    text += count == 0 ? "" : "}";
    return text;
}

/// As short as it can be read back; whole numbers, counters of bytes too, without an exponent.
std::string NumberText(double value)
{
    constexpr double mostExact = 9007199254740992;  // 2^53
    std::array<char, 32> text{};
    const bool whole = std::trunc(value) == value && std::abs(value) <= mostExact;
    const auto end =
        whole ? std::to_chars(text.begin(), text.end(), static_cast<long long>(value)).ptr
              : std::to_chars(text.begin(), text.end(), value).ptr;
    return {text.begin(), end};
}

}  // namespace

std::string_view WordOf(MetricType type)
{
    return type == MetricType::kCounter ? "counter" : "gauge";
}

Exposition::Block& Exposition::BlockOf(const MetricFamily& family)
{
    const auto known = std::find_if(blocks_.begin(), blocks_.end(), [&family](const Block& block) {
        return block.name == family.name;
    });
    if (known != blocks_.end()) {
        return *known;
    }
    Block& block = blocks_.emplace_back();
    block.name = family.name;
    block.text.append("# HELP ").append(family.name).append(" ").append(family.help);
    block.text.append("\n# TYPE ").append(family.name).append(" ").append(WordOf(family.type));
    block.text += '\n';
    return block;
}

void Exposition::Add(const MetricFamily& family, const std::vector<std::string>& labels,
                     double value)
{
    if (!std::isfinite(value)) {
        return;
    }
    Block& block = BlockOf(family);
    const auto [series, isNew] = block.series.insert(SeriesText(family, labels));
    if (isNew) {
        block.text.append(*series).append(" ").append(NumberText(value)).append("\n");
    }
}

std::string Exposition::Text() const
{
    std::string text;
    for (const Block& block : blocks_) {
        text += block.text;
    }
    return text;
}

}  // namespace Tulvo::Exporter
