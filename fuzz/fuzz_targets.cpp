// SPDX-License-Identifier: Apache-2.0
// Tells scripts what there is: "fuzz_targets --list" prints a line a target, its name and the
// length of its longest input; "fuzz_targets --seeds FOLDER" writes a file a seed into
// FOLDER/TARGET.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "fuzz/target.h"

namespace {

using Tulvo::Fuzz::Bytes;
using Tulvo::Fuzz::Target;
using Tulvo::Fuzz::Targets;

void List()
{
    for (const Target& target : Targets()) {
        std::printf("%s %zu\n", target.name.c_str(), target.longestInput);
    }
}

void WriteSeeds(const Target& target, const std::filesystem::path& folder)
{
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    int number = 0;
    for (const Bytes& seed : target.seeds()) {
        std::ofstream(folder / std::to_string(++number), std::ios::binary)
            << std::string_view(reinterpret_cast<const char*>(seed.data()), seed.size());
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string_view verb = argc > 1 ? argv[1] : "";
    if (verb == "--list" && argc == 2) {
        List();
        return 0;
    }
    if (verb == "--seeds" && argc == 3) {
        for (const Target& target : Targets()) {
            WriteSeeds(target, std::filesystem::path(argv[2]) / target.name);
        }
        return 0;
    }
    std::fputs("usage: fuzz_targets --list | --seeds FOLDER\n", stderr);
    return 2;
}
