# A cross compiler of Debian's over the target's own packages, laid out in build/sysroot/<architecture> by
# cmake/toolchains/sysroot, and the emulator that runs what it makes. An architecture's file includes this one
# and says which processor, tools and emulator these are.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${tools}-gcc)
set(CMAKE_CXX_COMPILER ${tools}-g++)

get_filename_component(architecture ${CMAKE_PARENT_LIST_FILE} NAME_WE)
get_filename_component(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${architecture} ABSOLUTE)
if(NOT EXISTS ${CMAKE_SYSROOT}/complete)
  message(FATAL_ERROR "There is no ${CMAKE_SYSROOT}; cmake/toolchains/sysroot makes it, and ./rovk build ${architecture} asks it to")
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L ${CMAKE_SYSROOT})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
