# Installs the build into a folder and builds and runs consumers of it.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT code EQUAL 0)
    list(JOIN ARGN " " call)
    message(FATAL_ERROR "${call} ended with ${code}:\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

set(prefix "${WORK}/prefix")
file(REMOVE_RECURSE "${WORK}/prefix" "${WORK}/package" "${WORK}/sources" "${WORK}/plain_host")
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${prefix}")

# No file that is installed is looked for in the build.
file(GLOB binaries "${prefix}/bin/*" "${prefix}/${LIBDIR}/*.so.*.*.*")
foreach(binary IN LISTS binaries)
  run("${READELF}" --dynamic "${binary}")
  if(out MATCHES "(RPATH|RUNPATH)[^\n]*${BUILD}")
    message(FATAL_ERROR "${binary} has a path of the build:\n${out}")
  endif()
endforeach()

set(tools -DCMAKE_BUILD_TYPE=Release -G Ninja)
if(TOOLCHAIN)
  list(APPEND tools "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
endif()
set(here "${CMAKE_CURRENT_LIST_DIR}")
run("${CMAKE_COMMAND}" -S "${here}/package" -B "${WORK}/package" ${tools}
    "-DCMAKE_PREFIX_PATH=${prefix}")
run("${CMAKE_COMMAND}" --build "${WORK}/package")
run("${WORK}/package/consumer")

set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
run(pkg-config --cflags --libs ulmar-host)
separate_arguments(words UNIX_COMMAND "${FLAGS} ${out}")
run("${CC}" -std=c99 -Wall -Wextra -Werror -pedantic "${SOURCE}/examples/plain_host.c"
    -o "${WORK}/plain_host" ${words} "-Wl,-rpath-link,${prefix}/${LIBDIR}")

# The C headers alone, by both compilers.
foreach(compiler IN ITEMS "${CC}" ${CLANG})
  foreach(header host/ulmar_host.h audio/ulmar_audio.h)
    run("${compiler}" -std=c99 -pedantic -Wall -Wextra -Werror -fsyntax-only -x c
        "-I${prefix}/include" "${prefix}/include/ulmar/${header}")
  endforeach()
endforeach()

run("${CMAKE_COMMAND}" -S "${here}/sources" -B "${WORK}/sources" ${tools} "-DULMAR=${SOURCE}")
