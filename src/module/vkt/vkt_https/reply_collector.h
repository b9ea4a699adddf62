// SPDX-License-Identifier: Apache-2.0
/// @file
/// Takes in what a server sends, up to fixed limits.
#ifndef MODULE_VKT_VKT_HTTPS_REPLY_COLLECTOR_H
#define MODULE_VKT_VKT_HTTPS_REPLY_COLLECTOR_H

#include <cstddef>
#include <string_view>

#include "module/vkt/vkt_https/http_message.h"

namespace Tulvo::Https {

inline constexpr std::size_t kLargestBody = 64UL * 1024;
/// All header lines of an exchange together, those of interim replies and trailers included.
inline constexpr std::size_t kLargestHeader = 16UL * 1024;

/// Fills a reply piece by piece.
class ReplyCollector
{
public:
    explicit ReplyCollector(HttpReply& reply) : reply_(reply) {}

    /// One header line, its line end included. False when there have been too many.
    bool TakeHeader(std::string_view line);

    /// One piece of the body. False when it has grown too large.
    bool TakeBody(std::string_view piece);

    bool Began() const { return headerBytes_ > 0; }
    bool HeaderIsWhole() const { return headerIsWhole_; }

private:
    void TakeField(std::string_view line);

    HttpReply& reply_;
    std::size_t headerBytes_ = 0;
    bool headerIsWhole_ = false;
};

}  // namespace Tulvo::Https

#endif
