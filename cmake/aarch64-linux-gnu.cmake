# The board: 64-bit ARM, with Debian's cross compiler and the arm64 libraries that Debian installs
# beside this machine's own.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
# Nothing of this machine's own libraries.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
# The unit tests run under it.
find_program(QEMU_AARCH64 qemu-aarch64-static)
if(QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU_AARCH64})
endif()
