// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_vkt_info.h"

#include "tests/fakes/journal.h"

namespace Tulvo {

using Fakes::FakeVKTInfo;
using Fakes::Journal;

VKTInfo::VKTInfo(VKTHttps* transport) : https_(transport)
{
    Journal::Write("info over " + Journal::NameOf(https_));
}

VKTInfo::VKTInfo(IpmiClientInterface* transport) : ipmi_(transport)
{
    Journal::Write("info over " + Journal::NameOf(ipmi_));
}

VKTInfoErrorCode VKTInfo::GetVktType(VKTIype& type)
{
    Journal::Write("info asked");
    if (FakeVKTInfo::Get() == nullptr) {
        ADD_FAILURE() << "GetVktType() without a fake service";
        return VKT_INFO_TRANSPORT_ERROR;
    }
    return FakeVKTInfo::Get()->PlayGetVktType(type);
}

namespace Fakes {

VKTInfoErrorCode FakeVKTInfo::PlayGetVktType(VKTIype& type)
{
    const std::optional<Step> step = script_.Play("GetVktType()");
    if (!step) {
        return VKT_INFO_TRANSPORT_ERROR;
    }
    type = step->type.value_or(type);
    return step->result;
}

}  // namespace Fakes

}  // namespace Tulvo
