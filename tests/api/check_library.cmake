# SPDX-License-Identifier: Apache-2.0
# cmake -DLIBRARY=... -DNM=... -DREADELF=... -P check_library.cmake: the product exports nine functions and nothing else,
# and asks the loader for the three platform libraries by the device's names.
foreach(command IN ITEMS "${NM};-D;--defined-only;--format=posix" "${READELF};-d")
  execute_process(COMMAND ${command} "${LIBRARY}" OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(APPEND outputs "${output}")
endforeach()

string(REGEX MATCHALL "(^|\n)[A-Za-z_0-9]+[@A-Za-z_0-9.]* [A-Za-z] " exports "${outputs}")
list(TRANSFORM exports STRIP)
list(TRANSFORM exports REPLACE " .*" "")
list(SORT exports)
set(expected
    pexoHumanBodyGetExecuteTime pexoHumanBodySegCreate pexoHumanBodySegDestroy pexoHumanBodySegGetVersion
    pexoHumanBodySegInit pexoHumanBodySegProcess pexoHumanBodySegSetLogLevel pexoHumanBodySegSetParam
    pexoHumanBodySegUninit)
if(NOT exports STREQUAL expected)
  message(SEND_ERROR "exports: ${exports}")
endif()

foreach(needed IN ITEMS libSNPE.so libqmx_cv.so libpexolog.so)
  if(NOT outputs MATCHES "\\(NEEDED\\)[^\n]*\\[${needed}\\]")
    message(SEND_ERROR "${needed} is not needed")
  endif()
endforeach()
if(NOT outputs MATCHES "\\(SONAME\\)[^\n]*\\[libpexohumanbodyseg.so\\]")
  message(SEND_ERROR "another name than libpexohumanbodyseg.so")
endif()
