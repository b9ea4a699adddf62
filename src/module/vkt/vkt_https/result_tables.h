// SPDX-License-Identifier: Apache-2.0
/// @file
/// What libcurl's results and HTTP's status numbers mean here.
#ifndef MODULE_VKT_VKT_HTTPS_RESULT_TABLES_H
#define MODULE_VKT_VKT_HTTPS_RESULT_TABLES_H

#include <curl/curl.h>

#include "module/vkt/vkt_https/failure.h"
#include "module/vkt/vkt_https/http_message.h"

namespace Tulvo::Https {

/// The failure that a libcurl result other than CURLE_OK stands for.
/// @param replyBegan whether anything of a reply came: a connection that breaks off is no
///                   connection before, and a broken reply after.
Failure FailureOf(CURLcode result, bool replyBegan);

/// Whether libcurl says with it that the connection ended early.
bool IsBrokenOff(CURLcode result);

/// The failure that a status other than the expected one stands for, with the message of the
/// Redfish error in the body as its detail.
Failure FailureOf(const HttpReply& reply);

}  // namespace Tulvo::Https

#endif
