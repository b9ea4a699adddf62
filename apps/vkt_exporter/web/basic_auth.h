// SPDX-License-Identifier: Apache-2.0
/// @file
/// Names and passwords against bcrypt hashes, which are slow on purpose.
#ifndef APPS_VKT_EXPORTER_WEB_BASIC_AUTH_H
#define APPS_VKT_EXPORTER_WEB_BASIC_AUTH_H

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "apps/vkt_exporter/web/mailbox.h"

namespace Tulvo::Exporter {

/// Checks passwords in one thread of its own, one after the other, and remembers what came out.
/// Belongs to the mailbox's thread.
class BasicAuth
{
public:
    enum class Verdict
    {
        kGood,
        kBad,
        kPending,  ///< Being computed.
        kBusy,     ///< Too many others are.
    };
    /// Is told by the mailbox's thread how a pending verdict came out.
    using Decided = std::function<void(bool good)>;
    /// User to bcrypt hash.
    using Users = std::map<std::string, std::string>;

    explicit BasicAuth(std::shared_ptr<Mailbox> mailbox);
    /// Waits for the hash that is being computed; nobody is told any more.
    ~BasicAuth();
    BasicAuth(const BasicAuth&) = delete;
    BasicAuth& operator=(const BasicAuth&) = delete;

    /// @param users not empty.
    Verdict Check(const Users& users, const std::string& user, const std::string& password,
                  Decided decided);

private:
    /// Of user, hash and password, with a key that dies with the process: a changed hash is another
    /// one, and nobody can find a password by it.
    using Digest = std::array<std::uint8_t, 32>;

    struct Job
    {
        Digest digest;
        std::string password;
        std::string hash;  ///< Or one of the same cost that no password has.
        bool known;        ///< Whether there is such a user.
    };

    /// The last verdicts of one kind.
    class Memory
    {
    public:
        explicit Memory(std::size_t most) : most_(most) {}
        bool Holds(const Digest& digest);
        void Add(const Digest& digest);

    private:
        const std::size_t most_;
        std::list<Digest> digests_;  ///< Last used first.
    };

    Digest DigestOf(const std::string& user, const std::string& hash,
                    const std::string& password) const;
    bool Begin(Job job);
    void Work();
    std::optional<Job> NextJob();
    void Decide(const Digest& digest, bool good);

    const std::shared_ptr<Mailbox> mailbox_;
    std::array<std::uint8_t, 32> key_;
    // Apart, so that no number of wrong passwords pushes the right ones out.
    Memory good_;
    Memory bad_;
    std::map<Digest, std::vector<Decided>> pending_;

    std::mutex mutex_;  ///< For what follows.
    std::condition_variable changed_;
    std::deque<Job> jobs_;
    bool stopping_ = false;

    std::thread worker_;
};

}  // namespace Tulvo::Exporter

#endif
