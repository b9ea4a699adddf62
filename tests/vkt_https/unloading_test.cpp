// SPDX-License-Identifier: Apache-2.0
// What becomes of a thread that waits for a name service, when the plug-in that asked is unloaded.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <iterator>
#include <thread>

namespace {

std::promise<void>& NameServiceAnswers()
{
    static std::promise<void> answers;
    return answers;
}

}  // namespace

// Stands before the C library's for every library that this program loads.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char*, const char*,
                                                                  const addrinfo*, addrinfo**)
{
    NameServiceAnswers().get_future().wait();
    return EAI_NONAME;
}

namespace Tulvo::Tests {
namespace {

long Threads()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(Unloading, LeavesTheCodeToAThreadThatStillWaitsForANameService)
{
    const long threads = Threads();
    void* const plugin = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugin, nullptr) << dlerror();
    auto* const ask = reinterpret_cast<bool (*)()>(dlsym(plugin, "RequestTimesOut"));
    ASSERT_NE(ask, nullptr) << dlerror();
    ASSERT_TRUE(ask());
    ASSERT_EQ(Threads(), threads + 1) << "one must be waiting";
    ASSERT_EQ(dlclose(plugin), 0) << dlerror();

    EXPECT_EQ(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr);
    EXPECT_NE(dlopen("libcurl.so.4", RTLD_NOW | RTLD_NOLOAD), nullptr);
    NameServiceAnswers().set_value();
    while (Threads() != threads) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace
}  // namespace Tulvo::Tests
