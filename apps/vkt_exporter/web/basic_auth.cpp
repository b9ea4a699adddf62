// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/basic_auth.h"

#include <crypt.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <signal.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Tulvo::Exporter {

namespace {

constexpr std::size_t kMostGood = 64;
/// A scraper with a wrong password comes once for each of its targets and interval.
constexpr std::size_t kMostBad = 256;
/// Different passwords under way or waiting; of one, any number of requests waits for one hash.
constexpr std::size_t kMostPending = 16;

/// "$2y$", two digits of cost, "$".
constexpr std::size_t kCost = 4;
constexpr std::size_t kPrefix = 7;
constexpr std::size_t kSaltAndHash = 53;

void Wipe(std::string& secret)
{
    explicit_bzero(secret.data(), secret.size());
}

/// "$2y$10$" of the slowest hash, with a salt that no user has: an unknown user takes as long as a
/// known one.
std::string HashOfNobody(const BasicAuth::Users& users)
{
    const auto slowest =
        std::max_element(users.begin(), users.end(), [](const auto& one, const auto& other) {
            return one.second.compare(kCost, 2, other.second, kCost, 2) < 0;
        });
    return slowest->second.substr(0, kPrefix) + std::string(kSaltAndHash, '.');
}

bool IsPasswordOf(const std::string& hash, const std::string& password)
{
    const auto memory = std::make_unique<crypt_data>();
    const char* const computed = crypt_r(password.c_str(), hash.c_str(), memory.get());
    const bool same = computed != nullptr && std::strlen(computed) == hash.size() &&
                      gnutls_memcmp(computed, hash.data(), hash.size()) == 0;
    explicit_bzero(memory.get(), sizeof *memory);
    return same;
}

}  // namespace

bool BasicAuth::Memory::Holds(const Digest& digest)
{
    const auto found = std::find(digests_.begin(), digests_.end(), digest);
    if (found != digests_.end()) {
        digests_.splice(digests_.begin(), digests_, found);
    }
    return found != digests_.end();
}

void BasicAuth::Memory::Add(const Digest& digest)
{
    digests_.push_front(digest);
    if (digests_.size() > most_) {
        digests_.pop_back();
    }
}

BasicAuth::BasicAuth(std::shared_ptr<Mailbox> mailbox)
    : mailbox_(std::move(mailbox)), good_(kMostGood), bad_(kMostBad)
{
    if (gnutls_rnd(GNUTLS_RND_KEY, key_.data(), key_.size()) != GNUTLS_E_SUCCESS) {
        throw std::runtime_error("the system gives no random bytes");
    }
}

BasicAuth::~BasicAuth()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_one();
    if (worker_.joinable()) {
        worker_.join();
    }
}

BasicAuth::Digest BasicAuth::DigestOf(const std::string& user, const std::string& hash,
                                      const std::string& password) const
{
    // Neither a name nor a hash holds a NUL.
    std::string text = user + '\0' + hash + '\0' + password;
    Digest digest = {};
    const int result = gnutls_hmac_fast(GNUTLS_MAC_SHA256, key_.data(), key_.size(), text.data(),
                                        text.size(), digest.data());
    Wipe(text);
    if (result != GNUTLS_E_SUCCESS) {
        throw std::runtime_error("cannot compute a digest");
    }
    return digest;
}

BasicAuth::Verdict BasicAuth::Check(const Users& users, const std::string& user,
                                    const std::string& password, Decided decided)
{
    const auto found = users.find(user);
    const bool known = found != users.end();
    const Digest digest = DigestOf(user, known ? found->second : "", password);
    if (good_.Holds(digest)) {
        return Verdict::kGood;
    }
    if (bad_.Holds(digest)) {
        return Verdict::kBad;
    }
    const auto pending = pending_.find(digest);
    if (pending != pending_.end()) {
        pending->second.push_back(std::move(decided));
        return Verdict::kPending;
    }
    if (pending_.size() >= kMostPending ||
        !Begin({digest, password, known ? found->second : HashOfNobody(users), known})) {
        return Verdict::kBusy;
    }
    pending_[digest].push_back(std::move(decided));
    return Verdict::kPending;
}

/// @return false when the host has no thread left.
bool BasicAuth::Begin(Job job)
{
    if (!worker_.joinable()) {
        try {
            worker_ = std::thread([this] { Work(); });
        } catch (const std::system_error&) {
            return false;
        }
    }
    {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    changed_.notify_one();
    return true;
}

std::optional<BasicAuth::Job> BasicAuth::NextJob()
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
    if (stopping_) {
        return std::nullopt;
    }
    Job job = std::move(jobs_.front());
    jobs_.pop_front();
    return job;
}

void BasicAuth::Work()
{
    while (auto job = NextJob()) {
        const bool good = IsPasswordOf(job->hash, job->password) && job->known;
        Wipe(job->password);
        mailbox_->Post([this, digest = job->digest, good] { Decide(digest, good); });
    }
}

void BasicAuth::Decide(const Digest& digest, bool good)
{
    (good ? good_ : bad_).Add(digest);
    const auto waiting = pending_.extract(digest);
    for (const Decided& decided : waiting.mapped()) {
        decided(good);
    }
}

}  // namespace Tulvo::Exporter
