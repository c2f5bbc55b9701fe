# SPDX-License-Identifier: Apache-2.0
# Settings shared by every target of ours: language level, warnings, sanitizers, where the products go.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# The libraries and the programs lie side by side in the build folder and find each other there. RUNPATH, so that
# LD_LIBRARY_PATH can put another library of the same name in front.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")
set(CMAKE_BUILD_RPATH "$ORIGIN")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# Nothing tells where it was built.
add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
# All that is relocated becomes read-only before anything runs; programs can be loaded anywhere.
add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack,-z,text)
include(CheckPIESupported)
check_pie_supported()

set(PEXO_SANITIZE "" CACHE STRING "Sanitizers for every target, as in -fsanitize=")

if(ANDROID)
  set(pexo_computer OFF)
else()
  set(pexo_computer ON)
endif()
option(PEXO_HOST_STAND_INS "Build the engine, the image library and the log library for a computer" ${pexo_computer})
option(PEXO_BUILD_TESTS "Build the tests" ${pexo_computer})
option(PEXO_BUILD_BENCH "Build the benches" ${pexo_computer})
option(PEXO_BUILD_LIVE "Build the live camera of the program portrait; needs libpipewire" ON)
set(PEXO_BUILD_GST AUTO CACHE STRING "Build the GStreamer element: ON, OFF, or AUTO, where there is GStreamer")
# scripts/pack-models packs the containers: the target `models`, or the first of the tests.
set(PEXO_MODELS_DIR "${CMAKE_BINARY_DIR}/models" CACHE PATH
    "Where MoviePortraitBig.dlc, MoviePortraitSmall.dlc and MoviePortraitSmallWide.dlc are, for tests and to install")

add_library(pexo_options INTERFACE)
# Contraction to fused multiply-add would make float results differ between x86 and Arm.
target_compile_options(pexo_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wundef -Wcast-qual -ffp-contract=off
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  # Clang counts what the macros of C libraries become as ours; gcc still tells of such things where we write them.
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-c99-extensions -Wno-gnu-statement-expression>)
if(PEXO_SANITIZE)
  add_compile_options(-fsanitize=${PEXO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${PEXO_SANITIZE})
endif()
