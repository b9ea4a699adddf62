# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts where. An installed tree may be moved: everything in it finds the rest
# relative to itself.
#
# Components: Library (shared libraries), EnclosureLibrary (libvktenclosure), Development (headers, CMake and pkg-config files, the
# archive), Tools (vktinventory), Exporter (vkt-exporter), Simulator (vkt-simulator); each with its manual pages and
# completions.
include(CMakePackageConfigHelpers)

set(VKT_HEADER_FOLDER "${CMAKE_INSTALL_INCLUDEDIR}/vktinventory")
set(VKT_PACKAGE_FOLDER "${CMAKE_INSTALL_LIBDIR}/cmake/VKTInventory")
set(VKT_PKGCONFIG_FOLDER "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# A library of vkt_add_library(), with its headers. The libraries find each other in their folder.
function(vkt_install_library target component)
  set_property(GLOBAL APPEND PROPERTY VKT_INSTALLED ${target})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${target} EXPORT VKTInventory
    LIBRARY COMPONENT ${component} NAMELINK_COMPONENT Development
    INCLUDES DESTINATION "${VKT_HEADER_FOLDER}"
    FILE_SET HEADERS DESTINATION "${VKT_HEADER_FOLDER}" COMPONENT Development)
endfunction()

# An archive for development, without the debugging information of this build's folders when the
# installation strips.
function(vkt_install_archive target)
  set_property(GLOBAL APPEND PROPERTY VKT_INSTALLED ${target})
  install(TARGETS ${target} EXPORT VKTInventory ARCHIVE COMPONENT Development
    INCLUDES DESTINATION "${VKT_HEADER_FOLDER}")
  set(archive "${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:${target}>")
  install(CODE "if(CMAKE_INSTALL_DO_STRIP)
    execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug --enable-deterministic-archives
        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${archive}\"
      COMMAND_ERROR_IS_FATAL ANY)
  endif()" COMPONENT Development)
endfunction()

# A program that uses the libraries.
function(vkt_install_program target component)
  set_property(GLOBAL APPEND PROPERTY VKT_INSTALLED ${target})
  file(RELATIVE_PATH libraries "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
  install(TARGETS ${target} RUNTIME COMPONENT ${component})
endfunction()

# A target that builds all that is installed, and no test.
function(vkt_add_installed_target)
  get_property(installed GLOBAL PROPERTY VKT_INSTALLED)
  add_custom_target(vkt_installed)
  add_dependencies(vkt_installed ${installed} vkt-simulator vkt_reference_files)
endfunction()

# What makes find_package(VKTInventory) and pkg-config find the libraries.
function(vkt_install_package_files)
  set(folder "${PROJECT_BINARY_DIR}/package_files")
  write_basic_package_version_file("${folder}/VKTInventoryConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
  file(RELATIVE_PATH VKT_PREFIX_FROM_PACKAGE "/${VKT_PACKAGE_FOLDER}" "/")
  string(REGEX REPLACE "/$" "" VKT_PREFIX_FROM_PACKAGE "${VKT_PREFIX_FROM_PACKAGE}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/VKTInventoryConfig.cmake.in"
    "${folder}/VKTInventoryConfig.cmake" @ONLY)
  file(RELATIVE_PATH VKT_PREFIX_FROM_PKGCONFIG "/${VKT_PKGCONFIG_FOLDER}" "/")
  string(REGEX REPLACE "/$" "" VKT_PREFIX_FROM_PKGCONFIG "${VKT_PREFIX_FROM_PKGCONFIG}")
  foreach(library IN ITEMS vktinventory vktenclosure)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in" "${folder}/${library}.pc" @ONLY)
  endforeach()

  install(EXPORT VKTInventory NAMESPACE VKTInventory:: DESTINATION "${VKT_PACKAGE_FOLDER}"
    COMPONENT Development)
  install(FILES "${folder}/VKTInventoryConfig.cmake"
      "${folder}/VKTInventoryConfigVersion.cmake"
    DESTINATION "${VKT_PACKAGE_FOLDER}" COMPONENT Development)
  install(FILES "${folder}/vktinventory.pc" "${folder}/vktenclosure.pc"
    DESTINATION "${VKT_PKGCONFIG_FOLDER}" COMPONENT Development)
endfunction()
