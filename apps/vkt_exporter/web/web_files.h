// SPDX-License-Identifier: Apache-2.0
/// @file
/// The web configuration in force, read anew when its file or one that it names has changed.
#ifndef APPS_VKT_EXPORTER_WEB_WEB_FILES_H
#define APPS_VKT_EXPORTER_WEB_WEB_FILES_H

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/vkt_exporter/web/web_config.h"

namespace Tulvo::Exporter {

class TlsContext;

/// The content of a regular file of at most 1 MiB.
/// @throws BadWebConfig
std::string ReadWebFile(const std::string& path);

struct WebSettings
{
    std::map<std::string, std::string> users;
    std::vector<std::pair<std::string, std::string>> headers;
    std::shared_ptr<const TlsContext> tls;  ///< Null for plain HTTP.
    std::vector<std::string> hints;
    std::vector<std::string> files;  ///< All that they were read from.
};

/// @throws BadWebConfig, which includes files that cannot be read or do not belong together.
WebSettings ReadWebSettings(const std::string& path);

/// Belongs to one thread.
class WebFiles
{
public:
    using Warn = std::function<void(const std::string&)>;

    /// @param path empty for none: plain HTTP, and nobody logs in.
    /// @param warn is told of a change that cannot be taken, once for each.
    /// @throws BadWebConfig
    WebFiles(std::string path, Warn warn);
    ~WebFiles();
    WebFiles(const WebFiles&) = delete;
    WebFiles& operator=(const WebFiles&) = delete;

    /// As the files have it now. When they have a mistake, what stood before it stands: to let
    /// everybody in would open the door, and to let nobody in would end the monitoring.
    std::shared_ptr<const WebSettings> Current();

private:
    /// What the system says of a file, the time of its last change last; all zeros when it is not
    /// there.
    using Stamp = std::array<std::uint64_t, 5>;

    using Clock = std::chrono::steady_clock;

    static Stamp StampOf(const std::string& path);
    std::vector<Stamp> Stamps() const;
    bool MayDiffer(const std::vector<Stamp>& stamps) const;
    void Read();

    const std::string path_;
    const Warn warn_;
    std::shared_ptr<const WebSettings> settings_ = std::make_shared<WebSettings>();
    std::vector<Stamp> stamps_;               ///< Of the files of settings_, before they were read.
    bool settled_ = true;                     ///< Whether a later change has another stamp.
    std::optional<Clock::time_point> retry_;  ///< When to look again after a mistake.
    std::string lastComplaint_;
};

}  // namespace Tulvo::Exporter

#endif
