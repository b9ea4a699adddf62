// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_PAGE_BAD_INPUT_H
#define APPS_VKTINVENTORY_PAGE_BAD_INPUT_H

#include <stdexcept>

namespace Tulvo::Cli {

/// What was given cannot be made a page of; what() says where, why and what to do.
class BadInput : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Tulvo::Cli

#endif
