// SPDX-License-Identifier: Apache-2.0
// Nothing but the precompiled header that others use.
