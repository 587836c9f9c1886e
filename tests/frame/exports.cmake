# Holds the built library against the list of exports: every listed name is defined in it,
# and nothing else is.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/exports.cmake")

ulmar_read_exports("${EXPORTS}" ${POINTER_BYTES} listed)

execute_process(
  COMMAND "${NM}" --dynamic --defined-only --format=posix "${LIBRARY}"
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")
list(TRANSFORM symbols REPLACE " .*" "" OUTPUT_VARIABLE published)

set(missing ${listed})
list(REMOVE_ITEM missing ${published})
set(unlisted ${published})
list(REMOVE_ITEM unlisted ${listed})
foreach(name IN LISTS missing)
  message(SEND_ERROR "listed, but not published by the library: ${name}")
endforeach()
foreach(name IN LISTS unlisted)
  message(SEND_ERROR "published by the library, but not listed: ${name}")
endforeach()
