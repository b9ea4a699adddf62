// SPDX-License-Identifier: Apache-2.0
/// @file
/// The inverse of a host pattern's expansion: many names in one short word.
#ifndef FLEET_HOST_FOLDING_H
#define FLEET_HOST_FOLDING_H

#include <span>
#include <string>

namespace Tulvo::Fleet {

/// One pattern that names these hosts and no other, sorted, as `nodeset -f` writes it:
/// "enc[001-016,018-040],gw". Where numbers vary in several places of the names, the shortest
/// pattern is looked for only as long as that is quick.
std::string FoldHosts(std::span<const std::string> hosts);

}  // namespace Tulvo::Fleet

#endif
