// SPDX-License-Identifier: Apache-2.0
/// @file
/// Hands an answer to a decoder.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_DECODE_ANSWER_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_DECODE_ANSWER_H

#include "module/vkt/vkt_inventory/impl/answer.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

namespace Tulvo {

/// @param parse     one of the decoder's routines.
/// @param arguments what that takes behind the answer.
template <class Parse, class... Arguments>
VKTInventoryErrorCode Decode(const VKTInventoryParseResponse& parser, Parse parse,
                             const Answer& answer, Arguments&&... arguments)
{
    return (parser.*parse)(answer.response, answer.completionCode, arguments...);
}

}  // namespace Tulvo

#endif
