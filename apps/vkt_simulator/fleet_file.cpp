// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/fleet_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <system_error>

#include "common/platform/file_descriptor.h"
#include "common/text/hexadecimal.h"

namespace Tulvo::Simulator {

namespace {

constexpr std::uint8_t kNotKnown = 0xFF;

// A basic string of TOML.
std::string Quoted(const std::string& text)
{
    std::string quoted = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F) {
            quoted += "\\u00" + Text::ToHexPairs(std::array{byte});
            continue;
        }
        if (character == '"' || character == '\\') {
            quoted += '\\';
        }
        quoted += character;
    }
    return quoted + '"';
}

std::string Host(const FleetMember& member)
{
    const bool isIpv6 = member.address.find(':') != std::string::npos;
    return (isIpv6 ? '[' + member.address + ']' : member.address) + ':' +
           std::to_string(member.port);
}

template <class Thing, class Predicate>
std::string Count(const std::vector<Thing>& things, Predicate predicate)
{
    return std::to_string(std::count_if(things.begin(), things.end(), predicate));
}

// A name may stand for files in several folders.
class GroupNames
{
public:
    std::string NameOf(const std::string& file)
    {
        const std::string stem = std::filesystem::path(file).stem().string();
        std::string name = stem;
        for (int number = 2; !used_.insert(name).second; ++number) {
            name = stem + '-' + std::to_string(number);
        }
        return name;
    }

private:
    std::set<std::string> used_;
};

// An empty bay has neither width nor height.
std::string Group(const std::string& name, const std::vector<const FleetMember*>& members)
{
    const FleetMember& first = *members.front();
    const Scenario& scenario = first.played.scenario;
    std::string text = "\n[[group]]\nname = " + Quoted(name) + "\nhosts = [\n";
    for (const FleetMember* const member : members) {
        text += "  " + Quoted(Host(*member)) + ",\n";
    }
    text += "]\nuser = " + Quoted(scenario.credentials.user) +
            "\npassword = " + Quoted(scenario.credentials.password) + '\n';
    if (!first.pin.empty()) {
        text += "interface = \"https\"\npin = " + Quoted(first.pin) + '\n';
    }
    const EnclosureState& enclosure = scenario.enclosure;
    text += "expect-psus = " +
            Count(enclosure.supplies, [](const PowerSupply& supply) { return supply.present; }) +
            "\nexpect-nodes = " + Count(enclosure.nodes, [](const Node& node) {
                return node.width != kNotKnown || node.height != kNotKnown;
            });
    return text + '\n';
}

[[noreturn]] void Fail(const std::string& file)
{
    throw std::system_error(errno, std::generic_category(), file + " cannot be written");
}

void WriteWhole(const FileDescriptor& descriptor, const std::string& text, const std::string& file)
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(descriptor.Get(), text.data() + done, text.size() - done);
        if (count < 0) {
            Fail(file);
        }
        done += static_cast<std::size_t>(count);
    }
}

}  // namespace

std::string FleetFile(const std::vector<FleetMember>& members)
{
    std::vector<std::string> files;
    std::map<std::string, std::vector<const FleetMember*>> groups;
    for (const FleetMember& member : members) {
        auto& group = groups[member.played.file];
        if (group.empty()) {
            files.push_back(member.played.file);
        }
        group.push_back(&member);
    }
    std::string text = "# Enclosures of a vkt-simulator, as long as it runs.\n";
    GroupNames names;
    for (const std::string& file : files) {
        text += Group(names.NameOf(file), groups[file]);
    }
    return text;
}

void WriteFleetFile(const std::string& file, const std::string& text)
{
    if (std::filesystem::exists(file) && !std::filesystem::is_regular_file(file)) {
        throw std::runtime_error(file + " is no file that could be replaced");
    }
    std::string temporary = file + ".XXXXXX";
    const FileDescriptor descriptor(mkostemp(temporary.data(), O_CLOEXEC));
    if (!descriptor.Valid()) {
        Fail(file);
    }
    try {
        WriteWhole(descriptor, text, file);
        if (std::rename(temporary.c_str(), file.c_str()) != 0) {
            Fail(file);
        }
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}

}  // namespace Tulvo::Simulator
