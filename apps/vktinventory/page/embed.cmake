# SPDX-License-Identifier: Apache-2.0
# cmake -DFOLDER=<sources> -DOUTPUT=<header> -P embed.cmake
# The page's markup with style and script in their places, and with the hashes by which the page's own
# policy knows them, as a C++ header.

# SHA-256 in Base64: twelve bits, three hexadecimal digits, are two letters; behind 32 bytes stands one "=".
function(hash_of text variable)
  set(letters ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  string(SHA256 digits "${text}")
  string(REGEX MATCHALL "..." groups "${digits}00")
  set(hash "")
  foreach(group IN LISTS groups)
    math(EXPR first "0x${group} >> 6")
    math(EXPR second "0x${group} & 63")
    string(SUBSTRING ${letters} ${first} 1 first)
    string(SUBSTRING ${letters} ${second} 1 second)
    string(APPEND hash ${first}${second})
  endforeach()
  string(REGEX REPLACE "A$" "=" hash "${hash}")
  set(${variable} "sha256-${hash}" PARENT_SCOPE)
endfunction()

foreach(part IN ITEMS style script)
  set(file "${FOLDER}/page.css")
  if(part STREQUAL "script")
    set(file "${FOLDER}/page.js")
  endif()
  file(READ "${file}" ${part})
  if(${part} MATCHES "</|<!--|[^\t\n -~]")
    message(FATAL_ERROR "${file}: holds what ends its element, or another character than ASCII's")
  endif()
  hash_of("${${part}}" ${part}_hash)
endforeach()

file(READ "${FOLDER}/page.html" page)
foreach(part IN ITEMS style_hash script_hash style script)
  string(REPLACE "_" " " mark ${part})
  string(REPLACE "<!--${mark}-->" "${${part}}" page "${page}")
endforeach()
file(WRITE "${OUTPUT}.new" "// Made by embed.cmake.\n#include <string_view>\n\n\
namespace Tulvo::Cli {\n\ninline constexpr std::string_view kPageText = R\"page(${page})page\";\n\n}\n")
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
