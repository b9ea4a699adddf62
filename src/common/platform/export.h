// SPDX-License-Identifier: Apache-2.0
/// @file
/// Everything is built with hidden visibility; what a library offers is marked.
#ifndef COMMON_PLATFORM_EXPORT_H
#define COMMON_PLATFORM_EXPORT_H

/// What a library offers; all else in it is hidden.
#define VKT_EXPORT __attribute__((visibility("default")))

#endif
