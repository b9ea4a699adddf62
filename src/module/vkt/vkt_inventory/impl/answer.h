// SPDX-License-Identifier: Apache-2.0
/// @file
/// What comes back for a request, over either transport.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_ANSWER_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_ANSWER_H

#include <cstdint>
#include <vector>

namespace Tulvo {

struct Answer
{
    std::vector<std::uint8_t> response;  ///< Data, without the completion code.
    std::uint8_t completionCode = 0;
};

}  // namespace Tulvo

#endif
