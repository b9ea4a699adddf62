// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/mailbox.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace Tulvo::Exporter {

Mailbox::Mailbox() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!event_.Valid()) {
        throw std::system_error(errno, std::generic_category(), "cannot make an event");
    }
}

void Mailbox::Post(Task task)
{
    const std::lock_guard lock(mutex_);
    if (open_) {
        tasks_.push_back(std::move(task));
        eventfd_write(event_.Get(), 1);
    }
}

// Tasks are destroyed without the lock: what they hold may post once more.
void Mailbox::Close()
{
    std::vector<Task> dropped;
    const std::lock_guard lock(mutex_);
    open_ = false;
    dropped.swap(tasks_);
}

std::vector<Mailbox::Task> Mailbox::Take()
{
    const std::lock_guard lock(mutex_);
    eventfd_t count = 0;
    eventfd_read(event_.Get(), &count);
    return std::exchange(tasks_, {});
}

void Mailbox::Work()
{
    for (const Task& task : Take()) {
        task();
    }
}

}  // namespace Tulvo::Exporter
