# Compile flags as interface targets: what a target needs, it links.

# The arithmetic that every result rests on: SSE2 in both builds, no fused multiply-add, no
# reassociation. Whatever computes or checks samples uses it, tests and host kit included.
add_library(ulmar_arithmetic INTERFACE)
target_compile_options(ulmar_arithmetic INTERFACE -msse2 -mfpmath=sse -ffp-contract=off)

add_library(ulmar_warnings INTERFACE)
target_compile_options(ulmar_warnings INTERFACE -Wall -Wextra -Wconversion -Wshadow)

# The library's own sources.
add_library(ulmar_core_flags INTERFACE)
target_compile_options(
  ulmar_core_flags
  INTERFACE
    -fno-exceptions
    # sqrt compiles to its instruction instead of a call that sets errno.
    -fno-math-errno
    # sin and cos of one angle stay two calls: sincos is not among the library's imports.
    -fno-builtin-sin
    -fno-builtin-cos
    # Exported members call one another directly, as no host may replace one of them.
    -fno-semantic-interposition)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Hosts may call with a stack that is aligned to 4 bytes only.
  target_compile_options(ulmar_core_flags INTERFACE -mstackrealign)
endif()
target_link_libraries(ulmar_core_flags INTERFACE ulmar_arithmetic ulmar_warnings)

# What the libraries beside libulmar have in common: they may become part of a host's own shared
# library, and publish nothing from there.
function(ulmar_add_room target)
  set_target_properties(
    ${target}
    PROPERTIES POSITION_INDEPENDENT_CODE ON
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:ulmar_arithmetic>
                                          $<BUILD_INTERFACE:ulmar_warnings>)
  target_include_directories(${target} INTERFACE "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
endfunction()

# ulmar_install(TARGET NAME HEADER...): installs a library with its public headers, which are
# named from the folder at hand, as Ulmar::NAME of the CMake package.
function(ulmar_install target name)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${ARGN})
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY "${PROJECT_SOURCE_DIR}"
             OUTPUT_VARIABLE folder)
  set(headers ${ARGN})
  list(TRANSFORM headers PREPEND "${folder}/")
  set_property(GLOBAL APPEND PROPERTY ULMAR_HEADERS ${headers})
  install(
    TARGETS ${target}
    EXPORT UlmarTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
endfunction()

# Sanitizers, in everything that is built.
# The fuzzer takes its way through the code from counters in it.
if(ULMAR_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

set(ULMAR_SANITIZE "" CACHE STRING "Sanitizers to build with, as address,undefined or thread")
if(ULMAR_SANITIZE)
  add_compile_options(-fsanitize=${ULMAR_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ULMAR_SANITIZE})
endif()
