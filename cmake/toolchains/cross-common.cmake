# Shared part of the cross toolchains in this folder, included by each
# <triplet>.cmake after it has set:
#   NAVREQ_CROSS_ARCH       Debian architecture name (folder names, prepare-cross.sh)
#   NAVREQ_CROSS_TRIPLET    GNU triplet of the cross g++ and the target libraries
#   NAVREQ_CROSS_PROCESSOR  CMAKE_SYSTEM_PROCESSOR, also the qemu-user suffix
#
# Target libraries (zlib, nanopb, GoogleTest, header-only deps) are looked up
# only in NAVREQ_TARGET_ROOT (cache/env variable; default:
# <repo>/build/cross/<arch>/root, filled by prepare-cross.sh), never in the
# host's /usr.
foreach(_navreq_var NAVREQ_CROSS_ARCH NAVREQ_CROSS_TRIPLET NAVREQ_CROSS_PROCESSOR)
  if(NOT ${_navreq_var})
    message(FATAL_ERROR "${_navreq_var} must be set before including cross-common.cmake")
  endif()
endforeach()

set(CMAKE_SYSTEM_NAME      Linux)
set(CMAKE_SYSTEM_PROCESSOR ${NAVREQ_CROSS_PROCESSOR})
set(CMAKE_LIBRARY_ARCHITECTURE ${NAVREQ_CROSS_TRIPLET})

set(CMAKE_C_COMPILER   ${NAVREQ_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${NAVREQ_CROSS_TRIPLET}-g++)

# ---- target folder (this file is read again by every try_compile project,
# where CMAKE_SOURCE_DIR and the cache differ: resolve from this file's own
# location and hand the value down through the environment too)
if(NAVREQ_TARGET_ROOT)
  set(_navreq_root "${NAVREQ_TARGET_ROOT}")
elseif(NOT "$ENV{NAVREQ_TARGET_ROOT}" STREQUAL "")
  set(_navreq_root "$ENV{NAVREQ_TARGET_ROOT}")
else()
  set(_navreq_root "${CMAKE_CURRENT_LIST_DIR}/../../build/cross/${NAVREQ_CROSS_ARCH}/root")
endif()
get_filename_component(_navreq_root "${_navreq_root}" ABSOLUTE)
set(NAVREQ_TARGET_ROOT "${_navreq_root}" CACHE PATH
    "Folder holding the unpacked ${NAVREQ_CROSS_ARCH} libraries (see scripts/prepare-cross.sh)")
set(ENV{NAVREQ_TARGET_ROOT} "${_navreq_root}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NAVREQ_TARGET_ROOT)
if(NOT EXISTS "${_navreq_root}/usr/lib/${NAVREQ_CROSS_TRIPLET}")
  message(WARNING "NAVREQ_TARGET_ROOT=${_navreq_root} has no usr/lib/${NAVREQ_CROSS_TRIPLET}: "
                  "run scripts/prepare-cross.sh ${NAVREQ_CROSS_ARCH} first")
endif()

# ---- where find_* look: the target folder, then the cross libc folder;
# programs (python3, protoc, nanopb generator) come from the host.
set(CMAKE_FIND_ROOT_PATH "${_navreq_root}" "/usr/${NAVREQ_CROSS_TRIPLET}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config, if a project uses it, must read the target's .pc files
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${_navreq_root}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${_navreq_root}/usr/lib/${NAVREQ_CROSS_TRIPLET}/pkgconfig:${_navreq_root}/usr/share/pkgconfig")

# ---- running target binaries (ctest, gtest_discover_tests, try_run)
find_program(NAVREQ_QEMU qemu-${NAVREQ_CROSS_PROCESSOR})
if(NOT NAVREQ_QEMU)
  set(NAVREQ_QEMU qemu-${NAVREQ_CROSS_PROCESSOR})
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR
    "${NAVREQ_QEMU}"
    -L "/usr/${NAVREQ_CROSS_TRIPLET}"
    -E "LD_LIBRARY_PATH=${_navreq_root}/usr/lib/${NAVREQ_CROSS_TRIPLET}:${_navreq_root}/lib/${NAVREQ_CROSS_TRIPLET}")
