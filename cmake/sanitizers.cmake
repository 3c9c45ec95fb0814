# A build with sanitizers, ROVK_SANITIZE. ROVK_TEST_PRELOAD is what an interpreter that was built without
# them has to load first.

set(ROVK_TEST_PRELOAD "")
if(NOT ROVK_SANITIZE)
  return()
endif()

add_compile_options(-fsanitize=${ROVK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
add_link_options(-fsanitize=${ROVK_SANITIZE})
set(runtime libasan.so)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  set(runtime libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so)
  # The module calls the libraries' functions by the shape of their arguments: one pointer is as another.
  add_compile_options(-fno-sanitize=function)
endif()
if(NOT ROVK_SANITIZE MATCHES "address" OR ROVK_SANITIZE MATCHES fuzzer)
  return()
endif()

foreach(library ${runtime} libstdc++.so.6)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library} OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "ROVK_SANITIZE=${ROVK_SANITIZE}: ${CMAKE_CXX_COMPILER} has no ${library}")
  endif()
  list(APPEND ROVK_TEST_PRELOAD ${path})
endforeach()
# Clang links its runtime into programs unless told otherwise, where modules could not share it, and keeps
# it where no loader looks.
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  list(GET ROVK_TEST_PRELOAD 0 path)
  get_filename_component(folder ${path} DIRECTORY)
  add_link_options(-shared-libasan -Wl,-rpath,${folder})
endif()
list(JOIN ROVK_TEST_PRELOAD ":" ROVK_TEST_PRELOAD)
# For those who start an interpreter themselves.
file(WRITE ${PROJECT_BINARY_DIR}/preload ${ROVK_TEST_PRELOAD})
