# SPDX-License-Identifier: Apache-2.0
# For compiling the core as the NDK would, without an NDK: clang for an Android target and the headers of libc++ that
# scripts/arm64-sysroot brings, with glibc's in the place of bionic's. Nothing can be linked.
#
# The NDK's libc++, up to release 25, is a snapshot of April 2020, which had C++17's library and little of C++20's. The
# one in use here is newer, so it is held to C++17.
get_filename_component(sysroot "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-arm64" ABSOLUTE)
file(GLOB libcxx "${sysroot}/usr/lib/llvm-*/include/c++/v1")
if(NOT libcxx)
  message(FATAL_ERROR "There is no libc++ in ${sysroot}: scripts/arm64-sysroot makes it")
endif()
set(CMAKE_SYSTEM_NAME Linux)  # the name Android would make CMake look for an NDK
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_SYSROOT "${sysroot}")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
foreach(language IN ITEMS C CXX)
  set(CMAKE_${language}_COMPILER_TARGET aarch64-linux-android26)
  set(CMAKE_${language}_FLAGS_INIT "-isystem ${sysroot}/usr/include/aarch64-linux-gnu")
endforeach()
string(PREPEND CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${libcxx} -D_LIBCPP_STD_VER=17 ")
