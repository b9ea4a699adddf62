// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_info/vkt_info.h"

#include <algorithm>
#include <array>
#include <vector>

#include "common/config/global_config.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "module/vkt/vkt_https/vkt_https.h"

namespace Tulvo {
namespace {

struct StatusAnswer
{
    std::vector<std::uint8_t> bytes;
    std::uint8_t completionCode = 0xFF;
};

/// The module's status, whose first byte names the platform.
IPMICOMMAND StatusRequest()
{
    return {0xA8, {}, 0x32};
}

// The platforms of the second generation. A first-generation module has another value there.
constexpr std::array<std::uint8_t, 3> kVkt2Platforms{0xFC, 0xFD, 0xFE};

VKTIype GenerationOf(std::uint8_t platform)
{
    const bool second =
        std::find(kVkt2Platforms.begin(), kVkt2Platforms.end(), platform) != kVkt2Platforms.end();
    return second ? VKT_TYPE_VKT2 : VKT_TYPE_FIRST_GENERATION;
}

bool IsConfigured(VKTIype& type)
{
    constexpr int kAskTheModule = -1;
    const int value = GetGlobalConfigValue("MODULE_TYPE", kAskTheModule);
    if (value < VKT_TYPE_FIRST_GENERATION || value > VKT_TYPE_UNKNOWN) {
        return false;
    }
    type = static_cast<VKTIype>(value);
    return true;
}

bool Ask(VKTHttps& transport, StatusAnswer& answer)
{
    return transport.SendIpmiCmdOverHttps(StatusRequest(), answer.bytes, answer.completionCode) ==
           VKT_HTTPS_SUCCESS;
}

// One attempt to connect: the caller's own requests follow and make attempts of their own, so that
// a module that does not answer would be waited for twice.
bool Ask(IpmiClientInterface& transport, StatusAnswer& answer)
{
    if (transport.connect() != CONNECTION_CONNECTED) {
        return false;
    }
    const bool answered = transport.send(StatusRequest(), answer.bytes, answer.completionCode) >= 0;
    transport.disconnect();
    return answered;
}

}  // namespace

VKTInfo::VKTInfo(VKTHttps* transport) : https_(transport)
{
}

VKTInfo::VKTInfo(IpmiClientInterface* transport) : ipmi_(transport)
{
}

VKTInfoErrorCode VKTInfo::GetVktType(VKTIype& type)
{
    if (IsConfigured(type)) {
        return VKT_INFO_SUCCESS;
    }
    StatusAnswer answer;
    const bool answered =
        (https_ != nullptr && Ask(*https_, answer)) || (ipmi_ != nullptr && Ask(*ipmi_, answer));
    if (!answered) {
        return VKT_INFO_TRANSPORT_ERROR;
    }
    if (answer.completionCode != 0 || answer.bytes.empty()) {
        return VKT_INFO_NO_DATA;
    }
    type = GenerationOf(answer.bytes.front());
    return VKT_INFO_SUCCESS;
}

}  // namespace Tulvo
