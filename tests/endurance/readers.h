// SPDX-License-Identifier: Apache-2.0
/// @file
/// Many readers of two whole enclosures side by side, over both transports, each with settings of
/// its own: cipher suites, pins (some of them the other enclosure's), accounts, and a stop from
/// another thread. The enclosures differ, so that a value that reaches the wrong reader is noticed.
#ifndef TESTS_ENDURANCE_READERS_H
#define TESTS_ENDURANCE_READERS_H

#include <sys/types.h>

#include <array>
#include <string>
#include <vector>

#include "tests/endurance/played_enclosure.h"

namespace Tulvo::Tests {

class Readers
{
public:
    static constexpr int kReaders = 64;

    /// Has each read `readsPerReader` times in a thread of its own.
    /// @return what was wrong, one text per reader, empty where nothing was.
    std::vector<std::string> Read(int readsPerReader) const;

    /// The processes of both enclosures.
    std::vector<pid_t> Processes() const;

    /// Ends the enclosures.
    /// @return what was wrong on their side, one text per enclosure, empty where nothing was.
    std::vector<std::string> End();

private:
    std::array<PlayedEnclosure, 2> enclosures_ = {PlayedEnclosure("healthy-vkt2-fe-2"),
                                                  PlayedEnclosure("healthy-first")};
};

}  // namespace Tulvo::Tests

#endif
