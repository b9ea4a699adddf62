// SPDX-License-Identifier: Apache-2.0
#include "tests/endurance/process_size.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace Tulvo::Tests {
namespace {

std::size_t EntriesOf(const std::filesystem::path& folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t ResidentBytes(const std::filesystem::path& process)
{
    std::ifstream file(process / "statm");
    std::size_t pages = 0;
    std::size_t residentPages = 0;
    file >> pages >> residentPages;
    return residentPages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

ProcessSize SizeOf(pid_t process)
{
    const auto folder = std::filesystem::path("/proc") / std::to_string(process);
    return {ResidentBytes(folder), EntriesOf(folder / "fd"), EntriesOf(folder / "task")};
}

std::ostream& operator<<(std::ostream& stream, const ProcessSize& size)
{
    return stream << size.residentBytes / 1024 << " KiB resident, " << size.descriptors
                  << " descriptors, " << size.threads << " threads";
}

}  // namespace Tulvo::Tests
