// SPDX-License-Identifier: Apache-2.0
/// @file
/// The commands, as one table: name, argument, help and the sections that each runs.
#ifndef APPS_VKTINVENTORY_COMMANDS_H
#define APPS_VKTINVENTORY_COMMANDS_H

#include <cstdint>
#include <string_view>

#include "apps/vktinventory/queries.h"

namespace Tulvo::Cli {

constexpr unsigned Bit(Section section)
{
    return 1U << static_cast<unsigned>(section);
}

inline constexpr unsigned kWholeInventory = Bit(Section::kIdentity) | Bit(Section::kModule) |
                                            Bit(Section::kPower) | Bit(Section::kSupplies) |
                                            Bit(Section::kNodes);

struct Command
{
    std::string_view name;
    std::string_view help;      ///< One line for the list of commands.
    std::string_view details;   ///< What it prints, for its own help.
    unsigned sections;          ///< Bit() of each section that it runs.
    std::string_view argument;  ///< What its number is; empty when it takes none.
    std::uint64_t largest = 0;  ///< Largest number that any enclosure knows.

    constexpr bool Runs(Section section) const { return (sections & Bit(section)) != 0; }
};

inline constexpr Command kCommands[] = {
    {"show", "Everything below but select-psu (the default)",
     "Prints identity, module status, power, power supplies and nodes.\n"
     "The table begins with what needs attention.",
     kWholeInventory, ""},
    {"identity", "Machine type, serial number, firmware, name",
     "Prints machine type, serial number, the module's firmware version and the\n"
     "chassis' name.",
     Bit(Section::kIdentity), ""},
    {"power", "Consumption and power caps of the chassis",
     "Prints the chassis' power consumption and its power-capping limits, in the\n"
     "module's own unit. \"N/A\" is a reading that the module does not have.",
     Bit(Section::kPower), ""},
    {"psu", "Status, fans and firmware of the power supplies",
     "Prints status bits, fans and firmware of each power supply. A slot whose fans\n"
     "or firmware the module does not report is left out of that list.",
     Bit(Section::kSupplies), ""},
    {"nodes", "State and power consumption of all nodes",
     "Prints power state, size, permission and power consumption of each node.",
     Bit(Section::kNodes), ""},
    {"node", "State and power consumption of node N",
     "Prints power state, size, permission and power consumption of node N. An\n"
     "enclosure has 4 or 12 nodes; a number that it does not have is wrong usage.",
     Bit(Section::kNodes), "number of the node, from 1", 12},
    {"status", "Platform and size of the enclosure",
     "Prints the module's platform, the number of power-supply slots and the number\n"
     "of nodes. Defaults are assumed when the module's answer is too short to tell.",
     Bit(Section::kModule), ""},
    {"select-psu", "Select power supply N on the module",
     "Asks the module to select power supply N, with up to six tries, 3 seconds\n"
     "apart. A module may accept a number that it has no supply for, and ignore it.",
     Bit(Section::kSelection), "number of the power supply, from 1", 9},
};

}  // namespace Tulvo::Cli

#endif
