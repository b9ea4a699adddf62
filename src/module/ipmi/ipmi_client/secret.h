// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// A password or key that leaves no copy behind.
#ifndef MODULE_IPMI_IPMI_CLIENT_SECRET_H
#define MODULE_IPMI_IPMI_CLIENT_SECRET_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Tulvo {

/// Up to `Capacity` secret bytes, held in place (a container that grows would leave copies in freed
/// memory) and overwritten at the end.
template <std::size_t Capacity>
class Secret
{
public:
    Secret() = default;
    /// Keeps no byte of a text that does not fit; Fits() tells.
    explicit Secret(std::string_view text) : size_(text.size())
    {
        if (Fits()) {
            std::copy(text.begin(), text.end(), bytes_.begin());
        }
    }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() { explicit_bzero(bytes_.data(), bytes_.size()); }

    bool Fits() const { return size_ <= Capacity; }
    bool Holds(char byte) const
    {
        return Fits() &&
               std::find(bytes_.begin(), bytes_.begin() + size_, byte) != bytes_.begin() + size_;
    }
    const char* Data() const { return bytes_.data(); }
    std::size_t Size() const { return size_; }

private:
    std::array<char, Capacity> bytes_{};
    std::size_t size_ = 0;
};

}  // namespace Tulvo

#endif
