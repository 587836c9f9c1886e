# What programs that parse foreign files are built with, and the libraries beside libulmar, whose
# code is among theirs. Not libulmar itself: it parses nothing, and imports no more than its list.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

add_library(ulmar_hardening INTERFACE)
if(NOT ULMAR_SANITIZE)
  # Fortified functions take an optimizing compiler.
  target_compile_options(
    ulmar_hardening
    INTERFACE -fstack-protector-strong
              "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
target_link_options(
  ulmar_hardening INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)

# ulmar_add_program(NAME SOURCE...): a program that is installed. In the build tree libulmar lies
# beside it, as on a system without an installation; $ORIGIN is the program's folder.
function(ulmar_add_program name)
  add_executable(${name} ${ARGN})
  file(RELATIVE_PATH toLibraries "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(
    ${name}
    PROPERTIES POSITION_INDEPENDENT_CODE ON
               # The same for both trees: CMake would fill up a shorter path of the build tree with
               # empty entries, and an empty entry is the current folder.
               BUILD_WITH_INSTALL_RPATH ON
               INSTALL_RPATH "$ORIGIN;$ORIGIN/${toLibraries}")
  target_link_libraries(${name} PRIVATE ulmar_hardening ulmar_arithmetic ulmar_warnings)
  install(TARGETS ${name})
endfunction()
