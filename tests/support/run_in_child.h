// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_SUPPORT_RUN_IN_CHILD_H
#define TESTS_SUPPORT_RUN_IN_CHILD_H

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace Tulvo {

/// Whether `program` returns true in a child process of its own, which `begun` is told of
/// meanwhile.
inline bool RunsWellInAChild(
    const std::function<bool()>& program, const std::function<void(pid_t)>& begun = [](pid_t) {})
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(program() ? 0 : 1);
    }
    begun(child);
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace Tulvo

#endif
