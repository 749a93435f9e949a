# Cross toolchain: Linux/s390x (big-endian), GNU cross g++ from Debian,
# tests run through qemu-user.
#
#   scripts/prepare-cross.sh s390x      # cross g++, qemu, target libraries
#   cmake -S . -B build/cross/s390x/build \
#         -DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/toolchains/s390x-linux-gnu.cmake
#
# Everything but the names below is shared: see cross-common.cmake.
set(NAVREQ_CROSS_ARCH      s390x)
set(NAVREQ_CROSS_TRIPLET   s390x-linux-gnu)
set(NAVREQ_CROSS_PROCESSOR s390x)

include("${CMAKE_CURRENT_LIST_DIR}/cross-common.cmake")
