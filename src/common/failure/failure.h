// SPDX-License-Identifier: Apache-2.0
/// @file
/// Why something could not be read, for two readers: a cause that a program can switch on, and
/// sentences for a person.
#ifndef COMMON_FAILURE_FAILURE_H
#define COMMON_FAILURE_FAILURE_H

#include <cstdint>
#include <optional>
#include <string>

namespace Tulvo {

/// What kept a value from being read.
enum class Cause : std::uint8_t
{
    kUnreachable,      ///< No such host, no route, nobody listens, or no first answer in time.
    kTimedOut,         ///< No answer in time.
    kRefused,          ///< Wrong user, password, K_g key, cipher suite or privilege.
    kNotTrusted,       ///< The peer did not prove that it is the module.
    kBusy,             ///< The module is busy for longer than is waited for.
    kNoSuchModule,     ///< Somebody answers who is no such module.
    kMalformedAnswer,  ///< An answer came that means nothing.
    kCompletionCode,   ///< The module refused this one request.
    kCancelled,        ///< The caller asked to stop.
    kLocal,  ///< A fault on this side: no descriptor, no memory, a setting that cannot be.
};

/// Never holds a password, a key or a token. Names no flag and no configuration key: those are
/// known to the layer that has them.
struct Failure
{
    Cause cause = Cause::kLocal;  ///< For programs; a later version may know more of them.
    std::string message = {};     ///< What was tried and what came back, on one line, printable.
    std::string advice = {};      ///< What to do about it; may be empty.
    std::optional<std::uint8_t> completionCode = {};  ///< With kCompletionCode and kBusy, if any.

    friend bool operator==(const Failure&, const Failure&) = default;
};

}  // namespace Tulvo

#endif
