# 32-bit ARM with hardware floating point, as on a device. Libraries come from build/arm-root, which ./dev arm fills;
# programs run under emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

get_filename_component(arm_root ${CMAKE_CURRENT_LIST_DIR}/../build/arm-root ABSOLUTE)
set(CMAKE_SYSROOT ${arm_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${arm_root})
set(ENV{PKG_CONFIG_LIBDIR} ${arm_root}/usr/lib/arm-linux-gnueabihf/pkgconfig:${arm_root}/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/run_arm)
