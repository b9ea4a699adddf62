// SPDX-License-Identifier: Apache-2.0
// What becomes of the library when a host that loaded it lets it go.
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace Tulvo {
namespace {

TEST(Unloading, LeavesTheCodeToAThreadThatStillWaitsForANameService)
{
    void* const library = dlopen(VKT_IPMI_CLIENT_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    ASSERT_EQ(dlclose(library), 0) << dlerror();
    EXPECT_NE(dlopen(VKT_IPMI_CLIENT_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

}  // namespace
}  // namespace Tulvo
