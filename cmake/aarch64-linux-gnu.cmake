# Cross build for 64-bit ARM with Debian's cross compiler and the :arm64
# development packages (multi-architecture), run through qemu-user:
#   cmake -S . -B build-aarch64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
# The emulator needs no kernel registration; CTest and the test discovery call it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
# The programs load the multi-architecture C library (libc6:arm64, which the
# :arm64 packages bring): the cross toolchain's own copy hangs in pthread_create
# under this qemu.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /)

# Libraries and packages for the target only: its multi-architecture directories.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /usr/lib/aarch64-linux-gnu /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian's arm64 OpenCVConfig.cmake comes with libopencv-dev:arm64, which cannot
# be installed beside the native libopencv-dev; the module packages can, and a
# small package file of our own makes targets of their libraries.
set(OpenCV_DIR ${CMAKE_CURRENT_LIST_DIR}/aarch64 CACHE PATH "OpenCV for the cross build")
