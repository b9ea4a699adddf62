// SPDX-License-Identifier: Apache-2.0
/// @file
/// Tells which generation of management module answers over a transport.
#ifndef MODULE_VKT_VKT_INFO_VKT_INFO_H
#define MODULE_VKT_VKT_INFO_VKT_INFO_H

#include <cstdint>

#include "common/platform/export.h"

namespace Tulvo {

class IpmiClientInterface;
class VKTHttps;

/// Generation of a management module.
enum VKTIype : std::int32_t
{
    VKT_TYPE_FIRST_GENERATION = 0,  ///< Its platform is none of the second generation's.
    VKT_TYPE_VKT2 = 1,              ///< Second generation: platform 0xFC, 0xFD or 0xFE.
    VKT_TYPE_UNKNOWN = 2,           ///< Not known yet; GetVktType() gives it only when configured.
};

/// Result of GetVktType().
enum VKTInfoErrorCode : std::int32_t
{
    VKT_INFO_SUCCESS = 0,          ///< The type is filled.
    VKT_INFO_TRANSPORT_ERROR = 1,  ///< The module did not answer; the type is left alone.
    VKT_INFO_NO_DATA = 2,          ///< It answered with a completion code other than 0, or with
                                   ///< nothing; the type is left alone.
};

/// Asks one module for its generation.
class VKT_EXPORT VKTInfo
{
public:
    /// Asks over HTTPS. Does not take ownership; the transport must outlive this object.
    explicit VKTInfo(VKTHttps* transport);

    /// Asks over an IPMI client, which is connected and disconnected for every question. Does not
    /// take ownership; the client must outlive this object.
    explicit VKTInfo(IpmiClientInterface* transport);

    /// Fills `type`. When the configuration key `MODULE_TYPE` is 0, 1 or 2, that is the type and
    /// the module is not asked; any other value is ignored. Asks once, with one attempt to connect.
    /// A null transport counts as one that does not answer.
    VKTInfoErrorCode GetVktType(VKTIype& type);

private:
    VKTHttps* https_ = nullptr;
    IpmiClientInterface* ipmi_ = nullptr;
};

}  // namespace Tulvo

#endif
