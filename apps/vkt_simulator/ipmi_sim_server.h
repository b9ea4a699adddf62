// SPDX-License-Identifier: Apache-2.0
/// @file
/// A private `ipmi_sim` process: an independent RMCP+ server, on a port of its own, that ends with
/// its owner. The simulator runs one with the enclosure module loaded; tests of IPMI clients run
/// bare ones.
#ifndef APPS_VKT_SIMULATOR_IPMI_SIM_SERVER_H
#define APPS_VKT_SIMULATOR_IPMI_SIM_SERVER_H

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Tulvo::Simulator {

/// One account of the server. `ipmi_sim` reads names of 1 to 15 and passwords of 1 to 19 printable
/// characters without blanks and double quotes; anything else is refused.
struct IpmiSimUser
{
    std::string name;
    std::string password;
    /// 2 user, 3 operator, 4 admin. It is written to the configuration, but over RMCP+ `ipmi_sim`
    /// does not enforce it: a session of a lower level must be asked for.
    int privilege = 4;
};

struct IpmiSimOptions
{
    std::vector<IpmiSimUser> users;
    std::string address = "127.0.0.1";  ///< numeric IPv4 or IPv6 address to listen on
    std::uint16_t port = 0;             ///< 0: a free one
    std::string modulePath;             ///< absolute path of a module to load; empty: none
    std::string moduleOptions;          ///< the text given to the module
    /// When not empty, the module's options are the path of a file with this content, which exists
    /// for the server's process alone (in memory, never on a disk), a blank, and the descriptor of
    /// the module's end of a channel (module_channel.h).
    std::string moduleInput;
    /// When this descriptor becomes readable while the server starts, the start is given up.
    int cancelDescriptor = -1;
};

/// Runs one server for the life of the object. Accounts and passwords never reach a disk: the
/// configuration is in memory files that only the server's process can open. Make the object on a
/// thread that outlives it: the kernel ends the server when that thread (or the process) ends,
/// however it ends, so that no orphan stays.
class IpmiSimServer
{
public:
    /// Returns when the server answers IPMI requests.
    /// @throws std::runtime_error with what was tried, what `ipmi_sim` said and what to do.
    explicit IpmiSimServer(const IpmiSimOptions& options);
    /// The same for many, one for each of `options` and in their order.
    static std::vector<IpmiSimServer> StartAll(const std::vector<IpmiSimOptions>& options);
    IpmiSimServer(IpmiSimServer&& other) noexcept;
    ~IpmiSimServer();
    IpmiSimServer(const IpmiSimServer&) = delete;
    IpmiSimServer& operator=(const IpmiSimServer&) = delete;

    /// The UDP port. It stays reserved for this object, also after Kill().
    std::uint16_t Port() const;
    pid_t Pid() const;
    /// Ends the server at once, as a crash would; a second call does nothing.
    void Kill();
    bool Running();
    /// Readable (in the sense of poll) as soon as the server has ended by itself.
    int ExitDescriptor() const;

    /// Gives the module other input. ModuleDescriptor() is readable when it has answered, and then
    /// ConfirmInput() must be called.
    /// @throws std::system_error when the server has ended.
    void ChangeInput(const std::string& text);
    int ModuleDescriptor() const;
    /// @throws std::runtime_error with what the module found wrong.
    void ConfirmInput();

private:
    class Impl;
    struct Start
    {
    };
    IpmiSimServer(const IpmiSimOptions& options, Start only);

    std::unique_ptr<Impl> impl_;
};

}  // namespace Tulvo::Simulator

#endif
