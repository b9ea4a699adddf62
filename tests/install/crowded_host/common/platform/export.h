// SPDX-License-Identifier: Apache-2.0
// A header of the host's, at the path of one of ours.
#define HOST_EXPORT
