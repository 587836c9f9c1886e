# Holds a shared library that was built on the host kit alone against what the kit promises:
# it needs libulmar and the language run-time, and publishes none of the kit's names.
cmake_minimum_required(VERSION 3.25)

set(allowedLibraries libulmar libstdc++ libm libgcc_s libc)

execute_process(
  COMMAND "${READELF}" --dynamic --wide "${MODULE}"
  OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*" needed "${dynamic}")
list(TRANSFORM needed REPLACE ".*\\[(.*)\\.so.*" "\\1")
if(NOT libulmar IN_LIST needed)
  message(SEND_ERROR "the stream does not come from libulmar")
endif()
list(REMOVE_ITEM needed ${allowedLibraries})
foreach(name IN LISTS needed)
  message(SEND_ERROR "a stream needs ${name}, which is not on its list")
endforeach()

execute_process(
  COMMAND "${NM}" --dynamic --defined-only --format=posix "${MODULE}"
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
if(NOT symbols MATCHES "playStream ")
  message(SEND_ERROR "the host's own function is not published")
endif()
string(REGEX MATCHALL "[^\n]*5ulmar[^\n]*" ours "${symbols}")
foreach(symbol IN LISTS ours)
  message(SEND_ERROR "the host's library publishes the kit's ${symbol}")
endforeach()
