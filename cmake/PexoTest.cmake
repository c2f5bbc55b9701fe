# pexo_test(NAME SOURCES a.cpp ... [LIBRARIES target ...] [LABELS label ...]): a GoogleTest program, run as one ctest case.

if(CMAKE_CROSSCOMPILING)
  # Debian's googletest sources, built for the target.
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
endif()

# The release build packs the containers (scripts/pack-models); builds with sanitizers use the same ones.
set(PEXO_MODELS_DIR "${CMAKE_SOURCE_DIR}/build/release/models" CACHE PATH "Where tests find MoviePortraitBig.dlc and MoviePortraitSmall.dlc")

function(pexo_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS")
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest_main pexo_options)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests"
                                           BUILD_RPATH "$ORIGIN/..")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
endfunction()
