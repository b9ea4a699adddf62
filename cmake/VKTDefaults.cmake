# SPDX-License-Identifier: Apache-2.0
# What every target of this project is built with. A target takes it by vkt_target_defaults().
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
if(VKT_DEBIAN_PACKAGES)
  include(VKTDebianFolders)
endif()
include(GNUInstallDirs)

set(VKT_WARNINGS -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  "$<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wreserved-identifier;-Wreserved-macro-identifier>")
if(VKT_WARNINGS_AS_ERRORS) # not unasked: another compiler may warn of more than ours
  list(APPEND VKT_WARNINGS -Werror)
endif()

# Of the programs and tests, the debug information that a backtrace needs: all of it takes the compiler
# a quarter of its time. Of the libraries there is all, and in a Debug build.
set(VKT_LINE_TABLES "$<$<CONFIG:RelWithDebInfo>:-g1>")

# Log records name their source file: as a path below the project's root, not of the build machine.
set(VKT_COMPILE_OPTIONS ${VKT_WARNINGS} "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")

# What makes a fault harder to exploit, where compiler and architecture have it. A test reads it back
# from the built files. The checks of the C library's calls need optimisation; a compiler or a
# packager that brings a level of its own keeps it, for to define another is an error.
set(VKT_HARDENING_COMPILE_OPTIONS)
set(VKT_HARDENING_LINK_OPTIONS "LINKER:-z,relro,-z,now,-z,noexecstack")
check_pie_supported(LANGUAGES CXX)
block(PROPAGATE VKT_HARDENING_COMPILE_OPTIONS)
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror")
  foreach(flag IN ITEMS
      -fstack-protector-strong -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "VKT_HAS${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      list(APPEND VKT_HARDENING_COMPILE_OPTIONS ${flag})
    endif()
  endforeach()
  check_cxx_source_compiles("
    #ifdef _FORTIFY_SOURCE
    #error somebody has set a level
    #endif
    int main() {}" VKT_FORTIFY_LEVEL_IS_OURS)
  if(VKT_FORTIFY_LEVEL_IS_OURS)
    list(APPEND VKT_HARDENING_COMPILE_OPTIONS
      "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>")
  endif()
endblock()

function(vkt_target_defaults target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_compile_options(${target} PRIVATE ${VKT_COMPILE_OPTIONS}
    # A source that another one includes is no header, whose classes others would see.
    "$<$<AND:$<CXX_COMPILER_ID:GNU>,$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wno-subobject-linkage>")
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    C_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON
    BUILD_RPATH_USE_ORIGIN ON) # a build folder can be copied or moved
  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>")
  if(VKT_SANITIZE)
    # The check of an object's type opens pipes to see whether its memory can be read, and takes an
    # object for a wrong one in tests that leave the process no descriptor.
    target_compile_options(${target} PRIVATE
      -fsanitize=${VKT_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${VKT_SANITIZE})
  else() # the sanitizers see more than these, and some of these hide faults from them
    target_compile_options(${target} PRIVATE ${VKT_HARDENING_COMPILE_OPTIONS})
    target_link_options(${target} PRIVATE ${VKT_HARDENING_LINK_OPTIONS})
  endif()
endfunction()

# vkt_never_shipped(<target>)
# For tests, and for tools of the build: to optimise these would only double the time that they take
# to compile. The C library's checks need optimisation. Some sources at a time are one for the
# compiler, which reads their headers once; not where every source has to stand on its own.
function(vkt_never_shipped target)
  vkt_target_defaults(${target})
  if(NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 6)
  endif()
  target_compile_options(${target} PRIVATE -O0 -U_FORTIFY_SOURCE)
endfunction()

# vkt_precompile(<name> <header>...) and vkt_precompiled(<target> <name>)
# What many sources include is read once for all of them. A source includes what it uses all the
# same, which a build with CMAKE_DISABLE_PRECOMPILE_HEADERS shows.
function(vkt_precompile name)
  add_library(${name} OBJECT "${PROJECT_SOURCE_DIR}/cmake/precompiled.cpp")
  target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()
function(vkt_precompiled target name)
  target_precompile_headers(${target} REUSE_FROM ${name})
  # A program is compiled like a library, so that both can use one such header.
  set_property(TARGET ${target} PROPERTY POSITION_INDEPENDENT_CODE)
  target_compile_options(${target} PRIVATE -fPIC)
endfunction()

# vkt_add_library(<target> OUTPUT <name> [COMPONENT <name>] HEADERS <file>... SOURCES <file>...)
# One shared library, and its objects as <target>_objects: tests link the objects of the library
# under test with fakes of the libraries that it calls. HEADERS are installed with it.
function(vkt_add_library target)
  cmake_parse_arguments(arg "" "OUTPUT;COMPONENT" "HEADERS;SOURCES" ${ARGN})
  if(NOT arg_COMPONENT)
    set(arg_COMPONENT Library)
  endif()
  add_library(${target}_objects OBJECT ${arg_SOURCES})
  vkt_target_defaults(${target}_objects)
  # An object for each source, also where a host compiles several as one: others take some in by name,
  # a program takes out of an archive those that it calls, and abidw describes every enumeration whole.
  set_target_properties(${target}_objects PROPERTIES UNITY_BUILD OFF)
  add_library(${target} SHARED $<TARGET_OBJECTS:${target}_objects>)
  add_library(VKTInventory::${target} ALIAS ${target})
  vkt_target_defaults(${target})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${arg_OUTPUT}
    LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  target_sources(${target} PUBLIC
    FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}/src" FILES ${arg_HEADERS})
  target_link_options(${target} PRIVATE -Wl,--as-needed)
  if(NOT VKT_SANITIZE) # the program brings the sanitizers' runtime, a library leaves it open
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  if(VKT_INSTALL)
    vkt_install_library(${target} "${arg_COMPONENT}")
  endif()
endfunction()
