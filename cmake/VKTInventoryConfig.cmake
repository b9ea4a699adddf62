# SPDX-License-Identifier: Apache-2.0
# find_package(VKTInventory): the target VKTInventory::vktinventory, and the companions
# VKTInventory::vkt_log, vkt_config, vkt_platform, vkt_ipmi_client, vkt_https and vkt_info for
# programs that call those themselves. VKTInventory::vktinventory_static is the library without
# companions, for programs that bring some of their own.
include("${CMAKE_CURRENT_LIST_DIR}/VKTInventory.cmake")
