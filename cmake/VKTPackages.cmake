# SPDX-License-Identifier: Apache-2.0
# Debian packages, one a component of the installation. scripts/package builds them.

# Should Debian package the same version one day, its package stands above ours.
set(VKT_PACKAGE_RELEASE 0vkt1)
set(VKT_PACKAGE_MAINTAINER "vktinventory developers <maintainers@example.invalid>")

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL "")
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
# The modes of files and folders are ours, not those of whoever builds.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SOURCE vktinventory)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${VKT_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${VKT_PACKAGE_RELEASE})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
# Programs are examined against the libraries of this build, which no package is installed of.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
foreach(library IN ITEMS
    vkt_log vkt_config vkt_platform vkt_ipmi_client vkt_https vkt_info vktinventory vktenclosure)
  get_target_property(folder ${library} BINARY_DIR)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${folder}")
endforeach()

# The changelogs that every package brings: the user's, and the one of the packaging.
set(folder "${PROJECT_BINARY_DIR}/package_files")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE "${folder}/changelog.Debian"
  "vktinventory (${PROJECT_VERSION}-${VKT_PACKAGE_RELEASE}) bookworm; urgency=medium\n\n"
  "  * Packaged from the sources; changelog.gz tells what changed in them.\n\n"
  " -- ${VKT_PACKAGE_MAINTAINER}  ${date}\n")
configure_file("${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${folder}/changelog" COPYONLY)
execute_process(COMMAND gzip -9nkf "${folder}/changelog.Debian" "${folder}/changelog"
  COMMAND_ERROR_IS_FATAL ANY)

# vkt_package(<component> NAME <name> SECTION <section> DESCRIPTION <line>... [DEPENDS <packages>])
macro(vkt_package component)
  cmake_parse_arguments(arg "" "NAME;SECTION;DEPENDS" "DESCRIPTION" ${ARGN})
  string(TOUPPER ${component} key)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  list(JOIN arg_DESCRIPTION "\n" CPACK_DEBIAN_${key}_DESCRIPTION)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${arg_NAME})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${arg_SECTION})
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${arg_DEPENDS}")
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/copyright"
      "${folder}/changelog.gz" "${folder}/changelog.Debian.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${arg_NAME}" COMPONENT ${component})
endmacro()

# The libraries, by their SONAMEs. libvktenclosure's may change with a minor version, and both may then
# be installed side by side.
set(same_version "(= ${PROJECT_VERSION}-${VKT_PACKAGE_RELEASE})")
set(library libvktinventory${PROJECT_VERSION_MAJOR})
set(enclosure_library libvktenclosure${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(same_library "${library} ${same_version}, ${enclosure_library} ${same_version}")
set(about
  "vktinventory reads the inventory and health of a multi-node server enclosure"
  "from its management module, over RMCP+ (IPMI 2.0) or HTTPS.")

vkt_package(Library NAME ${library} SECTION libs
  DESCRIPTION "inventory of multi-node server enclosures - shared libraries" ${about} ""
    "This package has the library and the companions that it calls: log,"
    "configuration, IPMI client and HTTPS transport.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
install(FILES "${PROJECT_SOURCE_DIR}/packaging/${library}.lintian-overrides"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME ${library} COMPONENT Library)

vkt_package(EnclosureLibrary NAME ${enclosure_library} SECTION libs
  DEPENDS "${library} ${same_version}"
  DESCRIPTION "inventory of multi-node server enclosures - whole enclosures in one read" ${about} ""
    "This package has the library that reads a whole enclosure in one conversation,"
    "within one deadline, with a reason for whatever is missing.")
set(CPACK_DEBIAN_ENCLOSURELIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
configure_file("${PROJECT_SOURCE_DIR}/packaging/libvktenclosure.lintian-overrides.in"
  "${folder}/${enclosure_library}.lintian-overrides" @ONLY)
install(FILES "${folder}/${enclosure_library}.lintian-overrides"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME ${enclosure_library}
  COMPONENT EnclosureLibrary)

vkt_package(Development NAME libvktinventory-dev SECTION libdevel
  DEPENDS "${same_library}"
  DESCRIPTION "inventory of multi-node server enclosures - development files" ${about} ""
    "This package has headers, manual page, CMake and pkg-config files, and an"
    "archive of the library for programs that bring a logger or another companion"
    "of their own.")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/libvktinventory-dev" COMPONENT Development
  PATTERN prometheus EXCLUDE)

vkt_package(Tools NAME vktinventory SECTION admin
  DEPENDS "${same_library}"
  DESCRIPTION "inventory of multi-node server enclosures - command" ${about} ""
    "This package has the command that prints them as tables, JSON or CSV, of one"
    "enclosure or of a thousand.")
foreach(page IN ITEMS fleet.md inventory.schema.json json.md readings.md)
  install(FILES "${PROJECT_SOURCE_DIR}/docs/${page}"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/vktinventory" COMPONENT Tools)
endforeach()

vkt_package(Exporter NAME vkt-exporter SECTION admin
  DEPENDS "${same_library}"
  DESCRIPTION "inventory of multi-node server enclosures - metrics for Prometheus" ${about} ""
    "This package has the exporter that serves them as metrics, for one enclosure"
    "or a thousand, with its service, alerts for Prometheus and a dashboard for"
    "Grafana.")
set(CPACK_DEBIAN_EXPORTER_PACKAGE_CONTROL_EXTRA
  "${PROJECT_SOURCE_DIR}/packaging/vkt-exporter/postinst"
  "${PROJECT_SOURCE_DIR}/packaging/vkt-exporter/prerm"
  "${PROJECT_SOURCE_DIR}/packaging/vkt-exporter/postrm")
install(FILES "${PROJECT_SOURCE_DIR}/packaging/vkt-exporter/vkt-exporter.service"
  DESTINATION lib/systemd/system COMPONENT Exporter)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples/prometheus/"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/vkt-exporter/examples" COMPONENT Exporter)
foreach(page IN ITEMS exporter-web.md metrics.md prometheus.md)
  install(FILES "${PROJECT_SOURCE_DIR}/docs/${page}"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/vkt-exporter" COMPONENT Exporter)
endforeach()

vkt_package(Simulator NAME vkt-simulator SECTION admin
  DEPENDS "openipmi"
  DESCRIPTION "inventory of multi-node server enclosures - simulator" ${about} ""
    "This package has a simulator that plays such an enclosure on loopback, healthy"
    "or faulty, to try and to test without hardware.")

include(CPack)
