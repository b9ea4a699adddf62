// SPDX-License-Identifier: Apache-2.0
/// @file
/// A module-information service that tells what the test says.
#ifndef TESTS_FAKES_FAKE_VKT_INFO_H
#define TESTS_FAKES_FAKE_VKT_INFO_H

#include "module/vkt/vkt_info/vkt_info.h"
#include "tests/fakes/current.h"
#include "tests/fakes/script.h"

namespace Tulvo::Fakes {

/// Scripted answers to GetVktType. The journal tells "info over client 1" for a construction and
/// "info asked" for a question.
class FakeVKTInfo : public Current<FakeVKTInfo>
{
public:
    struct Step
    {
        VKTInfoErrorCode result = VKT_INFO_SUCCESS;
        std::optional<VKTIype> type;
    };

    void Tells(VKTIype type) { script_.Add({VKT_INFO_SUCCESS, type}); }
    /// Reports a failure and leaves the type alone.
    void Fails(VKTInfoErrorCode result) { script_.Add({result, {}}); }
    /// Reports a failure although it tells the type.
    void TellsInVain(VKTIype type) { script_.Add({VKT_INFO_NO_DATA, type}); }

    VKTInfoErrorCode PlayGetVktType(VKTIype& type);

private:
    Script<Step> script_{"module information"};
};

}  // namespace Tulvo::Fakes

#endif
