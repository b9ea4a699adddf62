// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_info/vkt_info.h"

#include <vector>

#include "common/config/global_config.h"
#include "module/ipmi/ipmi_client/ipmi_client.h"
#include "module/vkt/vkt_https/vkt_https.h"

namespace Tulvo {

namespace {

constexpr int kAskTheModule = -1;

struct Reply
{
    std::vector<std::uint8_t> data;
    std::uint8_t completionCode = 0;
};

/// The module's status; its first byte is the module type code. Every generation answers it.
IPMICOMMAND StatusRequest()
{
    return {0xA8, {}, 0x32};
}

/// Only a VKT2 has a module type code of its own; on a first-generation module the byte is the
/// major version of its firmware.
VKTIype TypeOf(std::uint8_t moduleTypeCode)
{
    switch (moduleTypeCode) {
        case 0xFC:
        case 0xFD:
        case 0xFE:
            return VKT_TYPE_VKT2;
        default:
            return VKT_TYPE_FIRST_GENERATION;
    }
}

bool Ask(VKTHttps& transport, Reply& reply)
{
    return transport.SendIpmiCmdOverHttps(StatusRequest(), reply.data, reply.completionCode) ==
           VKT_HTTPS_SUCCESS;
}

bool Ask(IpmiClientInterface& client, Reply& reply)
{
    if (client.connect() != CONNECTION_CONNECTED) {
        return false;
    }
    const bool answered = client.send(StatusRequest(), reply.data, reply.completionCode) >= 0;
    client.disconnect();
    return answered;
}

bool Configured(VKTIype& type)
{
    const int value = GetGlobalConfigValue("MODULE_TYPE", kAskTheModule);
    if (value < VKT_TYPE_FIRST_GENERATION || value > VKT_TYPE_UNKNOWN) {
        return false;
    }
    type = static_cast<VKTIype>(value);
    return true;
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
    if (Configured(type)) {
        return VKT_INFO_SUCCESS;
    }
    Reply reply;
    const bool answered = https_ != nullptr  ? Ask(*https_, reply)
                          : ipmi_ != nullptr ? Ask(*ipmi_, reply)
                                             : false;
    if (!answered) {
        return VKT_INFO_TRANSPORT_ERROR;
    }
    if (reply.completionCode != 0 || reply.data.empty()) {
        return VKT_INFO_NO_DATA;
    }
    type = TypeOf(reply.data[0]);
    return VKT_INFO_SUCCESS;
}

}  // namespace Tulvo
