// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_SUPPORT_RUN_IN_PROCESSES_H
#define TESTS_SUPPORT_RUN_IN_PROCESSES_H

#include <functional>
#include <string>

namespace Tulvo {

/// How a piece of work in a process of its own ended.
struct WorkEnd
{
    int number = 0;
    bool orderly = false;
    std::string text;  ///< What the work returned; how it ended when that was not orderly.
};

/// Calls `work` with each number from `first` to `last`, each in a process of its own, `atOnce` of
/// them side by side, and `take` here with how each ended. A crash ends that piece of work alone,
/// and so does being not ready after `seconds`, which is a hang. Call it where no other thread runs
/// and no other child is waited for.
void RunInProcesses(int first, int last, int atOnce, unsigned seconds,
                    const std::function<std::string(int)>& work,
                    const std::function<void(const WorkEnd&)>& take);

}  // namespace Tulvo

#endif
