# SPDX-License-Identifier: Apache-2.0
# cmake -DNM=<nm> -DLIBRARY=<file> -DEXPECTED=<name>,<name>... -P check_exports.cmake
# Fails unless the library's dynamic symbols have exactly these names, without arguments and ABI tags.
cmake_minimum_required(VERSION 3.25)
execute_process(COMMAND "${NM}" -D --defined-only -C "${LIBRARY}"
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[0-9a-f]+ [A-Za-z] ([^[(\n]*)[^\n]*\n" "\\1;" names "${symbols}")
list(REMOVE_ITEM names "")
list(SORT names)
list(REMOVE_DUPLICATES names)
string(REPLACE "," ";" expected "${EXPECTED}")
list(SORT expected)
if(NOT names STREQUAL expected)
  message(FATAL_ERROR "${LIBRARY} exports\n  ${names}\nbut should export\n  ${expected}")
endif()
