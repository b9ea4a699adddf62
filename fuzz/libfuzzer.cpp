// SPDX-License-Identifier: Apache-2.0
// libFuzzer's side. The environment names the target, for libFuzzer has the arguments to itself and
// hands them on when it starts itself again.
#include <cstdio>
#include <cstdlib>

#include "fuzz/target.h"

namespace {

const Tulvo::Fuzz::Target& ChosenTarget()
{
    const char* const name = std::getenv("VKT_FUZZ_TARGET");
    const auto* const target = Tulvo::Fuzz::FindTarget(name == nullptr ? "" : name);
    if (target == nullptr) {
        std::fputs("VKT_FUZZ_TARGET must name a target; scripts/fuzz --list has them\n", stderr);
        std::exit(2);
    }
    return *target;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Tulvo::Fuzz::Target& target = ChosenTarget();
    target.run({data, size});
    return 0;
}
