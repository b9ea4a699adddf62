// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/web_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <variant>

#include "apps/vkt_exporter/web/tls_context.h"
#include "common/text/printable.h"
#include "fleet/bounded_file.h"

namespace Tulvo::Exporter {

namespace {

constexpr std::size_t kMostBytes = 1'048'576;
/// A mistake may lie in a file that is not watched yet.
constexpr auto kRetryAfter = std::chrono::seconds(1);
/// Two changes within a tick of the kernel's clock have one time.
constexpr auto kCoarsestTick = std::chrono::milliseconds(20);

std::uint64_t Nanoseconds(const timespec& time)
{
    return static_cast<std::uint64_t>(
        (std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)).count());
}

void HintIfOpen(const std::string& path, const char* what, std::vector<std::string>& hints)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0 && (status.st_mode & S_IROTH) != 0) {
        hints.push_back(Text::PrintableAscii(path) + ": everybody on this machine can read " +
                        what + "; chmod o-r");
    }
}

}  // namespace

std::string ReadWebFile(const std::string& path)
{
    struct stat status = {};
    // A pipe would have the server wait for its writer.
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw BadWebConfig("cannot read " + Text::PrintableAscii(path) + ": it is no regular file");
    }
    auto read = Fleet::ReadFile(path, kMostBytes);
    if (const auto* const why = std::get_if<std::string>(&read)) {
        throw BadWebConfig("cannot read " + Text::PrintableAscii(path) + ": " + *why);
    }
    return std::move(std::get<Fleet::FileText>(read).text);
}

WebSettings ReadWebSettings(const std::string& path)
{
    WebConfig config = ParseWebConfig(ReadWebFile(path), path);
    WebSettings settings;
    settings.users = std::move(config.users);
    settings.headers = std::move(config.headers);
    settings.hints = std::move(config.hints);
    settings.files = {path};
    if (!settings.users.empty()) {
        HintIfOpen(path, "the hashes of passwords", settings.hints);
    }
    if (config.tls) {
        settings.tls = std::make_shared<TlsContext>(*config.tls);
        settings.files.insert(settings.files.end(), {config.tls->certFile, config.tls->keyFile});
        if (!config.tls->clientCaFile.empty()) {
            settings.files.push_back(config.tls->clientCaFile);
        }
        HintIfOpen(config.tls->keyFile, "the key", settings.hints);
    } else if (!settings.users.empty()) {
        settings.hints.push_back(
            Text::PrintableAscii(path) +
            ": without tls_server_config passwords cross the network readable");
    }
    return settings;
}

WebFiles::WebFiles(std::string path, Warn warn) : path_(std::move(path)), warn_(std::move(warn))
{
    if (!path_.empty()) {
        Read();
        for (const std::string& hint : settings_->hints) {
            warn_(hint);
        }
    }
}

WebFiles::~WebFiles() = default;

WebFiles::Stamp WebFiles::StampOf(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
            Nanoseconds(status.st_mtim), Nanoseconds(status.st_ctim)};
}

std::vector<WebFiles::Stamp> WebFiles::Stamps() const
{
    std::vector<Stamp> stamps;
    stamps.reserve(settings_->files.size());
    for (const std::string& file : settings_->files) {
        stamps.push_back(StampOf(file));
    }
    return stamps;
}

void WebFiles::Read()
{
    const auto begun = std::chrono::system_clock::now() - kCoarsestTick;
    auto read = std::make_shared<WebSettings>(ReadWebSettings(path_));
    const bool isFirst = settings_->files.empty();
    if (!isFirst && (read->tls == nullptr) != (settings_->tls == nullptr)) {
        throw BadWebConfig(Text::PrintableAscii(path_) +
                           ": from TLS to plain HTTP or back takes a restart");
    }
    settings_ = std::move(read);
    stamps_ = Stamps();
    // What changed since the reading began may have been read before or after that.
    const auto settledBefore =
        static_cast<std::uint64_t>(std::chrono::nanoseconds(begun.time_since_epoch()).count());
    settled_ = std::all_of(stamps_.begin(), stamps_.end(), [settledBefore](const Stamp& stamp) {
        return stamp.back() < settledBefore;
    });
}

bool WebFiles::MayDiffer(const std::vector<Stamp>& stamps) const
{
    const bool isDue = retry_ ? *retry_ <= Clock::now() : !settled_;
    return isDue || stamps != stamps_;
}

std::shared_ptr<const WebSettings> WebFiles::Current()
{
    if (path_.empty()) {
        return settings_;
    }
    const std::vector<Stamp> stamps = Stamps();
    if (!MayDiffer(stamps)) {
        return settings_;
    }
    try {
        Read();
        retry_.reset();
        lastComplaint_.clear();
    } catch (const BadWebConfig& mistake) {
        stamps_ = stamps;
        retry_ = Clock::now() + kRetryAfter;
        if (lastComplaint_ != mistake.what()) {
            lastComplaint_ = mistake.what();
            warn_(lastComplaint_ + "; what was read before stays in force");
        }
    }
    return settings_;
}

}  // namespace Tulvo::Exporter
