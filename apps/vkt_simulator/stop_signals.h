// SPDX-License-Identifier: Apache-2.0
/// @file
/// The signals that ask the simulator to end, as something to wait for.
#ifndef APPS_VKT_SIMULATOR_STOP_SIGNALS_H
#define APPS_VKT_SIMULATOR_STOP_SIGNALS_H

#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

/// From its construction on, SIGTERM, SIGINT and SIGHUP interrupt nothing any more. Made before
/// anything that has to be cleaned up, it makes every end, however early, a clean one.
class StopSignals
{
public:
    StopSignals();

    /// Readable (in the sense of poll) when the program was asked to end.
    int Descriptor() const { return descriptor_.Get(); }
    bool Received() const;

private:
    FileDescriptor descriptor_;
};

}  // namespace Tulvo::Simulator

#endif
