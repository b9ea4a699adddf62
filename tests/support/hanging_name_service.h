// SPDX-License-Identifier: Apache-2.0
/// @file
/// A name service that does not answer: getaddrinfo() of a program that this is linked into. Every
/// name is 127.0.0.1, once it is told.
#ifndef TESTS_SUPPORT_HANGING_NAME_SERVICE_H
#define TESTS_SUPPORT_HANGING_NAME_SERVICE_H

#include <condition_variable>
#include <mutex>

namespace Tulvo {

/// Answers nobody before Release().
class NameService
{
public:
    void Serve()
    {
        std::unique_lock lock(mutex_);
        ++asked_;
        ++waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return released_ > 0; });
        --released_;
        --waiting_;
        changed_.notify_all();
    }

    void Release(int count)
    {
        const std::lock_guard lock(mutex_);
        released_ += count;
        changed_.notify_all();
    }

    void ReleaseAll()
    {
        std::unique_lock lock(mutex_);
        released_ = waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return waiting_ == 0; });
        released_ = 0;
    }

    int Asked()
    {
        const std::lock_guard lock(mutex_);
        return asked_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int asked_ = 0;
    int waiting_ = 0;
    int released_ = 0;
};

extern NameService nameService;

}  // namespace Tulvo

#endif
