// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// A password or key that leaves no copy behind.
#ifndef MODULE_IPMI_IPMI_CLIENT_SECRET_H
#define MODULE_IPMI_IPMI_CLIENT_SECRET_H

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace Tulvo::Rmcp {

/// Up to `Capacity` secret bytes, held in place (a container that grows would leave copies in freed
/// memory) and overwritten at the end. Bytes that are not used are 0.
template <std::size_t Capacity>
class Secret
{
public:
    static constexpr std::size_t kCapacity = Capacity;

    Secret() = default;
    /// Keeps no byte of a text that does not fit; Fits() tells.
    explicit Secret(std::string_view text) : size_(text.size())
    {
        if (Fits()) {
            text.copy(bytes_.data(), Capacity);
        }
    }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() { Clear(); }

    bool Fits() const { return size_ <= Capacity; }
    std::string_view View() const { return {bytes_.data(), Fits() ? size_ : 0}; }
    /// All `Capacity` bytes.
    const char* Data() const { return bytes_.data(); }
    char* Data() { return bytes_.data(); }
    unsigned Size() const { return static_cast<unsigned>(size_); }
    void Resize(std::size_t size) { size_ = size; }
    void Clear()
    {
        explicit_bzero(bytes_.data(), bytes_.size());
        size_ = 0;
    }

private:
    std::array<char, Capacity> bytes_{};
    std::size_t size_ = 0;
};

}  // namespace Tulvo::Rmcp

#endif
