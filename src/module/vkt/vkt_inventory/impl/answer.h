// SPDX-License-Identifier: Apache-2.0
/// @file
/// What comes back for a request, over either transport.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_ANSWER_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_ANSWER_H

#include <cstdint>
#include <vector>

#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

namespace Tulvo {

struct Answer
{
    std::vector<std::uint8_t> response;  ///< Data, without the completion code.
    std::uint8_t completionCode = 0;
};

/// Hands an answer to one of the decoder's routines.
template <class Parse, class... Arguments>
VKTInventoryErrorCode Decode(const VKTInventoryParseResponse& parser, Parse parse,
                             const Answer& answer, Arguments&&... arguments)
{
    return (parser.*parse)(answer.response, answer.completionCode, arguments...);
}

}  // namespace Tulvo

#endif
