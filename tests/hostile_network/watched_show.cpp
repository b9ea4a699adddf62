// SPDX-License-Identifier: Apache-2.0
#include "tests/hostile_network/watched_show.h"

#include <malloc.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "module/ipmi/ipmi_client/ipmi_client.h"

// AddressSanitizer has a heap of its own.
#if defined(__SANITIZE_ADDRESS__)
#define VKT_SANITIZED_HEAP
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VKT_SANITIZED_HEAP
#endif
#endif
#ifdef VKT_SANITIZED_HEAP
#include <sanitizer/allocator_interface.h>
#include <sanitizer/lsan_interface.h>
#endif

namespace Tulvo {
namespace {

constexpr std::size_t kServerSessions = 63;

constexpr const char* kUser = "admin";
constexpr const char* kPassword = "enclosure";

std::string ScenarioText(const std::string& name)
{
    std::ifstream file(SCENARIO_FOLDER "/" + name + ".json");
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

Simulator::IpmiSimOptions OptionsFor(const std::string& scenario)
{
    Simulator::IpmiSimOptions options;
    options.users = {{kUser, kPassword}};
    options.modulePath = SIMULATOR_MODULE;
    options.moduleInput = ScenarioText(scenario);
    return options;
}

Test::Ran Show(std::uint16_t port, int seconds)
{
    return Test::RunCommand({"-H", "127.0.0.1", "-p", std::to_string(port), "-U", kUser, "-P",
                             kPassword, "--timeout", std::to_string(seconds), "--format", "json",
                             "show"});
}

std::size_t SessionsOn(const Simulator::IpmiSimServer& server)
{
    const IPMICOMMAND getSessionInfo{0x3D, {0}, 0x06};
    IpmiClient client("127.0.0.1", kUser, kPassword, std::to_string(server.Port()), 3);
    std::vector<std::uint8_t> data;
    std::uint8_t completionCode = 0;
    const CONNECTIONSTATE state = client.connect();
    if (client.lastError().find("no session free") != std::string::npos) {
        return kServerSessions;
    }
    if (state != CONNECTION_CONNECTED || client.send(getSessionInfo, data, completionCode) != 0 ||
        data.size() < 3) {
        throw std::runtime_error("the module does not tell its sessions: " + client.lastError());
    }
    return data[2] - 1U;
}

std::ptrdiff_t OpenFiles()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

bool LosesMemory()
{
#ifdef VKT_SANITIZED_HEAP
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

std::size_t HeapBytes()
{
#ifdef VKT_SANITIZED_HEAP
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

}  // namespace Tulvo
