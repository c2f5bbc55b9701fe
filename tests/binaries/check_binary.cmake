# SPDX-License-Identifier: Apache-2.0
# cmake -DFILE=... -DSONAME=<regex> -DEXPORTS=<regexes> -DNEEDED=<regexes> -DFOLDERS=... -DNM=... -DREADELF=... -P ...:
# what a library or program of ours asks of the loader and shows to others is what is listed, no more and no less; after
# loading nothing in it is writable that need not be, and it does not tell where it was built.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${READELF}" --wide --file-header --program-headers --dynamic "${FILE}"
                OUTPUT_VARIABLE elf COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${NM}" --dynamic --defined-only --format=posix "${FILE}"
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)

# Every one of `found` must match one of the regexes, and every regex one of them.
function(expect_exactly what found regexes)
  set(unmatched "${regexes}")
  foreach(name IN LISTS found)
    set(expected FALSE)
    foreach(regex IN LISTS regexes)
      if(name MATCHES "^(${regex})$")
        set(expected TRUE)
        list(REMOVE_ITEM unmatched "${regex}")
      endif()
    endforeach()
    if(NOT expected)
      message(SEND_ERROR "${what}: ${name}, which is not listed")
    endif()
  endforeach()
  if(unmatched)
    message(SEND_ERROR "${what}: no ${unmatched}")
  endif()
endfunction()

# Left out: what the linker defines, variables of other libraries that a program holds (their names have versions), and
# the inline parts of the standard library.
string(REGEX MATCHALL "(^|\n)[^ \n]+ [A-Za-z] " exports "${symbols}")
list(TRANSFORM exports REPLACE "\n?([^ ]+) .*" "\\1")
list(FILTER exports EXCLUDE REGEX "@|^(_edata|_end|__end__|_?_?bss_(start|end)_?_?)$|^_Z(T[ISV]|Z?NK?)?S[ta]")
expect_exactly("exports" "${exports}" "${EXPORTS}")

foreach(entry IN ITEMS NEEDED SONAME)
  string(REGEX MATCHALL "\\(${entry}\\)[^\n]*\\[[^]\n]*\\]" lines "${elf}")
  list(TRANSFORM lines REPLACE ".*\\[(.*)\\]" "\\1")
  if(entry STREQUAL "NEEDED")
    list(FILTER lines EXCLUDE REGEX "^(libstdc\\+\\+|libm|libgcc_s|libc|ld-linux-.*)\\.so\\.[0-9]+$")
  endif()
  expect_exactly("${entry}" "${lines}" "${${entry}}")
endforeach()

# Position independent, relocated in full before it runs and read-only from then on, data and stack without code.
foreach(line IN ITEMS "Type: +DYN " "\n +GNU_RELRO " "\\(FLAGS\\)[^\n]*BIND_NOW" "\n +GNU_STACK [^\n]* RW ")
  if(NOT elf MATCHES "${line}")
    message(SEND_ERROR "no line like ${line}")
  endif()
endforeach()
foreach(line IN ITEMS "TEXTREL" "\n +LOAD [^\n]* RWE ")
  if(elf MATCHES "${line}")
    message(SEND_ERROR "a line like ${line}")
  endif()
endforeach()

foreach(folder IN LISTS FOLDERS)
  execute_process(COMMAND grep --quiet --text --fixed-strings "${folder}" "${FILE}" RESULT_VARIABLE result)
  if(NOT result EQUAL 1)
    message(SEND_ERROR "${folder} is named inside")
  endif()
endforeach()
