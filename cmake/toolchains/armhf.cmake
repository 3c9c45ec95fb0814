# 32-bit ARM with hardware floating point, as Debian names it.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(tools arm-linux-gnueabihf)
set(emulator qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
