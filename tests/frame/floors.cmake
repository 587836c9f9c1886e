# Holds every #include against the floors: a file may include its own folder and the floors
# below it, by paths from the root.
cmake_minimum_required(VERSION 3.25)

# Each folder, from the lowest floor up, and what it may include besides itself. ulmar/host/ and
# what stands on it are written against the published headers.
set(folders
    ulmar/base
    ulmar/fft
    ulmar/decoder
    ulmar/spectral
    ulmar/convrt
    ulmar/process
    ulmar/host
    ulmar/acoustics
    ulmar/audio
    ulmar/room
    apps/common
    apps/draw
    apps/inspect
    apps/render
    plugins/ulmar.lv2
    bench
    tests
    fuzz)
set(library ulmar/base ulmar/fft ulmar/decoder ulmar/spectral ulmar/convrt ulmar/process)
set(below_ulmar/fft ulmar/base)
set(below_ulmar/decoder ulmar/base)
set(below_ulmar/spectral ulmar/base)
set(below_ulmar/convrt ulmar/base ulmar/fft)
set(below_ulmar/process ulmar/base ulmar/convrt ulmar/decoder)
set(below_ulmar/host PUBLISHED)
set(below_ulmar/acoustics ulmar/host PUBLISHED)
set(below_ulmar/audio ulmar/host)
set(below_ulmar/room ulmar/host ulmar/acoustics)
set(below_apps/common ulmar/host ulmar/audio)
set(below_apps/draw ulmar/host ulmar/audio apps/common)
set(below_apps/inspect ulmar/host ulmar/audio ulmar/acoustics apps/common apps/draw)
set(below_apps/render ulmar/host ulmar/audio ulmar/room apps/common apps/draw)
set(below_plugins/ulmar.lv2 ulmar/host ulmar/audio ulmar/room)
set(below_bench ${library} ulmar/host)
set(below_tests ${folders})
set(below_fuzz ulmar/host ulmar/audio apps/inspect apps/render plugins/ulmar.lv2 tests)

list(TRANSFORM PUBLIC_HEADERS REPLACE "^${ROOT}/" "")

function(refuse file include why)
  message(SEND_ERROR "${file} includes ${include}: ${why}")
endfunction()

# The folder of `folders` that a path lies in.
function(folder_of path variable)
  foreach(folder IN LISTS folders)
    if(path MATCHES "^${folder}/")
      set(${variable} ${folder} PARENT_SCOPE)
      return()
    endif()
  endforeach()
  set(${variable} "a folder of no floor" PARENT_SCOPE)
endfunction()

function(check_quoted file folder include)
  folder_of("${include}" target)
  if(NOT EXISTS "${ROOT}/${include}")
    refuse("${file}" "${include}" "no such file from the root")
  elseif(file MATCHES "/x86/" AND NOT include MATCHES "^${folder}/([a-z_]+_kernels|x86/[a-z0-9_]+)\\.h$")
    refuse("${file}" "${include}" "an x86 body includes its contract and intrinsics only")
  elseif(file IN_LIST PUBLIC_HEADERS AND NOT include IN_LIST PUBLIC_HEADERS)
    refuse("${file}" "${include}" "a published header includes published headers only")
  elseif(include IN_LIST PUBLIC_HEADERS AND PUBLISHED IN_LIST below_${folder})
    return()
  elseif(NOT target STREQUAL folder AND NOT target IN_LIST below_${folder})
    refuse("${file}" "${include}" "${folder}/ does not stand on ${target}/")
  endif()
endfunction()

# The library stands on the standard library alone, whose headers have no suffix; only the
# x86 bodies see intrinsics, and they see no other inline code.
function(check_angled file folder include)
  if(file MATCHES "/x86/")
    if(NOT include MATCHES "intrin\\.h$")
      refuse("${file}" "<${include}>" "an x86 body includes its contract and intrinsics only")
    endif()
  elseif(folder IN_LIST library AND include MATCHES "[./]")
    refuse("${file}" "<${include}>" "the library uses the standard library alone")
  endif()
endfunction()

set(numIncludes 0)
foreach(folder IN LISTS folders)
  if(NOT IS_DIRECTORY "${ROOT}/${folder}")
    message(SEND_ERROR "there is no folder ${folder}/, which the floors name")
  endif()
  file(GLOB_RECURSE files RELATIVE "${ROOT}" "${ROOT}/${folder}/*.h" "${ROOT}/${folder}/*.cpp")
  foreach(file IN LISTS files)
    file(STRINGS "${ROOT}/${file}" lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS lines)
      math(EXPR numIncludes "${numIncludes} + 1")
      if(line MATCHES "\"([^\"]+)\"")
        check_quoted("${file}" "${folder}" "${CMAKE_MATCH_1}")
      elseif(line MATCHES "<([^>]+)>")
        check_angled("${file}" "${folder}" "${CMAKE_MATCH_1}")
      else()
        refuse("${file}" "${line}" "an include names its file")
      endif()
    endforeach()
  endforeach()
endforeach()
if(numIncludes EQUAL 0)
  message(SEND_ERROR "no #include found below ${ROOT}")
endif()
message(STATUS "${numIncludes} includes looked at")
