# SPDX-License-Identifier: Apache-2.0
# The three libraries that a device supplies, as the targets pexo::qmx, pexo::log and pexo::snpe.
# Host: our own stand-ins. Device: the vendors' libraries, from QMX_ROOT, PEXOLOG_ROOT and SNPE_ROOT.

set(SNPE_ROOT "" CACHE PATH "Root of the inference engine's SDK; empty: our own declarations")
set(QMX_ROOT "" CACHE PATH "Root of the image library, with lib/libqmx_cv.so")
set(PEXOLOG_ROOT "" CACHE PATH "Root of the log library, with lib/libpexolog.so")

# pexo_<name>_headers: what src/ compiles against. pexo::<name>: the same and the library to link.
foreach(name IN ITEMS qmx log snpe)
  add_library(pexo_${name}_headers INTERFACE)
  target_include_directories(pexo_${name}_headers INTERFACE "${PROJECT_SOURCE_DIR}/platform/${name}/include")
endforeach()
if(SNPE_ROOT)
  set_target_properties(pexo_snpe_headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${SNPE_ROOT}/include/zdl")
endif()

function(pexo_device_library name root file)
  add_library(pexo_${name}_device INTERFACE)
  target_link_libraries(pexo_${name}_device INTERFACE pexo_${name}_headers "${file}")
  if(root)
    target_link_directories(pexo_${name}_device INTERFACE "${root}/lib" "${root}/lib/aarch64-android")
  endif()
  add_library(pexo::${name} ALIAS pexo_${name}_device)
endfunction()

if(PEXO_HOST_STAND_INS)
  add_subdirectory(platform/qmx)
  add_subdirectory(platform/log)
  add_subdirectory(platform/snpe)
else()
  pexo_device_library(qmx "${QMX_ROOT}" -lqmx_cv)
  pexo_device_library(log "${PEXOLOG_ROOT}" -lpexolog)
  pexo_device_library(snpe "${SNPE_ROOT}" -lSNPE)
endif()
