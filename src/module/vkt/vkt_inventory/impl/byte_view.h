// SPDX-License-Identifier: Apache-2.0
/// @file
/// A view over response bytes that cannot be read past its end.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_BYTE_VIEW_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_BYTE_VIEW_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Tulvo {

/// Bytes that somebody else owns. A byte beyond the end reads as 0.
class ByteView
{
public:
    explicit ByteView(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    std::size_t Size() const { return bytes_.size(); }
    std::span<const std::uint8_t> Bytes() const { return bytes_; }

    std::uint8_t operator[](std::size_t index) const
    {
        return index < bytes_.size() ? bytes_[index] : std::uint8_t{0};
    }

    /// The 16-bit number whose low byte stands at `index`.
    std::uint16_t LittleEndian16(std::size_t index) const
    {
        return static_cast<std::uint16_t>((*this)[index] | (*this)[index + 1] << 8);
    }

    /// What follows the first `count` bytes; nothing when there are fewer.
    ByteView Without(std::size_t count) const
    {
        return ByteView(bytes_.subspan(std::min(count, bytes_.size())));
    }

private:
    std::span<const std::uint8_t> bytes_;
};

}  // namespace Tulvo

#endif
