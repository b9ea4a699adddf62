// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_WEB_LISTENING_SOCKET_H
#define APPS_VKT_EXPORTER_WEB_LISTENING_SOCKET_H

#include <string>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Exporter {

struct ListeningSocket
{
    FileDescriptor descriptor;  ///< Does not block.
    std::string address;        ///< "127.0.0.1:9842", "[::]:9842".
};

/// What is wrong with an address as it is written, and what to do; empty when nothing is.
std::string MistakeInAddress(const std::string& address);

/// @param address HOST:PORT with an IPv6 address in brackets; no host means every address of this
/// machine, port 0 a free one.
/// @throws std::runtime_error with what to do about it.
ListeningSocket Listen(const std::string& address);

}  // namespace Tulvo::Exporter

#endif
