# SPDX-License-Identifier: Apache-2.0
# pexo_test(NAME SOURCES a.cpp ... [LIBRARIES target ...] [LABELS label ...] [TIMEOUT seconds] [SHORT cases] [COMPUTES]):
# a GoogleTest program, run as one ctest case. Where it takes long under emulation, SHORT names the cases that are worth
# their time there, as for --gtest_filter; "-*" for none. COMPUTES: its own code is optimised.

find_package(GTest REQUIRED)
find_program(PEXO_FFMPEG ffmpeg REQUIRED)
find_program(PEXO_FFPROBE ffprobe REQUIRED)
find_file(PEXO_PHOTOGRAPH grace_hopper.jpg PATHS /usr/share/matplotlib/mpl-data/sample_data REQUIRED
          NO_CMAKE_FIND_ROOT_PATH)

set(PEXO_TEST_PREFIX "" CACHE STRING "Put before the names of the tests, to tell builds apart in one ctest run")
option(PEXO_LONG_TESTS "Also the tests that take minutes under emulation" ON)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  set(PEXO_SLOWNESS 20)  # how many times longer the tests may take
else()
  set(PEXO_SLOWNESS 1)
endif()
add_custom_target(pexo_tests)  # all the programs that ctest runs

# What all tests have in common.
add_library(pexo_test_options INTERFACE)
target_link_libraries(pexo_test_options INTERFACE GTest::gtest_main pexo_options)
target_compile_options(pexo_test_options INTERFACE -pthread)
target_compile_definitions(pexo_test_options INTERFACE PEXO_SLOWNESS=${PEXO_SLOWNESS})
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

# The longest ones, from the shortest of them up. They begin before the others, the longest first, so that none is left
# over to run alone.
set(pexo_longest_tests test_background_blur test_compositor_pictures test_gst_film test_gst_element test_live_privacy
                       test_live_pipewire test_golden_frames test_portrait_pictures test_gst_privacy test_effects
                       test_portrait_films)

function(pexo_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "COMPUTES" "TIMEOUT;SHORT" "SOURCES;LIBRARIES;LABELS")
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
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  math(EXPR arg_TIMEOUT "${PEXO_SLOWNESS} * ${arg_TIMEOUT}")
  set(test "${PEXO_TEST_PREFIX}${name}")
  add_test(NAME ${test} COMMAND ${name} "--gtest_filter=${arg_SHORT}")
  list(FIND pexo_longest_tests ${name} cost)
  math(EXPR cost "${cost} + 1")
  # An allocation that is too large has to fail, not to end the test.
  set_tests_properties(${test} PROPERTIES COST ${cost} TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}" ENVIRONMENT
    "ASAN_OPTIONS=allocator_may_return_null=1;TSAN_OPTIONS=allocator_may_return_null=1;UBSAN_OPTIONS=print_stacktrace=1")
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
