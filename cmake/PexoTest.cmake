# SPDX-License-Identifier: Apache-2.0
# pexo_test(NAME SOURCES a.cpp ... [LIBRARIES target ...] [LABELS label ...] [SHORT cases] [COMPUTES]): a GoogleTest
# program, each case of which is a test of ctest's. Where it takes long under emulation, SHORT names the cases that are
# worth their time there, as for --gtest_filter; "-*" for none. COMPUTES: its own code is optimised.

include(GoogleTest)
find_package(GTest REQUIRED)
find_program(PEXO_FFMPEG ffmpeg REQUIRED)
find_program(PEXO_FFPROBE ffprobe REQUIRED)
find_file(PEXO_PHOTOGRAPH grace_hopper.jpg PATHS /usr/share/matplotlib/mpl-data/sample_data REQUIRED
          NO_CMAKE_FIND_ROOT_PATH)

set(PEXO_TEST_PREFIX "" CACHE STRING "Put before the names of the tests, to tell builds apart in one ctest run")
option(PEXO_LONG_TESTS "Also the tests that take minutes under emulation" ON)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  set(pexo_slowness 20)
elseif(PEXO_SANITIZE)
  set(pexo_slowness 5)
else()
  set(pexo_slowness 1)
endif()
set(PEXO_SLOWNESS ${pexo_slowness} CACHE STRING "How many times longer than on a computer of its own a test may take")
math(EXPR pexo_time_limit "600 + 300 * ${PEXO_SLOWNESS}")  # seconds; for tests that hang, not for slow ones
add_custom_target(pexo_tests)  # all the programs that ctest runs

# What all tests have in common.
add_library(pexo_test_options INTERFACE)
target_link_libraries(pexo_test_options INTERFACE GTest::gtest_main pexo_options)
target_compile_options(pexo_test_options INTERFACE -pthread)
target_compile_definitions(pexo_test_options INTERFACE
  PEXO_SLOWNESS=${PEXO_SLOWNESS} PEXO_EMULATED=$<BOOL:${CMAKE_CROSSCOMPILING_EMULATOR}>)
if(PEXO_SANITIZE)
  # Undefined behaviour is looked for in what they test. Memory, too, in what they hand to it.
  target_compile_options(pexo_test_options INTERFACE -fno-sanitize=undefined)
endif()
# Most tests take longer to compile than to run, and GoogleTest's header alone would be a third of it.
file(CONFIGURE OUTPUT test_header.cpp CONTENT "int main() {}\n")
add_executable(pexo_test_header EXCLUDE_FROM_ALL "${CMAKE_CURRENT_BINARY_DIR}/test_header.cpp")
target_link_libraries(pexo_test_header PRIVATE pexo_test_options)
target_compile_options(pexo_test_header PRIVATE -O0)
target_precompile_headers(pexo_test_header PRIVATE <gtest/gtest.h>)

# Slowest tests, ascending. They begin before the others, the slowest first, so that none is left over to run alone.
set(pexo_longest_tests test_background_blur test_compositor_pictures test_gst_film test_gst_element test_live_privacy
                       test_live_pipewire test_golden_frames test_portrait_pictures test_gst_privacy test_effects
                       test_portrait_films)

function(pexo_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "COMPUTES" "SHORT" "SOURCES;LIBRARIES;LABELS")
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} pexo_test_options)
  if(NOT arg_COMPUTES)
    target_compile_options(${name} PRIVATE -O0)
    target_precompile_headers(${name} REUSE_FROM pexo_test_header)
  endif()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests"
                                           BUILD_RPATH "$ORIGIN/..")
  if(PEXO_LONG_TESTS OR NOT arg_SHORT)
    set(arg_SHORT "*")
  elseif(arg_SHORT STREQUAL "-*")
    return()
  endif()
  add_dependencies(pexo_tests ${name})
  list(FIND pexo_longest_tests ${name} cost)
  math(EXPR cost "${cost} + 1")
  # An allocation that is too large has to fail, not to end the test.
  set(environment "")
  if(PEXO_SANITIZE MATCHES "thread")
    set(environment ENVIRONMENT TSAN_OPTIONS=allocator_may_return_null=1)
  elseif(PEXO_SANITIZE MATCHES "address")
    set(environment ENVIRONMENT ASAN_OPTIONS=allocator_may_return_null=1)
  endif()
  gtest_discover_tests(${name} NO_PRETTY_VALUES TEST_PREFIX "${PEXO_TEST_PREFIX}${name}." TEST_FILTER "${arg_SHORT}"
                       DISCOVERY_TIMEOUT ${pexo_time_limit}
                       PROPERTIES COST ${cost} TIMEOUT ${pexo_time_limit} LABELS "${arg_LABELS}"
                                  FIXTURES_REQUIRED "${PEXO_TEST_PREFIX}models" ${environment})
endfunction()

# pexo_test_runs(VARIABLE TARGET): what the tests call to run this program of ours, in the emulator where there is one.
function(pexo_test_runs variable target)
  set(program "$<TARGET_FILE:${target}>")
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
    file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/tests/emulated/${target}"
         CONTENT "#!/bin/sh\nexec '${emulator}' '${program}' \"$@\"\n"
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    set(program "${CMAKE_BINARY_DIR}/tests/emulated/${target}")
  endif()
  set(${variable} "${program}" PARENT_SCOPE)
endfunction()
