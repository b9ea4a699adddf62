// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// The key exchange of a log-in (RAKP): each side proves to the other over two random numbers that
/// it knows the password, and both compute the session's keys from them.
#ifndef MODULE_IPMI_IPMI_CLIENT_KEY_EXCHANGE_H
#define MODULE_IPMI_IPMI_CLIENT_KEY_EXCHANGE_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "module/ipmi/ipmi_client/fiid_object.h"
#include "module/ipmi/ipmi_client/login_settings.h"
#include "module/ipmi/ipmi_client/session_state.h"

namespace Tulvo::Rmcp {

class KeyExchange
{
public:
    /// The credentials must outlive the object.
    KeyExchange(const Credentials& credentials, std::uint8_t privilege)
        : credentials_(credentials), privilege_(privilege)
    {
    }

    /// Draws this side's random number; false when the host has none.
    bool DrawRandom();

    /// RAKP message 1: this side's random number and the user.
    void FillMessage1(std::uint8_t tag, std::uint32_t moduleId, const FiidObject& message) const;

    /// Takes RAKP message 2, in which the module proves first. False when it does not know the
    /// password.
    bool CheckModule(const FiidObject& reply, const SessionState& session);

    /// This side's proof, for RAKP message 3; empty on failure.
    std::vector<std::uint8_t> Proof(const SessionState& session) const;

    /// Computes the session's keys; false on failure.
    bool DeriveKeys(SessionState& session) const;

    /// Whether RAKP message 4 shows that the module has come to the same keys.
    bool CheckKeys(const FiidObject& reply, const SessionState& session) const;

private:
    static constexpr unsigned kRandomSize = 16;
    using Random = std::array<std::uint8_t, kRandomSize>;

    const char* UserName() const;
    unsigned UserNameSize() const;

    const Credentials& credentials_;
    const std::uint8_t privilege_;
    Random consoleRandom_{};
    Random moduleRandom_{};
    Random moduleGuid_{};
};

}  // namespace Tulvo::Rmcp

#endif
