# libxml2 from its static archives: the interface library
# vexdep_libxml2_static, and VEXDEP_HAVE_STATIC_LIBXML2 telling whether all
# the archives were found. The libraries that libxml2 needs come from its
# pkg-config description (Debian's libxml2 also needs ICU, zlib and liblzma).

find_package(PkgConfig QUIET)
set(VEXDEP_LIBXML2_STATIC_NAMES xml2 icui18n icuuc icudata z lzma m)
if(PKG_CONFIG_FOUND)
  execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --static --libs-only-l libxml-2.0
                  OUTPUT_VARIABLE _vexdep_libs OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE _vexdep_rc)
  if(_vexdep_rc EQUAL 0 AND _vexdep_libs)
    string(REPLACE "-l" "" _vexdep_libs "${_vexdep_libs}")
    separate_arguments(VEXDEP_LIBXML2_STATIC_NAMES UNIX_COMMAND "${_vexdep_libs}")
  endif()
endif()

set(VEXDEP_HAVE_STATIC_LIBXML2 ON)
set(_vexdep_archives)
foreach(name IN LISTS VEXDEP_LIBXML2_STATIC_NAMES)
  if(name STREQUAL "m")
    # The C library's maths stays shared, with the C library itself.
    list(APPEND _vexdep_archives m)
    continue()
  endif()
  find_library(VEXDEP_STATIC_${name} NAMES lib${name}.a)
  if(VEXDEP_STATIC_${name})
    list(APPEND _vexdep_archives ${VEXDEP_STATIC_${name}})
  else()
    set(VEXDEP_HAVE_STATIC_LIBXML2 OFF)
  endif()
endforeach()

add_library(vexdep_libxml2_static INTERFACE)
if(VEXDEP_HAVE_STATIC_LIBXML2)
  target_link_libraries(vexdep_libxml2_static INTERFACE ${_vexdep_archives} Threads::Threads ${CMAKE_DL_LIBS})
endif()
