// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/connection_table.h"

#include <sys/socket.h>

#include <algorithm>
#include <iterator>

namespace Tulvo::Exporter {

ConnectionTable::ConnectionTable(const Timeouts& timeouts)
    : limits_({{
          {Activity::kSilent, timeouts.request},
          {Activity::kKeptAlive, timeouts.nextRequest},
          {Activity::kSending, timeouts.answer},
      }})
{
}

Connection& ConnectionTable::Add(int socket)
{
    Connections& silent = With(Activity::kSilent);
    Connection& added = silent.emplace_back();
    added.socket = socket;
    added.since = Clock::now();
    added.self = std::prev(silent.end());
    return added;
}

void ConnectionTable::Remove(Connection& connection)
{
    With(connection.activity).erase(connection.self);
}

void ConnectionTable::Enter(Connection& connection, Activity activity)
{
    if (connection.activity == Activity::kClosing) {
        return;
    }
    Connections& to = With(activity);
    to.splice(to.end(), With(connection.activity), connection.self);
    connection.activity = activity;
    connection.since = Clock::now();
}

void ConnectionTable::Close(Connection& connection)
{
    shutdown(connection.socket, SHUT_RDWR);
    Enter(connection, Activity::kClosing);
}

std::size_t ConnectionTable::Open() const
{
    std::size_t count = 0;
    for (const Activity activity :
         {Activity::kSilent, Activity::kKeptAlive, Activity::kSending, Activity::kWorking}) {
        count += With(activity).size();
    }
    return count;
}

bool ConnectionTable::CanGiveWay() const
{
    return !With(Activity::kSilent).empty() || !With(Activity::kKeptAlive).empty();
}

bool ConnectionTable::MostIdleAreSilent() const
{
    return With(Activity::kSilent).size() >= With(Activity::kKeptAlive).size();
}

bool ConnectionTable::GiveWay(std::chrono::milliseconds silence)
{
    Connections& silent = With(Activity::kSilent);
    Connections& keptAlive = With(Activity::kKeptAlive);
    if (!silent.empty() && silent.front().since + silence <= Clock::now()) {
        Close(silent.front());
        return true;
    }
    if (!keptAlive.empty()) {
        Close(keptAlive.front());
        return true;
    }
    return false;
}

void ConnectionTable::CloseOverdue(Clock::time_point now)
{
    for (const Limit& limit : limits_) {
        Connections& connections = With(limit.activity);
        while (!connections.empty() && connections.front().since + limit.longest <= now) {
            Close(connections.front());
        }
    }
}

std::optional<ConnectionTable::Clock::time_point> ConnectionTable::NextDeadline() const
{
    std::optional<Clock::time_point> next;
    for (const Limit& limit : limits_) {
        const Connections& connections = With(limit.activity);
        if (!connections.empty()) {
            const auto deadline = connections.front().since + limit.longest;
            next = std::min(next.value_or(deadline), deadline);
        }
    }
    return next;
}

}  // namespace Tulvo::Exporter
