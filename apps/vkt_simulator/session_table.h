// SPDX-License-Identifier: Apache-2.0
/// @file
/// The Redfish sessions that are open.
#ifndef APPS_VKT_SIMULATOR_SESSION_TABLE_H
#define APPS_VKT_SIMULATOR_SESSION_TABLE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Tulvo::Simulator {

struct RedfishSession
{
    std::string id;
    std::string token;
    std::optional<std::uint32_t> usesLeft;  ///< without it: unlimited
};

/// At most `capacity` sessions, each good for `lifetime` uses when that is given.
class SessionTable
{
public:
    SessionTable(std::size_t capacity, std::optional<std::uint32_t> lifetime)
        : capacity_(capacity), lifetime_(lifetime)
    {
    }

    /// Other limits from now on; what is open stays open.
    void Limit(std::size_t capacity, std::optional<std::uint32_t> lifetime)
    {
        capacity_ = capacity;
        lifetime_ = lifetime;
    }
    /// A new session; nothing when there is no room.
    std::optional<RedfishSession> Open();
    /// Whether `token` is a session's; counts one use. A session that is used up already is closed
    /// instead.
    bool Use(const std::string& token);
    /// False when there is no such session.
    bool Close(const std::string& id);
    std::size_t Count() const { return sessions_.size(); }

private:
    std::size_t capacity_;
    std::optional<std::uint32_t> lifetime_;
    std::uint64_t lastId_ = 0;
    std::vector<RedfishSession> sessions_;
};

}  // namespace Tulvo::Simulator

#endif
