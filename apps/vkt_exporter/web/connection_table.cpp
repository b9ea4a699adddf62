// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/connection_table.h"

#include <sys/socket.h>

#include <algorithm>
#include <iterator>

namespace Tulvo::Exporter {

namespace {

struct Limit
{
    Activity activity;
    std::chrono::seconds longest;
};

// Byte by byte a request or an answer could be drawn out without end, so that each is given a time
// as a whole. A scraper that comes every two minutes need not connect anew.
constexpr Limit kLimits[] = {
    {Activity::kSilent, std::chrono::seconds(10)},
    {Activity::kKeptAlive, std::chrono::seconds(150)},
    {Activity::kSending, std::chrono::seconds(60)},
};

}  // namespace

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

// The server's library sees a connection that ended, and closes its socket.
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

bool ConnectionTable::GiveWay()
{
    for (const Activity activity : {Activity::kSilent, Activity::kKeptAlive}) {
        if (!With(activity).empty()) {
            Close(With(activity).front());
            return true;
        }
    }
    return false;
}

void ConnectionTable::CloseOverdue(Clock::time_point now)
{
    for (const Limit& limit : kLimits) {
        Connections& connections = With(limit.activity);
        while (!connections.empty() && connections.front().since + limit.longest <= now) {
            Close(connections.front());
        }
    }
}

std::optional<ConnectionTable::Clock::time_point> ConnectionTable::NextDeadline() const
{
    std::optional<Clock::time_point> next;
    for (const Limit& limit : kLimits) {
        const Connections& connections = With(limit.activity);
        if (!connections.empty()) {
            const auto deadline = connections.front().since + limit.longest;
            next = std::min(next.value_or(deadline), deadline);
        }
    }
    return next;
}

}  // namespace Tulvo::Exporter
