// SPDX-License-Identifier: Apache-2.0
#include "common/interruption/interruption.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <type_traits>

namespace Tulvo::Interruption {
namespace {

// Raise() runs in signal handlers, so what it touches is lock-free and needs no initialisation. The
// descriptor belongs to one process: what fork() hands on would wake parent and child together.
std::atomic<bool> raised{false};
std::atomic<int> descriptor{-1};
std::atomic<pid_t> owner{0};
static_assert(std::is_same_v<pid_t, int> && std::atomic<bool>::is_always_lock_free &&
              std::atomic<int>::is_always_lock_free);

void Wake(int fd)
{
    const int before = errno;
    eventfd_write(fd, 1);
    errno = before;
}

bool HaveDescriptor()
{
    return owner.load() == getpid();
}

void MakeDescriptor()
{
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) {
        return;
    }
    descriptor.store(fd);
    owner.store(getpid());
    // Raised in between: Raise() has seen no descriptor yet.
    if (raised.load()) {
        Wake(fd);
    }
}

struct Count
{
    std::mutex mutex;
    std::condition_variable changed;
    int sessions = 0;
};

Count& TheCount()
{
    // Never destroyed: a client in static storage may end after anything in this file would.
    static auto* const count = new Count;
    return *count;
}

void Add(int difference)
{
    Count& count = TheCount();
    const std::lock_guard lock(count.mutex);
    count.sessions += difference;
    count.changed.notify_all();
}

}  // namespace

int Descriptor()
{
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    if (!HaveDescriptor()) {
        MakeDescriptor();
    }
    return HaveDescriptor() ? descriptor.load() : -1;
}

void Raise()
{
    raised.store(true);
    if (HaveDescriptor()) {
        Wake(descriptor.load());
    }
}

bool Raised()
{
    return raised.load();
}

OpenSession::OpenSession()
{
    Add(1);
}

OpenSession::~OpenSession()
{
    Add(-1);
}

bool WaitForNone(std::chrono::milliseconds limit)
{
    Count& count = TheCount();
    std::unique_lock lock(count.mutex);
    return count.changed.wait_for(lock, limit, [&] { return count.sessions == 0; });
}

}  // namespace Tulvo::Interruption
