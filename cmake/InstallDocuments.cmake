# Installs the manual pages and the documents, run by `cmake --install` and
# by CPack at install time, so that every path written into them follows the
# prefix the files are installed under (CMAKE_INSTALL_PREFIX as it is then).
#
# Set by the caller: VEXDEP_SOURCE_DIR, VEXDEP_STAGING_DIR (a directory of
# the build tree), VEXDEP_VERSION, VEXDEP_DOCUMENTS (documents, in the order
# they are installed), VEXDEP_MAN_PAGES (page=source entries of docs/man/),
# VEXDEP_MANDIR, VEXDEP_DOCDIR, VEXDEP_COMPLETIONSDIR
# (relative to the prefix, or absolute).
#
# Documents over 4 KiB are compressed (gzip -9n, reproducible), as Debian
# ships them; manual pages always are.

function(vexdep_full_path out dir)
  if(IS_ABSOLUTE "${dir}")
    set(${out} "${dir}" PARENT_SCOPE)
  else()
    set(${out} "${CMAKE_INSTALL_PREFIX}/${dir}" PARENT_SCOPE)
  endif()
endfunction()

function(vexdep_gzip file)
  execute_process(COMMAND gzip -9nf "${file}" RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "gzip could not compress ${file} (${status})")
  endif()
endfunction()

vexdep_full_path(DOCDIR "${VEXDEP_DOCDIR}")
vexdep_full_path(COMPLETIONSDIR "${VEXDEP_COMPLETIONSDIR}")
vexdep_full_path(MANDIR "${VEXDEP_MANDIR}")

set(stage "${VEXDEP_STAGING_DIR}")
file(REMOVE_RECURSE "${stage}")
file(MAKE_DIRECTORY "${stage}/doc" "${stage}/man")

# The documents; the installed name of diagnostics.md is named in a page.
set(installed_documents)
foreach(document IN LISTS VEXDEP_DOCUMENTS)
  get_filename_component(name "${document}" NAME)
  file(COPY "${document}" DESTINATION "${stage}/doc")
  file(SIZE "${stage}/doc/${name}" size)
  if(size GREATER 4096 AND NOT name MATCHES "\\.gz$")
    vexdep_gzip("${stage}/doc/${name}")
    set(name "${name}.gz")
  endif()
  list(APPEND installed_documents "${stage}/doc/${name}")
  if(document MATCHES "/diagnostics\\.md$")
    set(DIAGNOSTICS_DOC "${DOCDIR}/${name}")
  endif()
  if(document MATCHES "/planning\\.md$")
    set(PLANNING_DOC "${DOCDIR}/${name}")
  endif()
endforeach()
file(INSTALL ${installed_documents} DESTINATION "${DOCDIR}")

# The manual pages, filled in with the version and the installed paths.
set(VERSION "${VEXDEP_VERSION}")
# Paths in roff: a hyphen is written as an escaped one.
foreach(name COMPLETIONSDIR DIAGNOSTICS_DOC PLANNING_DOC)
  string(REPLACE "-" "\\-" ${name} "${${name}}")
endforeach()
set(installed_pages)
foreach(entry IN LISTS VEXDEP_MAN_PAGES)
  string(REPLACE "=" ";" entry_parts "${entry}")
  list(GET entry_parts 0 page)
  list(GET entry_parts 1 source)
  # The source pages name the version-less title and the default paths (so
  # that `man -l docs/man/PAGE.8` reads well in a checkout); installed, they
  # name the version and the paths of this installation.
  file(READ "${VEXDEP_SOURCE_DIR}/docs/man/${source}" text)
  string(REPLACE "\"vexdepcheck\" \"System Manager's Manual\"" "\"vexdepcheck ${VERSION}\" \"System Manager's Manual\""
                 text "${text}")
  string(REPLACE "/usr/share/bash\\-completion/completions" "${COMPLETIONSDIR}" text "${text}")
  string(REPLACE "/usr/share/doc/vexdepcheck/diagnostics.md.gz" "${DIAGNOSTICS_DOC}" text "${text}")
  string(REPLACE "/usr/share/doc/vexdepcheck/planning.md.gz" "${PLANNING_DOC}" text "${text}")
  file(WRITE "${stage}/man/${page}.8" "${text}")
  vexdep_gzip("${stage}/man/${page}.8")
  list(APPEND installed_pages "${stage}/man/${page}.8.gz")
endforeach()
file(INSTALL ${installed_pages} DESTINATION "${MANDIR}/man8")
