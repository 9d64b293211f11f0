# Installation and the Debian binary package (make package).
#
#   bin/                      vexdepcheck, vexinspect
#   share/man/man1/           their manual pages
#   share/bash-completion/completions/
#                             their bash completion files (completions/)
#   share/doc/vexdepcheck/    README, documentation, copyright, changelog; json/ the
#                             JSON Schemas of vexinspect's output

include(GNUInstallDirs)

# Manual pages: the project version is filled in, and the pages are
# compressed as Debian packages carry them. Each entry is the installed page
# name and its source in docs/man/.
set(VEXDEP_MAN_PAGES "vexdepcheck=vexdepcheck.1")
if(TARGET vexinspect)
  list(APPEND VEXDEP_MAN_PAGES "vexinspect=diagnostics-tool.1")
endif()
set(VEXDEP_MAN_OUTPUTS)
foreach(entry IN LISTS VEXDEP_MAN_PAGES)
  string(REPLACE "=" ";" entry_parts "${entry}")
  list(GET entry_parts 0 page)
  list(GET entry_parts 1 source)
  set(VERSION ${PROJECT_VERSION})
  configure_file(${PROJECT_SOURCE_DIR}/docs/man/${source} ${PROJECT_BINARY_DIR}/man/${page}.1 @ONLY)
  add_custom_command(
    OUTPUT ${PROJECT_BINARY_DIR}/man/${page}.1.gz
    COMMAND gzip -9n -c ${PROJECT_BINARY_DIR}/man/${page}.1 > ${PROJECT_BINARY_DIR}/man/${page}.1.gz
    DEPENDS ${PROJECT_BINARY_DIR}/man/${page}.1
    VERBATIM)
  list(APPEND VEXDEP_MAN_OUTPUTS ${PROJECT_BINARY_DIR}/man/${page}.1.gz)
endforeach()
add_custom_command(
  OUTPUT ${PROJECT_BINARY_DIR}/packaging/changelog.gz
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/packaging
  COMMAND gzip -9n -c ${PROJECT_SOURCE_DIR}/packaging/changelog > ${PROJECT_BINARY_DIR}/packaging/changelog.gz
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog
  VERBATIM)
add_custom_target(vexdep_install_files ALL DEPENDS ${VEXDEP_MAN_OUTPUTS} ${PROJECT_BINARY_DIR}/packaging/changelog.gz)

install(TARGETS vexdepcheck RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET vexinspect)
  install(TARGETS vexinspect RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES ${VEXDEP_MAN_OUTPUTS} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
# bash-completion loads the file named after the command on first use.
install(FILES ${PROJECT_SOURCE_DIR}/completions/vexdepcheck
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
if(TARGET vexinspect)
  install(FILES ${PROJECT_SOURCE_DIR}/completions/vexinspect
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()
file(GLOB VEXDEP_DOCS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${VEXDEP_DOCS} ${PROJECT_SOURCE_DIR}/packaging/copyright
              ${PROJECT_BINARY_DIR}/packaging/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
# The JSON Schemas of vexinspect's JSON output.
file(GLOB VEXDEP_JSON_SCHEMAS ${PROJECT_SOURCE_DIR}/docs/json/*.schema.json)
install(FILES ${VEXDEP_JSON_SCHEMAS} DESTINATION ${CMAKE_INSTALL_DOCDIR}/json)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vexdepcheck)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "vexdepcheck developers <vexdepcheck@example.org>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "vexdepcheck developers <vexdepcheck@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "dependency checker for server update packages")
set(CPACK_PACKAGE_DESCRIPTION
    "vexdepcheck is run by the installer of a server update package, with the
package's files in the current directory. It reads the package description,
decides which of the declared hard or soft dependencies apply to the machine
(by context, platform ID, operating system and the devices present), runs
each dependency's inventory collector, compares versions and reports what is
unmet; its exit status tells the installer whether to proceed.

vexinspect explains a run of the checker step by step, shows the machine's
SMBIOS identity (also from a captured dump) and lints update packages.")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
