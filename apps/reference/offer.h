// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a shell offers for a value that is not one of a list, told by what stands for it in --help.
#ifndef APPS_REFERENCE_OFFER_H
#define APPS_REFERENCE_OFFER_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Tulvo::Reference {

struct Offer
{
    std::string_view value;  ///< Option::value.
    std::string_view script;
};

/// The script for a value; empty when nobody can know what to offer.
template <std::size_t N>
std::string ScriptFor(const Offer (&offers)[N], std::string_view value)
{
    for (const Offer& offer : offers) {
        if (offer.value == value) {
            return std::string(offer.script);
        }
    }
    return {};
}

}  // namespace Tulvo::Reference

#endif
