# SPDX-License-Identifier: Apache-2.0
# pexo_test(NAME SOURCES a.cpp ... [LIBRARIES target ...] [LABELS label ...]): a GoogleTest program, run as one ctest case.

if(CMAKE_CROSSCOMPILING)
  # Debian's googletest sources, built for the target.
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
  set_target_properties(gtest gtest_main PROPERTIES COMPILE_WARNING_AS_ERROR OFF)
else()
  find_package(GTest REQUIRED)
endif()

set(PEXO_TEST_PREFIX "" CACHE STRING "Put before the names of the tests, to tell builds apart in one ctest run")

function(pexo_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS")
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest_main pexo_options)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests"
                                           BUILD_RPATH "$ORIGIN/..")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set(test "${PEXO_TEST_PREFIX}${name}")
  add_test(NAME ${test} COMMAND ${name})
  # An allocation that is too large has to fail, not to end the test.
  set_tests_properties(${test} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}" ENVIRONMENT
    "ASAN_OPTIONS=allocator_may_return_null=1;TSAN_OPTIONS=allocator_may_return_null=1;UBSAN_OPTIONS=print_stacktrace=1")
endfunction()
