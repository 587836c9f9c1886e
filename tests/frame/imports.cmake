# Holds what the built library takes from elsewhere against the short list of what it may.
cmake_minimum_required(VERSION 3.25)

set(mathematics log2 log sin cos)
set(memory memcpy memmove memset)
set(languageRuntime
    _ZTVN10__cxxabiv117__class_type_infoE # the one polymorphic class's type information
    _ZdlPv _ZdlPvj _ZdlPvm # its deleting destructor
    __cxa_finalize __gmon_start__ _ITM_deregisterTMCloneTable _ITM_registerTMCloneTable)
set(allowed ${mathematics} ${memory} ${languageRuntime})
set(allowedLibraries libm.so.6 libc.so.6 libstdc++.so.6)

execute_process(
  COMMAND "${NM}" --dynamic --undefined-only --format=posix "${LIBRARY}"
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")
list(TRANSFORM symbols REPLACE "[@ ].*" "" OUTPUT_VARIABLE imported)
list(REMOVE_ITEM imported ${allowed})
foreach(name IN LISTS imported)
  message(SEND_ERROR "the library imports ${name}, which is not on its list")
endforeach()

execute_process(
  COMMAND "${READELF}" --dynamic --wide "${LIBRARY}"
  OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*" needed "${dynamic}")
list(TRANSFORM needed REPLACE ".*\\[(.*)\\]" "\\1")
list(REMOVE_ITEM needed ${allowedLibraries})
foreach(name IN LISTS needed)
  message(SEND_ERROR "the library needs ${name}, which is not on its list")
endforeach()
if(NOT dynamic MATCHES "SONAME[^\n]*libulmar\\.so\\.[0-9]+")
  message(SEND_ERROR "the library's soname carries no version")
endif()
