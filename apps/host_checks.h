// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a program makes sure of before it begins, because the libraries that it uses would fail
/// badly later on.
#ifndef APPS_HOST_CHECKS_H
#define APPS_HOST_CHECKS_H

namespace Tulvo {

/// A core would hold passwords, and so would the memory that another process of the same user may
/// look into: neither is given to anybody but root.
void ForbidCores();

/// To be called before anything is opened. Throws std::exception, with what to do about it.
///
/// - Standard input, output and error that were closed are occupied, so that no file or socket gets
///   such a number: results and log records would go into it, to the module even. They still fail
///   with "Bad file descriptor" when they are read or written.
/// - There has to be memory for a whole run. Where it ends in the midst of their work, the
///   libraries for cryptography and names blame the peer, or end the process.
/// - SSLKEYLOGFILE is taken out of the environment: who can read that file reads all that TLS
/// hides.
void CheckHost();

}  // namespace Tulvo

#endif
