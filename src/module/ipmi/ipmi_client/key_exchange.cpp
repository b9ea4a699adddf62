// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/key_exchange.h"

#include <algorithm>

#include "module/ipmi/ipmi_client/local_host.h"

namespace Tulvo::Rmcp {
namespace {

// The module looks the user up by name alone, not by name and privilege, as every common client
// asks it to: a user's name is unique.
constexpr std::uint8_t kLookUp = IPMI_NAME_ONLY_LOOKUP;

template <std::size_t Size>
void CopyField(const FiidObject& message, const char* field, std::array<std::uint8_t, Size>& to)
{
    const std::vector<std::uint8_t> bytes = message.Bytes(field);
    std::copy_n(bytes.begin(), std::min(bytes.size(), Size), to.begin());
}

}  // namespace

// The library takes an empty name for an error, and none for the empty name.
const char* KeyExchange::UserName() const
{
    return credentials_.userName.empty() ? nullptr : credentials_.userName.c_str();
}

unsigned KeyExchange::UserNameSize() const
{
    return static_cast<unsigned>(credentials_.userName.size());
}

bool KeyExchange::DrawRandom()
{
    return Randomize(consoleRandom_);
}

void KeyExchange::FillMessage1(std::uint8_t tag, std::uint32_t moduleId,
                               const FiidObject& message) const
{
    fill_rmcpplus_rakp_message_1(tag, moduleId, consoleRandom_.data(), kRandomSize, privilege_,
                                 kLookUp, UserName(), UserNameSize(), message.Get());
}

// An empty password and one that is padded with zeros make the same key, so the whole buffer is
// given, here and below.
bool KeyExchange::CheckModule(const FiidObject& reply, const SessionState& session)
{
    CopyField(reply, "managed_system_random_number", moduleRandom_);
    CopyField(reply, "managed_system_guid", moduleGuid_);
    return ipmi_rmcpplus_check_rakp_2_key_exchange_authentication_code(
               session.algorithms.authentication, credentials_.password.Data(), Password::kCapacity,
               session.consoleId, session.moduleId, consoleRandom_.data(), kRandomSize,
               moduleRandom_.data(), kRandomSize, moduleGuid_.data(), kRandomSize, kLookUp,
               privilege_, UserName(), UserNameSize(), reply.Get()) == 1;
}

std::vector<std::uint8_t> KeyExchange::Proof(const SessionState& session) const
{
    std::vector<std::uint8_t> proof(Key::kCapacity);
    const int length = ipmi_calculate_rakp_3_key_exchange_authentication_code(
        session.algorithms.authentication, credentials_.password.Data(), Password::kCapacity,
        moduleRandom_.data(), kRandomSize, session.consoleId, kLookUp, privilege_, UserName(),
        UserNameSize(), proof.data(), static_cast<unsigned>(proof.size()));
    proof.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return proof;
}

bool KeyExchange::DeriveKeys(SessionState& session) const
{
    struct Part
    {
        Key& key;
        void* data = key.Data();
        unsigned size = Key::kCapacity;
    };
    Part sessionKey{session.sessionKey};
    Part integrity{session.integrityKey};
    Part confidentiality{session.confidentialityKey};
    const bool hasKg = credentials_.kg.Size() > 0;
    const int result = ipmi_calculate_rmcpplus_session_keys(
        session.algorithms.authentication, session.algorithms.integrity,
        session.algorithms.confidentiality, credentials_.password.Data(), Password::kCapacity,
        hasKg ? credentials_.kg.Data() : nullptr, hasKg ? static_cast<unsigned>(kLongestKg) : 0U,
        consoleRandom_.data(), kRandomSize, moduleRandom_.data(), kRandomSize, kLookUp, privilege_,
        UserName(), UserNameSize(), &sessionKey.data, &sessionKey.size, &integrity.data,
        &integrity.size, &confidentiality.data, &confidentiality.size);
    for (const Part* part : {&sessionKey, &integrity, &confidentiality}) {
        part->key.Resize(std::min<std::size_t>(part->size, Key::kCapacity));
    }
    return result == 0;
}

bool KeyExchange::CheckKeys(const FiidObject& reply, const SessionState& session) const
{
    return ipmi_rmcpplus_check_rakp_4_integrity_check_value(
               session.algorithms.authentication, session.sessionKey.Data(),
               session.sessionKey.Size(), consoleRandom_.data(), kRandomSize, session.moduleId,
               moduleGuid_.data(), kRandomSize, reply.Get()) == 1;
}

}  // namespace Tulvo::Rmcp
