// SPDX-License-Identifier: Apache-2.0
#ifndef FLEET_PINS_FILE_H
#define FLEET_PINS_FILE_H

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Tulvo::Fleet {

/// By host, as it is named in the file.
using Pins = std::map<std::string, std::string, std::less<>>;

/// Reads lines of "HOST sha256//…"; empty ones and those after "#" are passed over.
/// @param mistakes takes what is wrong: "line 3: …", or why there is nothing to read.
Pins ReadPins(const std::string& path, std::vector<std::string>& mistakes);

}  // namespace Tulvo::Fleet

#endif
