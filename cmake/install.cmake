# What is installed, in two components. `module` is rovk_message.so alone, for a unit that has the
# libraries below it already. `desk` is what one needs beside it where there is no unit: our
# libraries with the simulated unit, their headers, and the Lua modules for event loop and unit.

file(RELATIVE_PATH to_libraries /${ROVK_LUA_MODULE_DIR} /${CMAKE_INSTALL_LIBDIR})
set(ROVK_MODULE_TO_LIBRARIES ${to_libraries} CACHE STRING "Way from the folder of the module to that of the libraries")
set(modules rovk_message rovk_companion)
set(libraries rovk-message rovktrans rovk-transport)

# One run path for the build folder, where all lie together, and for where they are installed: a run path that is
# exchanged when it is installed CMake fills up with colons, and an entry without a name is the current folder.
# Packagers who want none at all have it taken out.
function(rovk_set_run_path path)
  set_target_properties(${ARGN} PROPERTIES INSTALL_RPATH "${path}")
  if(NOT CMAKE_SKIP_INSTALL_RPATH)
    set_target_properties(${ARGN} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
  endif()
endfunction()

# All that a script needs to run from the build folder.
add_custom_target(rovk_scripts)

foreach(target IN LISTS modules)
  if(NOT TARGET ${target})
    continue()
  endif()
  add_dependencies(rovk_scripts ${target})
  rovk_set_run_path("$ORIGIN;$ORIGIN/${ROVK_MODULE_TO_LIBRARIES}" ${target})
  if(target STREQUAL rovk_message)
    set(component module)
  else()
    set(component desk)
  endif()
  install(TARGETS ${target} LIBRARY DESTINATION ${ROVK_LUA_MODULE_DIR} COMPONENT ${component})
endforeach()

if(ROVK_BUILD_LIBRARIES)
  install(DIRECTORY lualib/companions/ DESTINATION ${ROVK_LUA_SCRIPT_DIR} COMPONENT desk FILES_MATCHING PATTERN "*.lua")
  install(DIRECTORY ${ROVK_GENERATED}/lua/rovk_catalogue DESTINATION ${ROVK_LUA_SCRIPT_DIR} COMPONENT desk)
  # The names without a version are for linking, and the module asks for them when it is loaded.
  rovk_set_run_path("$ORIGIN" ${libraries})
  install(TARGETS ${libraries} rovk_headers EXPORT rovk-libraries
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT desk
          INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  # Nobody links it.
  install(TARGETS rovk-simulation LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT desk NAMELINK_SKIP)
  install(DIRECTORY include/rovk ${ROVK_GENERATED}/include/rovk DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
          COMPONENT desk FILES_MATCHING PATTERN "*.h")
  # To read and to build on; the library has them inside.
  install(DIRECTORY unit/profiles/ DESTINATION ${CMAKE_INSTALL_DATADIR}/rovk/profiles COMPONENT desk
          FILES_MATCHING PATTERN "*.toml")
  install(TARGETS rovk-unit RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT desk)
  # Made when asked for, by the targets docs and annotations; what was not made is left out.
  install(DIRECTORY ${PROJECT_BINARY_DIR}/docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT desk OPTIONAL
          FILES_MATCHING PATTERN "*.7")
  install(DIRECTORY ${PROJECT_BINARY_DIR}/docs/html DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT desk OPTIONAL
          PATTERN .doctrees EXCLUDE)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/annotations DESTINATION ${CMAKE_INSTALL_DATADIR}/rovk COMPONENT desk OPTIONAL
          FILES_MATCHING PATTERN "*.lua")
  install(FILES programs/rovk-unit.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT desk)
endif()
