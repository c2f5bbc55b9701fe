# SPDX-License-Identifier: Apache-2.0
# Where things are installed, and how they find each other there.
#
# The stand-ins carry the names of a device's libraries. They go into a folder of their own, outside the linker's and the
# loader's path, in which only libpexohumanbodyseg looks. Components: library, development, portrait, gstreamer.

include(GNUInstallDirs)

set(PEXO_INSTALL_PRIVATE_LIBDIR "${CMAKE_INSTALL_LIBDIR}/pexohumanbodyseg")
# The library takes paths of up to 127 characters, so below the prefix there are few.
set(PEXO_INSTALL_MODELS "${CMAKE_INSTALL_DATADIR}/pexohumanbodyseg/models")
set(PEXO_MODELS MoviePortraitBig.dlc MoviePortraitSmall.dlc MoviePortraitSmallWide.dlc)
if(PEXO_HOST_STAND_INS)
  # Before anything is installed.
  install(CODE "foreach(model IN ITEMS ${PEXO_MODELS})
  if(NOT EXISTS \"${PEXO_MODELS_DIR}/\${model}\")
    message(FATAL_ERROR \"The models are not packed, there is no ${PEXO_MODELS_DIR}/\${model}. This packs them:\n\"
      \"  cmake --build \\\"${CMAKE_BINARY_DIR}\\\" --target models\")
  endif()
endforeach()" COMPONENT portrait)
endif()

# Lets a program or a plugin find the libraries from the folder that it is installed into. Under /usr the loader does.
function(pexo_find_libraries_from folder target)
  set(path "")
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH path "${CMAKE_INSTALL_PREFIX}/${folder}" "${CMAKE_INSTALL_FULL_LIBDIR}")
    string(REGEX REPLACE "/$" "" path "$ORIGIN/${path}")
  endif()
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${path}")
endfunction()

# pexo_man_page(portrait-live "portrait live"): the page <name>.1 from what the program prints with --help.
# <name>.h2m, beside the CMakeLists.txt, adds the other sections.
find_program(PEXO_HELP2MAN help2man)
find_program(PEXO_GZIP gzip)
if(NOT PEXO_HELP2MAN OR NOT PEXO_GZIP)
  message(STATUS "No help2man or no gzip: the manual pages are left out")
endif()
function(pexo_man_page name program)
  if(NOT PEXO_HELP2MAN OR NOT PEXO_GZIP OR PEXO_SANITIZE OR (CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR))
    return()
  endif()
  string(REGEX MATCH "^[^ ]+" target "${program}")
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  set(page "${CMAKE_BINARY_DIR}/man/${name}.1")
  set(include "${CMAKE_CURRENT_SOURCE_DIR}/${name}.h2m")
  add_custom_command(
    OUTPUT "${page}.gz"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${CMAKE_BINARY_DIR}/man"
    COMMAND "${PEXO_HELP2MAN}" --no-info "--version-string=${name} ${PROJECT_VERSION}"
            "--include=${include}" "--output=${page}" "${emulator} ./${program}"
    COMMAND "${PEXO_GZIP}" -9nf "${page}"
    DEPENDS ${target} "${include}"
    WORKING_DIRECTORY "${CMAKE_BINARY_DIR}"
    VERBATIM)
  add_custom_target(man-${name} ALL DEPENDS "${page}.gz")
  install(FILES "${page}.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT portrait)
endfunction()
