// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a UDP socket of an IPMI server lets in, decided by the kernel before the server reads it.
#ifndef APPS_VKT_SIMULATOR_DATAGRAM_FILTER_H
#define APPS_VKT_SIMULATOR_DATAGRAM_FILTER_H

#include <vector>

namespace Tulvo::Simulator {

/// Lets only three kinds of datagrams in: presence pings, IPMI messages outside of any session
/// (authentication type 0), and RMCP+ (type 6). So no IPMI 1.5 session can be opened or used. What
/// waits in the socket already is thrown away.
/// @throws std::system_error when the kernel takes no filter.
void AdmitOnlyRmcpPlus(int socket);

/// All UDP sockets of this process.
/// @throws std::filesystem::filesystem_error when it cannot see its own descriptors.
std::vector<int> UdpSockets();

}  // namespace Tulvo::Simulator

#endif
