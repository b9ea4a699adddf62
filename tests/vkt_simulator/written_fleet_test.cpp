// SPDX-License-Identifier: Apache-2.0
// The fleet file that vkt-simulator writes, and the enclosures that are read by it.
#include <gtest/gtest.h>

#include <variant>

#include "fleet/fleet_file.h"
#include "module/vkt/vkt_enclosure/health.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "tests/support/temporary_directory.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Simulator {
namespace {

using Enclosures::Health;

// Names, serial numbers and states of all enclosures, in the order of the file.
std::vector<std::string> ReadAll(const Fleet::FleetFile& fleet)
{
    std::vector<Fleet::Member> members;
    for (const std::string& host : fleet.HostNames()) {
        members.push_back(fleet.Find(host).value());
    }
    Fleet::Passwords passwords;
    const auto targets =
        std::get<std::vector<Enclosures::Target>>(Fleet::TargetsOf(members, passwords));
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < members.size(); ++i) {
        const auto enclosure = Enclosures::ReadEnclosure(targets[i], {}, {});
        const auto judgement =
            Enclosures::Judge(enclosure, Fleet::ExpectationsOf(members[i].settings));
        const std::string* const serial = enclosure.identity.serialNumber.Get();
        lines.push_back(members[i].group + ' ' + (serial == nullptr ? "not read" : *serial) +
                        (judgement.status == Health::kOk ? " ok" : " not ok"));
    }
    return lines;
}

class WrittenFleet : public testing::TestWithParam<const char*>
{
};

TEST_P(WrittenFleet, ReachesEveryEnclosure)
{
    const TemporaryDirectory folder;
    const std::string file = (folder / "fleet.toml").string();
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fc-9", "--scenario", "faulty-first",
                                "--count", "5", "--write-fleet", file, GetParam()});
    ASSERT_NE(simulator.Line(), "");
    const auto loaded = Fleet::FleetFile::Load(file);
    if (const auto* const mistakes = std::get_if<Fleet::Mistakes>(&loaded)) {
        FAIL() << mistakes->front().message;
    }
    EXPECT_EQ(ReadAll(std::get<Fleet::FleetFile>(loaded)),
              (std::vector<std::string>{
                  "healthy-vkt2-fc-9 J30ABC121 ok", "healthy-vkt2-fc-9 J30ABC123 ok",
                  "healthy-vkt2-fc-9 J30ABC125 ok", "faulty-first FG20K00012 not ok",
                  "faulty-first FG20K00014 not ok"}));
}

INSTANTIATE_TEST_SUITE_P(Transports, WrittenFleet, testing::Values("--no-https", "--no-rmcp"));

}  // namespace
}  // namespace Tulvo::Simulator
