# SPDX-License-Identifier: Apache-2.0
# cmake -DNM=<nm> -DLIBRARY=<file> -DLIST=<exports.txt> -P exports_test.cmake
# Fails unless the library's dynamic symbols are those of the list, signatures included.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${NM}" -D --defined-only --demangle "${LIBRARY}"
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
# The linker writes the name of the symbols' version into the table too, as an absolute symbol.
string(REGEX REPLACE "[0-9a-f]+ A [^\n]*\n" "" symbols "${symbols}")
string(REGEX REPLACE "[0-9a-f]+ [A-Za-z] ([^\n]*)\n" "\\1;" symbols "${symbols}")
list(TRANSFORM symbols REPLACE "@.*" "")
list(TRANSFORM symbols REPLACE
  "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >" "std::string")
list(TRANSFORM symbols REPLACE "std::vector<([^,]*), std::allocator<[^>]*> >" "std::vector<\\1>")
list(REMOVE_ITEM symbols "")
list(REMOVE_DUPLICATES symbols) # a constructor has two

file(STRINGS "${LIST}" promised REGEX "^[^#]")

set(surplus ${symbols})
list(REMOVE_ITEM surplus ${promised})
set(missing ${promised})
list(REMOVE_ITEM missing ${symbols})
if(surplus OR missing)
  list(JOIN surplus "\n  " surplus)
  list(JOIN missing "\n  " missing)
  message(FATAL_ERROR "exported, but not in the list:\n  ${surplus}\n"
    "in the list, but not exported:\n  ${missing}")
endif()
