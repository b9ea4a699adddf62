// SPDX-License-Identifier: Apache-2.0
/// @file
/// Signals as something to wait for.
#ifndef APPS_VKT_SIMULATOR_AWAITED_SIGNALS_H
#define APPS_VKT_SIMULATOR_AWAITED_SIGNALS_H

#include <initializer_list>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

/// From its construction on, these signals interrupt nothing any more. Made before anything that
/// has to be cleaned up, it makes every end that they ask for, however early, a clean one.
class AwaitedSignals
{
public:
    AwaitedSignals(std::initializer_list<int> signals);

    /// Readable (in the sense of poll) when one has arrived.
    int Descriptor() const { return descriptor_.Get(); }
    bool Received() const;
    /// Forgets what has arrived.
    void Forget() const;

private:
    FileDescriptor descriptor_;
};

}  // namespace Tulvo::Simulator

#endif
