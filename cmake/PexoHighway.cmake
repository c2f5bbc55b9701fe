# SPDX-License-Identifier: Apache-2.0
# pexo_highway: vector code that chooses its instruction set while it runs; for everything but src/.

find_path(HIGHWAY_INCLUDE_DIR hwy/highway.h REQUIRED)
find_library(HIGHWAY_LIBRARY hwy REQUIRED)

add_library(pexo_highway INTERFACE)
target_include_directories(pexo_highway SYSTEM INTERFACE "${HIGHWAY_INCLUDE_DIR}")
target_link_libraries(pexo_highway INTERFACE "${HIGHWAY_LIBRARY}")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  # NEON alone, with nothing to choose. In Debian 12 (Highway 1.0.3, gcc 12) SVE forms of qmxResize write wrong pixels and
  # SVE vectors cannot be in arrays; and the choice of NEON would want the processor to have AES, which many boards lack.
  target_compile_definitions(pexo_highway INTERFACE HWY_COMPILE_ONLY_STATIC)
endif()
