// SPDX-License-Identifier: Apache-2.0
/// @file
/// Between the simulator and its module in a running `ipmi_sim`: one end sends files, the other
/// answers each with a text.
#ifndef APPS_VKT_SIMULATOR_MODULE_CHANNEL_H
#define APPS_VKT_SIMULATOR_MODULE_CHANNEL_H

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

/// The answer to a file that is used from now on; any other tells what is wrong with it.
inline constexpr std::string_view kInputTaken = "taken";

/// Both ends, closed on exec.
/// @throws std::system_error when the host has no descriptor left.
std::pair<FileDescriptor, FileDescriptor> MakeModuleChannel();

/// @throws std::system_error when the other end is closed.
void SendFile(int channel, const FileDescriptor& file);

/// Waits for a file; nothing when the other end is closed.
std::optional<FileDescriptor> ReceiveFile(int channel);

/// Answers a file; `text` is not empty and cut to a length that can be read.
void SendText(int channel, const std::string& text);

/// Waits for an answer; empty when the other end is closed.
std::string ReceiveText(int channel);

}  // namespace Tulvo::Simulator

#endif
