# Installation and the Debian binary package (make package).
#
#   sbin/                     vexdepcheck, vexinspect (administrator tools, run as root)
#   share/man/man8/           their manual pages
#   share/bash-completion/completions/
#                             their bash completion files (completions/)
#   share/doc/vexdepcheck/    README, documentation (compressed when over 4 KiB),
#                             copyright, changelog; json/ the JSON Schemas of
#                             vexinspect's output
#
# The manual pages and documents are written at install time
# (cmake/InstallDocuments.cmake), so that the paths in them follow the
# prefix they are installed under.

include(GNUInstallDirs)

set(VEXDEP_MAN_PAGES "vexdepcheck=vexdepcheck.8")
if(TARGET vexinspect)
  list(APPEND VEXDEP_MAN_PAGES "vexinspect=vexinspect.8")
endif()
set(VEXDEP_COMPLETIONSDIR ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

add_custom_command(
  OUTPUT ${PROJECT_BINARY_DIR}/packaging/changelog.gz
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/packaging
  COMMAND gzip -9n -c ${PROJECT_SOURCE_DIR}/packaging/changelog > ${PROJECT_BINARY_DIR}/packaging/changelog.gz
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog
  VERBATIM)
add_custom_target(vexdep_install_files ALL DEPENDS ${PROJECT_BINARY_DIR}/packaging/changelog.gz)

install(TARGETS vexdepcheck RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
if(TARGET vexinspect)
  install(TARGETS vexinspect RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
endif()
# bash-completion loads the file named after the command on first use.
install(FILES ${PROJECT_SOURCE_DIR}/completions/vexdepcheck DESTINATION ${VEXDEP_COMPLETIONSDIR})
if(TARGET vexinspect)
  install(FILES ${PROJECT_SOURCE_DIR}/completions/vexinspect DESTINATION ${VEXDEP_COMPLETIONSDIR})
endif()
file(GLOB VEXDEP_DOCS ${PROJECT_SOURCE_DIR}/docs/*.md)
set(VEXDEP_DOCUMENTS ${PROJECT_SOURCE_DIR}/README.md ${VEXDEP_DOCS} ${PROJECT_SOURCE_DIR}/packaging/copyright
                     ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
install(CODE "
  set(VEXDEP_SOURCE_DIR \"${PROJECT_SOURCE_DIR}\")
  set(VEXDEP_STAGING_DIR \"${PROJECT_BINARY_DIR}/install-staging\")
  set(VEXDEP_VERSION \"${PROJECT_VERSION}\")
  set(VEXDEP_DOCUMENTS \"${VEXDEP_DOCUMENTS}\")
  set(VEXDEP_MAN_PAGES \"${VEXDEP_MAN_PAGES}\")
  set(VEXDEP_MANDIR \"${CMAKE_INSTALL_MANDIR}\")
  set(VEXDEP_DOCDIR \"${CMAKE_INSTALL_DOCDIR}\")
  set(VEXDEP_COMPLETIONSDIR \"${VEXDEP_COMPLETIONSDIR}\")
  include(\"${PROJECT_SOURCE_DIR}/cmake/InstallDocuments.cmake\")")
# The JSON Schemas of vexinspect's JSON output: data that validators read,
# so never compressed.
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
# Installs into the staging root through DESTDIR with the prefix /usr, so
# that the install-time prefix, which the pages name, is the installed one.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
include(CPack)
