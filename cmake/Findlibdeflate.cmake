# Finds libdeflate (Debian package libdeflate-dev, which ships no CMake
# package of its own) and defines the imported target libdeflate::libdeflate.
#
# Used by the build and installed beside navreqConfig.cmake, so that a
# consumer of a libdeflate build finds the library on its own machine: the
# installed files name the target, never a path of the build machine.
#
#   libdeflate_FOUND, libdeflate_INCLUDE_DIR, libdeflate_LIBRARY
include_guard(GLOBAL)

find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(PC_libdeflate QUIET libdeflate)
endif()

find_path(libdeflate_INCLUDE_DIR libdeflate.h HINTS ${PC_libdeflate_INCLUDE_DIRS})
find_library(libdeflate_LIBRARY NAMES deflate libdeflate HINTS ${PC_libdeflate_LIBRARY_DIRS})
mark_as_advanced(libdeflate_INCLUDE_DIR libdeflate_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(libdeflate REQUIRED_VARS libdeflate_LIBRARY libdeflate_INCLUDE_DIR
                                  VERSION_VAR PC_libdeflate_VERSION)

if(libdeflate_FOUND AND NOT TARGET libdeflate::libdeflate)
  add_library(libdeflate::libdeflate UNKNOWN IMPORTED)
  set_target_properties(libdeflate::libdeflate PROPERTIES
    IMPORTED_LOCATION "${libdeflate_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${libdeflate_INCLUDE_DIR}")
endif()
