// SPDX-License-Identifier: Apache-2.0
/// @file
/// Takes an input apart, from its front.
#ifndef FUZZ_INPUT_READER_H
#define FUZZ_INPUT_READER_H

#include <algorithm>
#include <stop_token>
#include <string>
#include <string_view>

#include "fuzz/target.h"

namespace Tulvo::Fuzz {

/// Text as an input.
inline Bytes AsBytes(std::string_view text)
{
    return {text.begin(), text.end()};
}

inline Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// Everything that it hands out has a buffer of exactly its size, so that a sanitizer sees a read
/// of one byte more.
class InputReader
{
public:
    explicit InputReader(Input rest) : rest_(rest) {}

    bool AtEnd() const { return rest_.empty(); }

    /// 0 at the end.
    std::uint8_t Byte()
    {
        const Input byte = Take(1);
        return byte.empty() ? std::uint8_t{0} : byte[0];
    }

    /// Fewer at the end.
    Bytes Some(std::size_t count)
    {
        const Input bytes = Take(count);
        return {bytes.begin(), bytes.end()};
    }

    Bytes Rest() { return Some(rest_.size()); }

    /// Up to and with the next line feed, or all there is.
    std::string Line()
    {
        const auto lineFeed = std::find(rest_.begin(), rest_.end(), '\n');
        const auto length = static_cast<std::size_t>(lineFeed - rest_.begin());
        const Input line = Take(lineFeed == rest_.end() ? length : length + 1);
        return {line.begin(), line.end()};
    }

private:
    Input Take(std::size_t count)
    {
        const Input taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

    Input rest_;
};

/// Stands in front of any instruction of a conversation.
inline constexpr std::uint8_t kStopNow = 0x80;

/// An input as what all who take part in a conversation do next.
class Script : public InputReader
{
public:
    using InputReader::InputReader;

    /// The next byte; a stop in front of it is requested.
    std::uint8_t Next()
    {
        const std::uint8_t byte = Byte();
        if (byte != kStopNow) {
            return byte;
        }
        stop_.request_stop();
        return Byte();
    }

    std::stop_token Stop() const { return stop_.get_token(); }

private:
    std::stop_source stop_;
};

/// A text in a buffer of exactly its size, which a std::string is not.
class ExactText
{
public:
    explicit ExactText(const Bytes& bytes) : characters_(bytes.begin(), bytes.end()) {}

    std::string_view View() const { return {characters_.data(), characters_.size()}; }

private:
    std::vector<char> characters_;
};

}  // namespace Tulvo::Fuzz

#endif
