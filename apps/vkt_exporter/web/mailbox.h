// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_WEB_MAILBOX_H
#define APPS_VKT_EXPORTER_WEB_MAILBOX_H

#include <functional>
#include <mutex>
#include <vector>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Exporter {

/// What other threads have for the one that owns it, and the descriptor that wakes that one.
class Mailbox
{
public:
    using Task = std::function<void()>;

    /// @throws std::system_error when the host has no descriptor left.
    Mailbox();

    /// Has the owner call `task`. For any thread.
    void Post(Task task);
    /// What is posted from now on is dropped.
    void Close();

    /// For the owner: readable when there are tasks.
    int Descriptor() const { return event_.Get(); }
    /// For the owner: calls the tasks in their order.
    void Work();

private:
    std::vector<Task> Take();

    FileDescriptor event_;
    std::mutex mutex_;
    bool open_ = true;
    std::vector<Task> tasks_;
};

}  // namespace Tulvo::Exporter

#endif
