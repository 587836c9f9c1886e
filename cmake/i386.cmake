# Toolchain of the i386 build: 32-bit x86 from an x86-64 Debian, with the multilib compiler
# and the i386 packages of the host-side libraries. Its programs run as they are, so this is
# no cross build and CMAKE_SYSTEM_NAME stays unset.

# 64-bit file offsets, without which the 32-bit tools stop at files of 2 GiB.
set(CMAKE_CXX_FLAGS_INIT "-m32 -D_FILE_OFFSET_BITS=64")
set(CMAKE_C_FLAGS_INIT "${CMAKE_CXX_FLAGS_INIT}")

# A library that is missing in 32 bits is missing, even where its 64-bit twin is installed.
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/i386-linux-gnu/pkgconfig:/usr/share/pkgconfig)
