// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/shipped_files.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace Tulvo::Simulator {

namespace {

namespace fs = std::filesystem;

// Beside the program where it is built, else where it is installed to; both relative to the
// program, so that either tree can be moved.
fs::path Shipped(const char* built, const char* installed)
{
    const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path beside = folder / built;
    return fs::exists(beside) ? beside : (folder / installed).lexically_normal();
}

fs::path ScenarioFolder()
{
    return Shipped("scenarios", VKT_SIMULATOR_INSTALLED_SCENARIOS);
}

}  // namespace

std::string ModuleFile()
{
    const fs::path module = Shipped("vkt_simulator_module.so",
                                    VKT_SIMULATOR_INSTALLED_MODULES "/vkt_simulator_module.so");
    if (!fs::exists(module)) {
        throw std::runtime_error(module.string() +
                                 " is missing; build or install the simulator completely");
    }
    return module.string();
}

std::vector<std::string> ScenarioNames()
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(ScenarioFolder())) {
        if (entry.path().extension() == ".json") {
            names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string ScenarioFile(const std::string& nameOrPath)
{
    if (fs::exists(nameOrPath)) {
        return nameOrPath;
    }
    const std::vector<std::string> names = ScenarioNames();
    if (std::find(names.begin(), names.end(), nameOrPath) == names.end()) {
        throw std::runtime_error(nameOrPath +
                                 ": no such file, and no scenario of that name comes with the "
                                 "simulator (--list shows those that do)");
    }
    return (ScenarioFolder() / (nameOrPath + ".json")).string();
}

}  // namespace Tulvo::Simulator
