// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/session_table.h"

#include <algorithm>

#include "apps/vkt_simulator/random_id.h"

namespace Tulvo::Simulator {

std::optional<RedfishSession> SessionTable::Open()
{
    if (sessions_.size() >= capacity_) {
        return std::nullopt;
    }
    sessions_.push_back({std::to_string(++lastId_), RandomId(), lifetime_});
    return sessions_.back();
}

bool SessionTable::Use(const std::string& token)
{
    const auto session =
        std::find_if(sessions_.begin(), sessions_.end(),
                     [&](const RedfishSession& open) { return open.token == token; });
    if (session == sessions_.end()) {
        return false;
    }
    if (session->usesLeft == 0U) {
        sessions_.erase(session);
        return false;
    }
    if (session->usesLeft) {
        --*session->usesLeft;
    }
    return true;
}

bool SessionTable::Close(const std::string& id)
{
    return std::erase_if(sessions_, [&](const RedfishSession& s) { return s.id == id; }) == 1;
}

}  // namespace Tulvo::Simulator
