// SPDX-License-Identifier: Apache-2.0
/// @file
/// An enclosure on paper: for each request the answer, byte for byte as docs/wire-format.md has it,
/// and the values that hang on it.
#ifndef TESTS_VKT_ENCLOSURE_PAPER_ENCLOSURE_H
#define TESTS_VKT_ENCLOSURE_PAPER_ENCLOSURE_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "module/vkt/vkt_enclosure/enclosure.h"
#include "tests/fakes/scripted_module.h"

namespace Tulvo::Enclosures {

using Fakes::Bytes;
using Fakes::ScriptedModule;
using Fakes::StillPace;

/// Value by name ("PSU3 fans.a.speed", "power.caps.user"); "absent", "not asked" or
/// "not read: timedOut" where there is none.
using Values = std::map<std::string, std::string>;

struct PaperRequest
{
    IPMICOMMAND request;
    Bytes answer;
    Values values;  ///< What hangs on the answer.
    bool isRegister = false;
};

struct PaperEnclosure
{
    std::string name;
    bool isVkt2;
    std::uint8_t moduleType;
    std::uint8_t generationCode;
    int supplies;
    int nodes;
    std::set<int> emptyBays = {};

    /// The first is the module's status.
    std::vector<PaperRequest> Requests(Sections sections = kEverything) const;
    void Teach(ScriptedModule& module) const;
    /// All values of a read, when what hangs on `lost` (the name of a request) has that text
    /// instead.
    Values Expected(Sections sections, const std::map<std::string, std::string>& lost = {}) const;
};

/// Both generations and all platforms.
std::vector<PaperEnclosure> PaperEnclosures();

/// What a record says, field for field.
Values ValuesOf(const Enclosure& enclosure);

/// Where a record does not say what is expected.
std::vector<std::string> Differences(const Values& expected, const Enclosure& record);

}  // namespace Tulvo::Enclosures

#endif
