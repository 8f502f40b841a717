# How every target of the project is compiled.

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

# Optimised enough to find what only optimised code shows, with the debug information that traces and
# sanitizer reports need: full information would double the time of every build.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1")

add_library(compile_settings INTERFACE)
target_compile_options(compile_settings INTERFACE
  -Wall -Wextra -Wpedantic -Werror
  -Wconversion -Wsign-conversion -Wdouble-promotion
  -Wshadow -Wold-style-cast -Wcast-align -Wcast-qual
  -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi
  -Wformat=2 -Wnull-dereference
  # Single-precision results are compared bit by bit: no fused multiply-add unless it is asked for.
  -ffp-contract=off
  # Log records name a source by its base name; no build path gets into the programs.
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)

if(BOARD_SANITIZE)
  target_compile_options(compile_settings INTERFACE
    -fsanitize=${BOARD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(compile_settings INTERFACE -fsanitize=${BOARD_SANITIZE})
else()
  # Hardened; ./dev lint reads from the programs that it took. A sanitizer does as much and more, and
  # doesn't know the checked calls; a build without optimisation has none.
  target_compile_options(compile_settings INTERFACE
    -fPIE -fstack-protector-strong
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
    target_compile_options(compile_settings INTERFACE -mbranch-protection=standard)
  endif()
  target_link_options(compile_settings INTERFACE -pie -Wl,-z,relro,-z,now)
endif()
