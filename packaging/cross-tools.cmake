# Read by cpack: the tools that look for the program's libraries take it for one of this machine
# unless they are told.
set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
