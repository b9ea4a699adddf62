// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_PROGRAM_HOST_CONFIG_H
#define HOST_PROGRAM_HOST_CONFIG_H

#include <set>
#include <string>

namespace Host {

/// Takes "KEY=VALUE" into the configuration of this program.
/// @return false when there is no "=" in it.
bool TakeSetting(const std::string& setting);

/// The keys that were asked for.
std::set<std::string> AskedKeys();

}  // namespace Host

#endif
