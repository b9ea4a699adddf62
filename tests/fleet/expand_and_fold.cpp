// SPDX-License-Identifier: Apache-2.0
/// @file
/// Reads host patterns, one a line, and prints for each what it means: the hosts, a tab, the hosts
/// folded; or "refused", a tab and why.
#include <iostream>
#include <string>
#include <variant>

#include "fleet/host_folding.h"
#include "fleet/host_pattern.h"

int main()
{
    using namespace Tulvo::Fleet;
    std::string pattern;
    while (std::getline(std::cin, pattern)) {
        const auto expanded = ExpandHosts({pattern}, {}, HostFiles::kRefused);
        if (const auto* const mistake = std::get_if<Mistake>(&expanded)) {
            std::cout << "refused\t" << mistake->message << '\n';
            continue;
        }
        const Hosts& hosts = std::get<Hosts>(expanded);
        for (const std::string& host : hosts) {
            std::cout << host << ' ';
        }
        std::cout << '\t' << FoldHosts(hosts) << '\n';
    }
}
