// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_SUPPORT_FEW_DESCRIPTORS_H
#define TESTS_SUPPORT_FEW_DESCRIPTORS_H

#include <sys/resource.h>
#include <unistd.h>

namespace Tulvo {

/// Leaves this process `left` descriptors that it can still open.
class FewDescriptors
{
public:
    explicit FewDescriptors(rlim_t left)
    {
        getrlimit(RLIMIT_NOFILE, &before_);
        const int lowestFree = dup(STDERR_FILENO);
        close(lowestFree);
        const rlimit few{static_cast<rlim_t>(lowestFree) + left, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_{};
};

}  // namespace Tulvo

#endif
