// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/progress.h"

#include <string>
#include <system_error>

#include "apps/vktinventory/output/diagnostics.h"

namespace Tulvo::Cli {
namespace {

/// Often enough for an eye, seldom enough for a terminal over a slow line.
constexpr std::chrono::milliseconds kBeat{200};

}  // namespace

Progress::Progress(std::size_t total) : total_(total)
{
    if (!WantsProgress()) {
        return;
    }
    try {
        shower_ = std::jthread([this](const std::stop_token& stop) {
            std::unique_lock lock(mutex_);
            while (!stop.stop_requested()) {
                Show();
                counted_.wait_for(lock, stop, kBeat, [] { return false; });
            }
        });
    } catch (const std::system_error&) {
        // No thread is left for it: the enclosures are read all the same.
    }
}

Progress::~Progress()
{
    if (shower_.joinable()) {
        shower_.request_stop();
        shower_.join();
        ShowProgress("");
    }
}

void Progress::Count(bool failed)
{
    const std::lock_guard lock(mutex_);
    (failed ? failed_ : done_) += 1;
}

void Progress::Show()
{
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin_);
    ShowProgress(std::to_string(done_) + " done, " + std::to_string(failed_) + " failed, " +
                 std::to_string(total_ - done_ - failed_) + " left, " +
                 std::to_string(seconds.count()) + " s");
}

}  // namespace Tulvo::Cli
