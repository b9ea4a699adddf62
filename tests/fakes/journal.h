// SPDX-License-Identifier: Apache-2.0
/// @file
/// What happened at the fakes, in one order over all of them.
#ifndef TESTS_FAKES_JOURNAL_H
#define TESTS_FAKES_JOURNAL_H

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "tests/fakes/current.h"

namespace Tulvo::Fakes {

/// Lines of text, the first word of which tells who did something: "client 1 connect",
/// "sleep 3000", "log 3 Succeeded get VKT Status".
class Journal : public Current<Journal>
{
public:
    /// Appends to the living journal; without one the line is lost.
    static void Write(const std::string& line);

    /// Numbers an object of `kind` ("client") and names it by that ("client 1") while it lives.
    static std::string Enter(const void* object, const std::string& kind);
    static void Leave(const void* object);
    /// The name of a living object; "nothing" for null, "unknown" for anything else.
    static std::string NameOf(const void* object);

    /// All lines that begin with one of `firstWords`.
    std::vector<std::string> Of(std::initializer_list<std::string_view> firstWords) const;
    /// The requests sent over any transport: "32 B0 05 00".
    std::vector<std::string> Requests() const;
    void Clear() { lines_.clear(); }

private:
    std::vector<std::string> lines_;
    std::map<std::string, int> counts_;
    std::map<const void*, std::string> names_;
};

/// "32 B0 05 00": network function, command and data in hexadecimal.
std::string ToText(const IPMICOMMAND& request);

}  // namespace Tulvo::Fakes

#endif
