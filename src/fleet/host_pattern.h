// SPDX-License-Identifier: Apache-2.0
/// @file
/// Many hosts in one word, in ClusterShell's grammar: "enc[001-040,050]", "r[1-4]-enc[01-10]",
/// "10.0.3.[1-20]:8443", "[2001:db8::1]:623"; a comma separates, "/2" is a step, "^FILE" reads one
/// pattern a line, "^-" standard input. Of its operators there is none but the comma, and there are
/// no blanks and no negative numbers.
#ifndef FLEET_HOST_PATTERN_H
#define FLEET_HOST_PATTERN_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Tulvo::Fleet {

/// More hosts are refused: so many are a slip of the keyboard, or an attempt to use up the memory.
inline constexpr std::size_t kMostHosts = 100'000;

/// What is wrong with something that a person wrote.
struct Mistake
{
    std::string message;  ///< Where and what, on one line, printable; without a secret.
};

/// Hosts as they were named ("enc1", "enc1:624", "[::1]:623"), in that order, each once.
using Hosts = std::vector<std::string>;

/// Whether a pattern may name files of patterns.
enum class HostFiles : std::uint8_t
{
    kRead,
    kRefused,
};

/// All hosts that `patterns` name, less those that `without` names, which without a port stands for
/// the host on any. No pattern at all gives no host; a pattern that names none is a mistake.
std::variant<Hosts, Mistake> ExpandHosts(const std::vector<std::string>& patterns,
                                         const std::vector<std::string>& without = {},
                                         HostFiles files = HostFiles::kRead);

/// Whether `word` is written as a pattern: with a range, a comma or a file. Else it names one host.
bool IsPattern(std::string_view word);

/// A host apart from its port.
struct HostPort
{
    std::string host;        ///< Without the brackets of an IPv6 address.
    std::uint16_t port = 0;  ///< 0 when none is named.
};

/// Nothing when `name` is not one host, with or without a port.
std::optional<HostPort> SplitPort(std::string_view name);

}  // namespace Tulvo::Fleet

#endif
