# Holds every source to .clang-format: those that git tracks, or, where the tree is no checkout,
# those that lie in its folders.
cmake_minimum_required(VERSION 3.25)

# Releases differ in how they break lines.
set(release 14)
find_program(format NAMES clang-format-${release} clang-format)
if(NOT format)
  message(FATAL_ERROR "clang-format ${release} is missing; Debian's package is clang-format.")
endif()
execute_process(COMMAND "${format}" --version OUTPUT_VARIABLE version)
if(NOT version MATCHES "version ${release}\\.")
  message(FATAL_ERROR "${format} is not release ${release}: ${version}")
endif()

set(tracked 1)
if(EXISTS "${ROOT}/.git")
  execute_process(
    COMMAND git -C "${ROOT}" ls-files "*.h" "*.cpp"
    RESULT_VARIABLE tracked
    OUTPUT_VARIABLE files
    ERROR_QUIET)
  string(REGEX MATCHALL "[^\n]+" files "${files}")
endif()
if(NOT tracked EQUAL 0)
  set(files "")
  foreach(folder ulmar apps bench tests)
    file(GLOB_RECURSE found RELATIVE "${ROOT}" "${ROOT}/${folder}/*.h" "${ROOT}/${folder}/*.cpp")
    list(APPEND files ${found})
  endforeach()
endif()

set(sources "")
foreach(file IN LISTS files)
  if(EXISTS "${ROOT}/${file}") # and not just removed
    list(APPEND sources "${file}")
  endif()
endforeach()
list(LENGTH sources count)
if(count EQUAL 0)
  message(FATAL_ERROR "No sources were found in ${ROOT}.")
endif()

execute_process(
  COMMAND "${format}" --dry-run -Werror ${sources}
  WORKING_DIRECTORY "${ROOT}"
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "The lines above are not as clang-format -i writes them.")
endif()
message(STATUS "${count} sources are formatted.")
