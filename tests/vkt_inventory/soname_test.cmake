# SPDX-License-Identifier: Apache-2.0
# cmake -DREADELF=<readelf> -DLIBRARY=<file> -DVERSION=<x.y.z> -P soname_test.cmake
# Fails unless the library's file and SONAME name its version, and it needs nothing but its
# companions and the language's standard library.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${READELF}" --dynamic --wide "${LIBRARY}"
  OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)

file(REAL_PATH "${LIBRARY}" file)
get_filename_component(file "${file}" NAME)
if(NOT file STREQUAL "libvktinventory.so.${VERSION}")
  message(FATAL_ERROR "the file is ${file}, not libvktinventory.so.${VERSION}")
endif()

string(REGEX MATCH "^[0-9]+" major "${VERSION}")
if(NOT dynamic MATCHES "SONAME[^\n]*\\[libvktinventory\\.so\\.${major}\\]")
  message(FATAL_ERROR "the SONAME is not libvktinventory.so.${major}:\n${dynamic}")
endif()

string(REGEX MATCHALL "NEEDED[^\n]*" needed "${dynamic}")
set(companions "vktlog|vktconfig|vktplatform|vktipmi|vkthttps|vktinfo")
set(standard "stdc\\+\\+|gcc_s|m|c")
list(FILTER needed EXCLUDE REGEX "\\[lib(${companions}|${standard}|[a-z]*san)\\.so\\.")
if(needed)
  message(FATAL_ERROR "needs more than its companions and the standard library: ${needed}")
endif()
