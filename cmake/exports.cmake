# Reads exports.txt, the one list of what the shared library publishes.

# ulmar_read_exports(FILE POINTER_BYTES VARIABLE): the list of mangled names that hold where
# addresses have that many bytes. A line carries one name, or the i386 name followed by the
# x86_64 name.
function(ulmar_read_exports file pointerBytes variable)
  file(STRINGS "${file}" lines REGEX "^[^#]")
  set(names "")
  foreach(line IN LISTS lines)
    separate_arguments(columns UNIX_COMMAND "${line}")
    list(LENGTH columns numColumns)
    if(numColumns GREATER 2)
      message(FATAL_ERROR "${file}: more than two names in the line '${line}'")
    endif()
    if(pointerBytes EQUAL 8)
      list(POP_BACK columns name)
    else()
      list(POP_FRONT columns name)
    endif()
    list(APPEND names "${name}")
  endforeach()
  set(${variable} "${names}" PARENT_SCOPE)
endfunction()

# ulmar_write_map(TEMPLATE NAMES MAP): the linker map that publishes those names.
function(ulmar_write_map template names map)
  list(JOIN names ";\n    " ULMAR_EXPORTS)
  configure_file("${template}" "${map}" @ONLY)
endfunction()
