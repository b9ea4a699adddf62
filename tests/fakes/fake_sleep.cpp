// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_sleep.h"

#include <string>

#include "common/platform/sleep.h"
#include "tests/fakes/journal.h"

namespace Tulvo {

void Sleep(std::uint32_t milliseconds)
{
    Fakes::Journal::Write("sleep " + std::to_string(milliseconds));
    if (Fakes::FakeSleep::Get() != nullptr) {
        Fakes::FakeSleep::Get()->milliseconds += milliseconds;
    }
}

}  // namespace Tulvo
