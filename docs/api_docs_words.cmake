# SPDX-License-Identifier: Apache-2.0
# cmake -DPAGES=FOLDER -P api_docs_words.cmake: fails when a value of a public enumeration lacks words,
# of which doxygen does not warn; its pages in XML tell, and are of no other use.
file(GLOB pages "${PAGES}/*.xml")
if(NOT pages)
  message(FATAL_ERROR "${PAGES} has no pages")
endif()
set(values "")
foreach(page IN LISTS pages)
  file(READ "${page}" text)
  string(REGEX REPLACE "<initializer>[^<]*</initializer>|[ \n]+" "" text "${text}")
  string(REGEX MATCHALL "<name>[A-Za-z0-9_]+</name><briefdescription></briefdescription><detaileddescription></detaileddescription></enumvalue>"
    found "${text}")
  list(APPEND values ${found})
endforeach()
file(REMOVE_RECURSE "${PAGES}") # else the page of a header that is gone would be read once more
if(values)
  list(TRANSFORM values REPLACE "<name>([^<]*)<.*" "\\1")
  list(REMOVE_DUPLICATES values)
  list(JOIN values ", " names)
  message(FATAL_ERROR "Values of public enumerations that do not say what they are: ${names}")
endif()
