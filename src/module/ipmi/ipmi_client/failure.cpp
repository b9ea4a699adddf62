// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/failure.h"

#include "common/text/printable.h"

namespace Tulvo::Rmcp {

std::string Describe(const Failure& failure)
{
    std::string line = failure.what;
    if (!failure.detail.empty()) {
        line += " (" + Text::PrintableText(failure.detail) + ")";
    }
    if (!failure.advice.empty()) {
        line += "; " + failure.advice;
    }
    return line;
}

}  // namespace Tulvo::Rmcp
