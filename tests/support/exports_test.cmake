# SPDX-License-Identifier: Apache-2.0
# vkt_add_exports_test(<library target> <qualified name without arguments>...)
# A test that the library exports exactly these names: what else leaks out may clash with a host's.
find_program(VKT_NM nm REQUIRED)

# A sanitizer's instrumentation exports symbols of its own; what ships has none.
function(vkt_add_exports_test target)
  if(VKT_SANITIZE)
    return()
  endif()
  list(JOIN ARGN "," expected)
  add_test(NAME ${target}_exports COMMAND "${CMAKE_COMMAND}" -D "NM=${VKT_NM}"
    -D "LIBRARY=$<TARGET_FILE:${target}>" -D "EXPECTED=${expected}"
    -P "${PROJECT_SOURCE_DIR}/tests/support/check_exports.cmake")
endfunction()
