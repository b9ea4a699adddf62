// SPDX-License-Identifier: Apache-2.0
/// @file
/// IPMI 2.0 over LAN (RMCP+): one object is one session with one management module.
///
/// An object is used by one thread at a time; any number of objects may be used side by side.
/// Nothing throws but std::bad_alloc. Every wait is bounded by the configuration keys
/// `IPMI_SESSION_TIMEOUT_MS` (default 5000: the longest wait for one answer; a log-in is four of
/// them, five with a module that answers late, and a name is looked up within the same time) and
/// `IPMI_RETRANSMISSION_TIMEOUT_MS` (default 1000: after that a request is sent again). Both are
/// milliseconds, up to ten minutes, the second no longer than the first; any other value is
/// replaced by the default with a warning.
///
/// A host's name, unlike an address, is looked up on a thread of the client's own. When the name
/// service takes longer than the wait, connect() fails and that thread ends by itself later; the
/// library stays loaded for it. At most 16 run at once in a process; a further look-up waits for
/// one of them to end, within the same time.
///
/// The first connect() of a process has libfreeipmi start libgcrypt, which switches libgcrypt's
/// secure memory off for the whole process, even if the host has initialised it: allocate there
/// before.
#ifndef MODULE_IPMI_IPMI_CLIENT_IPMI_CLIENT_H
#define MODULE_IPMI_IPMI_CLIENT_IPMI_CLIENT_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/platform/export.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"

namespace Tulvo {

/// How an attempt to open a session ended.
enum CONNECTIONSTATE : std::int32_t
{
    CONNECTION_CONNECTED = 0,  ///< The session is open.
    CONNECTION_FAILED = 1,     ///< Neither of the others: a bad address, no route, a local fault.
    CONNECTION_REFUSED = 2,    ///< Wrong user, password, privilege or cipher suite: asking again
                               ///< will not help.
    CONNECTION_TRY_AGAIN = 3,  ///< No answer in time, module busy, out of sessions: a second try
                               ///< may succeed.
};

/// What the inventory library needs of an IPMI client.
class VKT_EXPORT IpmiClientInterface
{
public:
    /// Opens a session; an open one is closed first.
    virtual CONNECTIONSTATE connect() = 0;

    /// Closes the session, on the module too. Without a session it does nothing.
    virtual void disconnect() = 0;

    /// Sends one request and waits for its answer.
    /// @param request        what to send.
    /// @param response       the answer's data, without the completion code; emptied on failure.
    /// @param completionCode the answer's completion code; 0xFF on failure.
    /// @return 0 when an answer came, whatever its completion code; negative when none did.
    virtual std::int32_t send(const IPMICOMMAND& request, std::vector<std::uint8_t>& response,
                              std::uint8_t& completionCode) = 0;

    virtual ~IpmiClientInterface();

    /// Limits the data bytes of one request; 0 is the client's own limit.
    virtual void setBlockLength(std::uint16_t length) = 0;
};

/// An RMCP+ session through libfreeipmi.
///
/// Every failed connect() and send() writes one log record: a warning (level 2) when it may succeed
/// at another try, else an error (level 1). Whatever fails, no session is left on the module; only
/// one that never answers may keep a half-open one until it times out. A log-in that the module
/// refused for user or password is not sent again by this process for 20 seconds, whatever client
/// asks: connect() answers as the module did, and says so. So a module that locks an account after
/// some wrong passwords is sent one, not one for each request. The configuration key
/// `IPMI_PRIVILEGE_LEVEL` (2 user, 3 operator, 4 administrator, the default) is asked for. When the
/// source of this key or of `IPMI_CIPHER_SUITE` cannot be used, connect() refuses. The session is
/// its process's: in a child made by fork() send() fails until the child connects itself.
class VKT_EXPORT IpmiClient : public IpmiClientInterface
{
public:
    /// Keeps the parameters; connects nowhere.
    /// @param address     IPv4 address, IPv6 address (brackets allowed) or host name.
    /// @param userName    name to log in with, at most 16 bytes; a longer one is refused likewise.
    /// @param password    at most 20 bytes, the limit of IPMI 2.0; a longer one is refused by
    ///                    connect(), never cut.
    /// @param port        UDP port in decimal; 0 is the usual one, 623.
    /// @param cipherSuite cipher suite id, 3 or 17, the ones that sign and encrypt soundly; any
    ///                    other is refused by connect(). The configuration key
    ///                    `IPMI_CIPHER_SUITE` overrides it.
    IpmiClient(const std::string& address, const std::string& userName, const std::string& password,
               const std::string& port, std::uint64_t cipherSuite);
    IpmiClient(const IpmiClient&) = delete;
    IpmiClient& operator=(const IpmiClient&) = delete;

    CONNECTIONSTATE connect() override;
    void disconnect() override;
    std::int32_t send(const IPMICOMMAND& request, std::vector<std::uint8_t>& response,
                      std::uint8_t& completionCode) override;
    /// Does what disconnect() would.
    ~IpmiClient() override;
    void setBlockLength(std::uint16_t length) override;

    /// What was tried, what came back and what to do about it, in one line, when the last connect()
    /// or send() failed; empty when it did not. Never holds the password.
    std::string lastError() const;

    /// Tells every client of this process that the program ends, for good: a connect() or send()
    /// that waits, in whatever thread, closes its session on the module and fails at once, and so
    /// does every later one. A session whose thread is not inside a call is closed by that thread,
    /// with disconnect() or the destructor, which then do not wait for the module. May be called
    /// from a signal handler; a child made by fork() starts with its parent's stop request and
    /// hears no later one.
    static void interruptAll();

    /// Waits until no client of this process holds a session, but no longer than `milliseconds`.
    /// After interruptAll() the program may end as soon as this is true.
    /// @return whether all are closed.
    static bool waitUntilAllClosed(std::uint32_t milliseconds);

private:
    struct Session;
    // Shared only in type: this pointer alone lets a replacement of this library be compiled
    // against the header without knowing, or linking, what a Session is.
    std::shared_ptr<Session> session_;
};

}  // namespace Tulvo

#endif
