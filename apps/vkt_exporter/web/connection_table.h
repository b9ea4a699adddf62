// SPDX-License-Identifier: Apache-2.0
/// @file
/// The connections of a server by what they are doing, so that those that do nothing give way.
#ifndef APPS_VKT_EXPORTER_WEB_CONNECTION_TABLE_H
#define APPS_VKT_EXPORTER_WEB_CONNECTION_TABLE_H

#include <array>
#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>

#include "apps/vkt_exporter/web/http_server.h"

namespace Tulvo::Exporter {

/// In the order in which connections give way to new ones.
enum class Activity : std::size_t
{
    kSilent,     ///< Has not sent a whole request yet.
    kKeptAlive,  ///< Has had an answer, and has not sent another whole request since.
    kSending,    ///< Takes an answer.
    kWorking,    ///< Waits for an answer.
    kClosing,    ///< Has been told to end.
};
inline constexpr std::size_t kActivities = 5;

struct Connection
{
    int socket = -1;
    Activity activity = Activity::kSilent;
    std::chrono::steady_clock::time_point since;  ///< Begin of the activity.
    std::list<Connection>::iterator self;
    std::shared_ptr<const void> keeps;  ///< What the connection needs until it is removed.
    bool hasNulInUrl = false;
};

/// Belongs to one thread.
class ConnectionTable
{
public:
    using Clock = std::chrono::steady_clock;

    explicit ConnectionTable(const Timeouts& timeouts);

    /// @param socket stays open as long as the connection is in the table.
    Connection& Add(int socket);
    void Remove(Connection& connection);
    void Enter(Connection& connection, Activity activity);

    /// Those that count against a bound: without the closing ones.
    std::size_t Open() const;
    bool CanGiveWay() const;
    /// As when somebody only connects, again and again. Else those that are silent have just come.
    bool MostIdleAreSilent() const;
    bool IsSending() const { return !With(Activity::kSending).empty(); }
    /// Ends the connection that is missed least: the one that has been silent longest, else the one
    /// that has been kept alive longest without a request.
    /// @param silence one that has been silent for less may be about to send its request.
    /// @return whether there was one.
    bool GiveWay(std::chrono::milliseconds silence);
    /// The server's library sees a connection that ended, and closes its socket.
    void Close(Connection& connection);
    /// Ends those that have been silent, kept alive or sending for too long.
    void CloseOverdue(Clock::time_point now);
    /// When CloseOverdue() next has work, if no connection changes.
    std::optional<Clock::time_point> NextDeadline() const;

private:
    using Connections = std::list<Connection>;

    Connections& With(Activity activity) { return lists_[static_cast<std::size_t>(activity)]; }
    const Connections& With(Activity activity) const
    {
        return lists_[static_cast<std::size_t>(activity)];
    }

    struct Limit
    {
        Activity activity;
        std::chrono::milliseconds longest;
    };

    // Byte by byte a request or an answer could be drawn out without end, so that each is given a
    // time as a whole.
    const std::array<Limit, 3> limits_;
    std::array<Connections, kActivities> lists_;  ///< Each with the longest activity first.
};

}  // namespace Tulvo::Exporter

#endif
