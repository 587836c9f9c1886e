# Holds a built file against what makes an attack on it harder.
cmake_minimum_required(VERSION 3.25)

execute_process(
  COMMAND "${READELF}" --dynamic --program-headers --dyn-syms --wide "${FILE}"
  OUTPUT_VARIABLE elf COMMAND_ERROR_IS_FATAL ANY)

function(need pattern lacking)
  if(NOT elf MATCHES "${pattern}")
    message(SEND_ERROR "${FILE}: ${lacking}")
  endif()
endfunction()

need("GNU_RELRO" "what the loader fills in stays writable")
need("FLAGS_1\\)[^\n]* NOW" "symbols are not bound at load")
need("GNU_STACK +[0-9a-fx ]+RW " "the stack is executable")
if(elf MATCHES "TEXTREL")
  message(SEND_ERROR "${FILE}: the code is not position independent")
endif()

# An empty entry is the current folder.
string(REGEX MATCH "(RPATH|RUNPATH)\\)[^[]*\\[([^\n]*)\\]" path "${elf}")
set(folders "${CMAKE_MATCH_2}")
if(IS_PROGRAM)
  if(path AND NOT "${folders}:" MATCHES "^(\\$ORIGIN(/[^:]*)?:)+$")
    message(SEND_ERROR "${FILE}: libraries are looked for in '${folders}'")
  endif()
  need("FLAGS_1\\)[^\n]* PIE" "the program is not position independent")
  need("__stack_chk_fail" "the stack is not protected")
  if(IS_FORTIFIED)
    need("_chk(@|\n)" "no function is fortified")
  endif()
elseif(path AND NOT (FILE MATCHES "libulmar-" AND folders STREQUAL "$ORIGIN"))
  message(SEND_ERROR "${FILE}: it has a ${path}")
endif()
