// SPDX-License-Identifier: Apache-2.0
/// @file
/// Identifiers that are given once.
#ifndef APPS_VKT_SIMULATOR_RANDOM_ID_H
#define APPS_VKT_SIMULATOR_RANDOM_ID_H

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "common/text/hexadecimal.h"

namespace Tulvo::Simulator {

/// 16 random bytes as hexadecimal digits: a GUID, or a token that cannot be guessed.
inline std::string RandomId()
{
    std::random_device random;
    std::array<std::uint8_t, 16> bytes;
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return Text::ToHexPairs(bytes);
}

}  // namespace Tulvo::Simulator

#endif
