# The portable checker's libxml2 (VEXDEP_PORTABLE): built from Debian's own
# source package of the installed libxml2 (Debian's patches applied), as a
# static library without ICU, Python, network code, dynamic modules and the
# parts no reader of the checker uses (catalogs, debugging, DocBook, legacy
# interfaces, the reader and writer interfaces, schemas, Schematron,
# XInclude, canonicalization), with
# zlib and liblzma kept so that compressed documents are still read. The
# source is fetched and unpacked once into the build tree
# (_deps/libxml2-src) by packaging/portable/fetch-libxml2-source.sh, through
# a private apt configuration; a rebuild does not download it again.
#
# Defines the interface library vexdep_libxml2_portable: the headers and
# the archives of libxml2, zlib and liblzma.

include(ExternalProject)

set(VEXDEP_PORTABLE_DEPS ${CMAKE_BINARY_DIR}/_deps)
set(VEXDEP_LIBXML2_SOURCE ${VEXDEP_PORTABLE_DEPS}/libxml2-src)
set(VEXDEP_LIBXML2_PREFIX ${VEXDEP_PORTABLE_DEPS}/libxml2-install)

if(NOT EXISTS ${VEXDEP_LIBXML2_SOURCE}/CMakeLists.txt)
  message(STATUS "Fetching Debian's libxml2 source package into ${VEXDEP_LIBXML2_SOURCE}")
  execute_process(
    COMMAND ${PROJECT_SOURCE_DIR}/packaging/portable/fetch-libxml2-source.sh ${VEXDEP_PORTABLE_DEPS}/fetch
            ${VEXDEP_LIBXML2_SOURCE}
    RESULT_VARIABLE _vexdep_fetch_rc)
  if(NOT _vexdep_fetch_rc EQUAL 0)
    message(FATAL_ERROR "VEXDEP_PORTABLE: the libxml2 source package could not be fetched (see above)")
  endif()
endif()

find_library(VEXDEP_PORTABLE_LIBZ NAMES libz.a)
find_library(VEXDEP_PORTABLE_LIBLZMA NAMES liblzma.a)
if(NOT VEXDEP_PORTABLE_LIBZ OR NOT VEXDEP_PORTABLE_LIBLZMA)
  message(FATAL_ERROR "VEXDEP_PORTABLE needs the static archives of zlib and liblzma "
                      "(Debian packages zlib1g-dev and liblzma-dev; make deps installs them)")
endif()

ExternalProject_Add(libxml2_portable
  SOURCE_DIR ${VEXDEP_LIBXML2_SOURCE}
  BINARY_DIR ${VEXDEP_PORTABLE_DEPS}/libxml2-build
  INSTALL_DIR ${VEXDEP_LIBXML2_PREFIX}
  CMAKE_ARGS
    -DCMAKE_INSTALL_PREFIX=<INSTALL_DIR>
    -DCMAKE_INSTALL_LIBDIR=lib
    -DCMAKE_BUILD_TYPE=Release
    -DCMAKE_POSITION_INDEPENDENT_CODE=OFF
    "-DCMAKE_C_FLAGS=-ffunction-sections -fdata-sections"
    -DBUILD_SHARED_LIBS=OFF
    -DLIBXML2_WITH_ICU=OFF
    -DLIBXML2_WITH_PYTHON=OFF
    -DLIBXML2_WITH_HTTP=OFF
    -DLIBXML2_WITH_FTP=OFF
    -DLIBXML2_WITH_MODULES=OFF
    -DLIBXML2_WITH_PROGRAMS=OFF
    -DLIBXML2_WITH_TESTS=OFF
    -DLIBXML2_WITH_CATALOG=OFF
    -DLIBXML2_WITH_DEBUG=OFF
    -DLIBXML2_WITH_DOCB=OFF
    -DLIBXML2_WITH_LEGACY=OFF
    -DLIBXML2_WITH_READER=OFF
    -DLIBXML2_WITH_WRITER=OFF
    -DLIBXML2_WITH_SCHEMAS=OFF
    -DLIBXML2_WITH_SCHEMATRON=OFF
    -DLIBXML2_WITH_XINCLUDE=OFF
    -DLIBXML2_WITH_C14N=OFF
    -DLIBXML2_WITH_ZLIB=ON
    -DLIBXML2_WITH_LZMA=ON
  BUILD_BYPRODUCTS ${VEXDEP_LIBXML2_PREFIX}/lib/libxml2.a
  LOG_CONFIGURE ON
  LOG_BUILD ON
  LOG_INSTALL ON
  LOG_OUTPUT_ON_FAILURE ON)

# The include directory must exist when the interface library is defined.
file(MAKE_DIRECTORY ${VEXDEP_LIBXML2_PREFIX}/include/libxml2)
add_library(vexdep_libxml2_portable INTERFACE)
add_dependencies(vexdep_libxml2_portable libxml2_portable)
target_include_directories(vexdep_libxml2_portable INTERFACE ${VEXDEP_LIBXML2_PREFIX}/include/libxml2)
target_compile_definitions(vexdep_libxml2_portable INTERFACE LIBXML_STATIC)
target_link_libraries(vexdep_libxml2_portable INTERFACE ${VEXDEP_LIBXML2_PREFIX}/lib/libxml2.a
                      ${VEXDEP_PORTABLE_LIBLZMA} ${VEXDEP_PORTABLE_LIBZ} Threads::Threads m ${CMAKE_DL_LIBS})
