// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_OUTPUT_PROGRESS_H
#define APPS_VKTINVENTORY_OUTPUT_PROGRESS_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

namespace Tulvo::Cli {

/// Tells somebody who waits at a terminal how far the reading of many enclosures is, every second
/// and as they are complete: done, failed, left, seconds. Nobody else sees anything of it.
class Progress
{
public:
    explicit Progress(std::size_t total);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    void Count(bool failed);

private:
    void Show();

    const std::size_t total_;
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    std::mutex mutex_;
    std::condition_variable_any counted_;
    std::size_t done_ = 0;
    std::size_t failed_ = 0;
    std::jthread shower_;
};

}  // namespace Tulvo::Cli

#endif
