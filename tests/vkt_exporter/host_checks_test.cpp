// SPDX-License-Identifier: Apache-2.0
#include "apps/host_checks.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace Tulvo;

/// Ends a process that has begun with that limit of the size of a core: with 0 if nothing of its
/// memory is left to others.
[[noreturn]] void EndForbiddingCores(const rlimit& before)
{
    setrlimit(RLIMIT_CORE, &before);
    ForbidCores();
    rlimit limit = {};
    getrlimit(RLIMIT_CORE, &limit);
    _exit(limit.rlim_max <= 1 && prctl(PR_GET_DUMPABLE) == 0 ? 0 : 1);
}

TEST(HostChecks, LeaveNoCoreAndNoLookIntoTheMemory)
{
    rlimit most = {};
    getrlimit(RLIMIT_CORE, &most);
    EXPECT_EXIT(EndForbiddingCores({most.rlim_max, most.rlim_max}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(EndForbiddingCores({0, 0}), testing::ExitedWithCode(0), "");
}

}  // namespace
