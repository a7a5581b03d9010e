# The box's own processor, a Cortex-A9 with NEON, from another machine: Debian's cross compiler with the tree that
# scripts/sysroot-armhf.sh makes.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(user_cache "$ENV{HOME}/.cache")
if(NOT "$ENV{XDG_CACHE_HOME}" STREQUAL "")
  set(user_cache "$ENV{XDG_CACHE_HOME}")
endif()
set(BRINDLET_SYSROOT "${user_cache}/talvo-brindlet/sysroot-armhf" CACHE PATH "Debian for armhf, as scripts/sysroot-armhf.sh unpacks it")
# The compiler's own trials have a project of their own, which needs the same tree.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES BRINDLET_SYSROOT)
if(NOT EXISTS "${BRINDLET_SYSROOT}/usr/include/boost/version.hpp")
  message(FATAL_ERROR "No Debian for armhf in BRINDLET_SYSROOT ('${BRINDLET_SYSROOT}'); scripts/sysroot-armhf.sh makes it.")
endif()
set(CMAKE_SYSROOT "${BRINDLET_SYSROOT}")

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a9 -mfpu=neon -mfloat-abi=hard")
# Without the notes on how a compiler of another age would pass arguments.
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -Wno-psabi")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# pkg-config knows of no sysroot but by these.
set(ENV{PKG_CONFIG_DIR} "")
set(ENV{PKG_CONFIG_LIBDIR} "${BRINDLET_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${BRINDLET_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${BRINDLET_SYSROOT}")

# What the build runs of its own output, tests among it.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu cortex-a9 -L "${BRINDLET_SYSROOT}")
