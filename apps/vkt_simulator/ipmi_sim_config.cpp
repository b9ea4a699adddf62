// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/ipmi_sim_config.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>

namespace Tulvo::Simulator {

namespace {

constexpr std::size_t kMaxNameLength = 15;
// A password of 20 bytes is read, but no log-in with it succeeds.
constexpr std::size_t kMaxPasswordLength = 19;
constexpr const char* kSessionsOfAUser = " 10\n";  // `ipmi_sim` wants a number and enforces none

bool IsWordCharacter(char character)
{
    return character > 0x20 && character < 0x7F && character != '"';
}

void CheckWord(const std::string& word, std::size_t maxLength, const std::string& what)
{
    if (word.empty() || word.size() > maxLength ||
        !std::all_of(word.begin(), word.end(), IsWordCharacter)) {
        throw std::runtime_error(what + " must be 1 to " + std::to_string(maxLength) +
                                 " printable characters without blanks and double quotes");
    }
}

// Within double quotes blanks are fine, but there is no escape that works everywhere.
std::string Quoted(const std::string& text, const std::string& what)
{
    const auto unusable = [](char c) { return c == '"' || c == '\\' || (c >= 0 && c < 0x20); };
    if (std::any_of(text.begin(), text.end(), unusable)) {
        throw std::runtime_error(
            what + " must not contain double quotes, backslashes or control characters");
    }
    return '"' + text + '"';
}

const char* PrivilegeWord(int privilege)
{
    static constexpr std::array<const char*, 4> kWords = {"callback", "user", "operator", "admin"};
    if (privilege < 1 || privilege > static_cast<int>(kWords.size())) {
        throw std::runtime_error("a privilege must be 1 (callback) to 4 (admin)");
    }
    return kWords[static_cast<std::size_t>(privilege - 1)];
}

std::string UserLine(std::size_t number, const IpmiSimUser& user)
{
    CheckWord(user.name, kMaxNameLength, "a user name");
    CheckWord(user.password, kMaxPasswordLength, "the password of user " + user.name);
    return "user " + std::to_string(number) + " true \"" + user.name + "\" \"" + user.password +
           "\" " + PrivilegeWord(user.privilege) + kSessionsOfAUser;
}

std::string LoadLine(const IpmiSimOptions& options)
{
    if (options.modulePath.empty()) {
        return {};
    }
    return "loadlib " + Quoted(options.modulePath, "the module's path") + ' ' +
           Quoted(options.moduleOptions, "the module's options") + '\n';
}

}  // namespace

std::string IpmiSimConfiguration(const IpmiSimOptions& options, const std::string& guid)
{
    // Without a line "allowed_auths_...", no session of IPMI 1.5 can be opened, with a password or
    // without. RMCP+ asks for none.
    std::ostringstream text;
    text << "name \"vkt\"\nset_working_mc 0x20\n"
         << LoadLine(options) << "startlan 1\naddr " << options.address << ' ' << options.port
         << "\npriv_limit admin\nguid " << guid << "\nendlan\n";
    // Number 1 is the anonymous user, which this server must have and must not let in.
    text << "user 1 false \"\" \"\" user 1\n";
    for (std::size_t i = 0; i < options.users.size(); ++i) {
        text << UserLine(i + 2, options.users[i]);
    }
    return text.str();
}

std::string IpmiSimCommands()
{
    return "mc_setbmc 0x20\n"
           "mc_add 0x20 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02 persist_sdr\n"
           "mc_enable 0x20\n";
}

}  // namespace Tulvo::Simulator
