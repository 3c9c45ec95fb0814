# A 64-bit machine whose most significant byte comes first.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(tools s390x-linux-gnu)
set(emulator qemu-s390x-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
