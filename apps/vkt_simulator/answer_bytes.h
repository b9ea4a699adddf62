// SPDX-License-Identifier: Apache-2.0
/// @file
/// Small pieces that answers are put together from.
#ifndef APPS_VKT_SIMULATOR_ANSWER_BYTES_H
#define APPS_VKT_SIMULATOR_ANSWER_BYTES_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace Tulvo::Simulator {

/// Bytes in wire order; each operation appends and can be chained.
class AnswerBytes
{
public:
    AnswerBytes() = default;
    explicit AnswerBytes(std::vector<std::uint8_t> start) : bytes_(std::move(start)) {}

    AnswerBytes& Byte(std::uint8_t value)
    {
        bytes_.push_back(value);
        return *this;
    }

    /// 16-bit numbers, low byte first.
    AnswerBytes& Words(std::initializer_list<std::uint16_t> values)
    {
        for (const std::uint16_t value : values) {
            Byte(static_cast<std::uint8_t>(value & 0xFFU));
            Byte(static_cast<std::uint8_t>(value >> 8U));
        }
        return *this;
    }

    /// The characters without a terminator.
    AnswerBytes& Text(const std::string& text)
    {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }

    /// Zero bytes up to `length`, or nothing beyond it.
    AnswerBytes& Resize(std::size_t length)
    {
        bytes_.resize(length);
        return *this;
    }

    const std::vector<std::uint8_t>& Get() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};

}  // namespace Tulvo::Simulator

#endif
