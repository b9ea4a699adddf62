// SPDX-License-Identifier: Apache-2.0
/// @file
/// The commands, as one table: name, argument, help, what each has read and what it prints.
#ifndef APPS_VKTINVENTORY_COMMANDS_H
#define APPS_VKTINVENTORY_COMMANDS_H

#include <cstdint>
#include <string_view>

#include "module/vkt/vkt_enclosure/enclosure.h"

namespace Tulvo::Cli {

enum class Action : std::uint8_t
{
    kRead,          ///< Read the enclosure.
    kReadNode,      ///< Read one node of it; the argument is its number.
    kSelectSupply,  ///< Select a power supply; the argument is its number.
    kHosts,         ///< Print which hosts are meant; nobody is asked.
    kPins,          ///< Print which keys modules show; nobody logs in.
    kMakePage,      ///< Read the enclosure, or what was read before, and make a page of it.
    kDiff,          ///< Compare what was read before; nobody is asked.
    kCheck,         ///< Read it for a monitoring system.
};

struct Command
{
    std::string_view name;
    std::string_view help;         ///< One line for the list of commands.
    std::string_view details;      ///< What it prints, for its own help.
    Enclosures::Sections read;     ///< What it has read.
    Enclosures::Sections printed;  ///< What it prints of that beside findings.
    bool moduleInTable = false;    ///< Whether a table shows the module's own status.
    Action action = Action::kRead;
    std::string_view operands = {};  ///< What stands behind its name: "N", "[PATTERN]...".
    std::string_view argument = {};  ///< What the operands are, for its own help.
    std::uint64_t largest = 0;       ///< Of the number N that any enclosure knows; 0: no number.
};

inline constexpr Command kCommands[] = {
    {"show", "Everything below but select-psu (the default)",
     "Prints identity, module status, power, power supplies and nodes.\n"
     "The table begins with what needs attention.",
     Enclosures::kEverything, Enclosures::kEverything, true},
    {"health", "What needs attention, with the fewest requests",
     "Prints what needs attention and nothing else: the worst first, then what could\n"
     "not be read. Asks for no more than that takes: status, fans and power.",
     Enclosures::kHealth, Enclosures::kModuleOnly},
    {"identity", "Machine type, serial number, firmware, name",
     "Prints machine type, serial number, the module's firmware version and the\n"
     "chassis' name.",
     Enclosures::kIdentity, Enclosures::kIdentity},
    {"power", "Consumption and power caps of the chassis",
     "Prints the chassis' power consumption and its power-capping limits, in the\n"
     "module's own unit. \"N/A\" is a reading that the module does not have.",
     Enclosures::kPower, Enclosures::kPower},
    {"psu", "Status, fans and firmware of the power supplies",
     "Prints status bits, fans and firmware of each power supply. An empty slot is\n"
     "left out of the lists of fans and firmware.",
     Enclosures::kSupplies, Enclosures::kSupplies},
    {"nodes", "State and power consumption of all nodes",
     "Prints power state, size, permission and power consumption of each node.", Enclosures::kNodes,
     Enclosures::kNodes},
    {"node", "State and power consumption of node N",
     "Prints power state, size, permission and power consumption of node N. An\n"
     "enclosure has 4 or 12 nodes; a number that it does not have is wrong usage.",
     Enclosures::kNodes, Enclosures::kNodes, false, Action::kReadNode, "N",
     "number of the node, from 1", 12},
    {"status", "Platform and size of the enclosure",
     "Prints the module's platform, the number of power-supply slots and the number\n"
     "of nodes.",
     Enclosures::kModuleOnly, Enclosures::kModuleOnly, true},
    {"select-psu", "Select power supply N on the module",
     "Asks the module to select power supply N. An enclosure has 2, 6 or 9 slots; a\n"
     "number that it does not have is wrong usage, and nothing is selected.",
     Enclosures::kModuleOnly, Enclosures::kModuleOnly, false, Action::kSelectSupply, "N",
     "number of the power supply, from 1", 9},
    {"hosts", "Which hosts are meant, a line each; asks nobody",
     "Prints the hosts that the patterns name, or else -H, --group, --label and --all,\n"
     "a line each, in the order given. Nobody is asked, and no password is needed.",
     Enclosures::kModuleOnly, Enclosures::kModuleOnly, false, Action::kHosts, "[PATTERN]...",
     "hosts, such as enc[001-040] or ^FILE"},
    {"pins", "Which key each module shows, as lines of a pins-file",
     "Prints a line of a pins-file for each host, HOST sha256//..., in the order\n"
     "given: the public key that it shows over HTTPS. Compare it with the module's own\n"
     "display before you trust it: nothing is verified here. Nobody logs in, and no\n"
     "password is needed. A host of which nobody says the interface is asked over\n"
     "HTTPS.",
     Enclosures::kModuleOnly, Enclosures::kModuleOnly, false, Action::kPins},
    {"page", "A page for the browser, of all that show prints",
     "Prints one HTML file that needs no other and no network: all enclosures, the\n"
     "worst first, and of each its bays as they are, and all numbers. It is made of a\n"
     "reading, or (--from) of what --format json printed before.",
     Enclosures::kEverything, Enclosures::kEverything, false, Action::kMakePage},
    {"diff", "What has changed between two readings",
     "Prints what differs between two readings that --format json or jsonl printed\n"
     "before, a line each: host, object, field, old and new value. - is standard\n"
     "input. What was not read is not compared. Exit codes: 0 alike, 1 different, 2\n"
     "trouble. Nobody is asked, and no password is needed.",
     Enclosures::kModuleOnly, Enclosures::kModuleOnly, false, Action::kDiff, "A B",
     "files of readings"},
    {"check", "Health for Nagios, Icinga and their kin",
     "Prints one line with a state, numbers for graphs behind it, and what was found\n"
     "below it. Exit codes: 0 ok, 1 warning, 2 critical, 3 unknown and wrong usage.\n"
     "A METRIC is a key such as power_average, a RANGE 10, 10:, ~:10, 10:20, @10:20.",
     Enclosures::kHealth, Enclosures::kModuleOnly, false, Action::kCheck},
};

}  // namespace Tulvo::Cli

#endif
