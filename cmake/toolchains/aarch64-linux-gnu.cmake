# Cross toolchain: Linux/aarch64 (little-endian), GNU cross g++ from Debian,
# tests run through qemu-user.
#
#   scripts/prepare-cross.sh arm64      # cross g++, qemu, target libraries
#   cmake -S . -B build/cross/arm64/build \
#         -DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/toolchains/aarch64-linux-gnu.cmake
#
# Everything but the names below is shared: see cross-common.cmake.
set(NAVREQ_CROSS_ARCH      arm64)
set(NAVREQ_CROSS_TRIPLET   aarch64-linux-gnu)
set(NAVREQ_CROSS_PROCESSOR aarch64)

include("${CMAKE_CURRENT_LIST_DIR}/cross-common.cmake")
