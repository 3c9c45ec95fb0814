# 32-bit x86. Emulated as well, so that nothing of it is asked of the machine that builds.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(tools i686-linux-gnu)
set(emulator qemu-i386-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
