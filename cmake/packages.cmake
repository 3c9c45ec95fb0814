# How other projects and packagers know this one: pkg-config's files, CMake's package rovk, and the files in
# packaging/, which are filled in with the version and the owner's fields and left in the build folder.

include(packaging/fields.cmake)

file(GLOB_RECURSE templates RELATIVE ${PROJECT_SOURCE_DIR}/packaging CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/*)
list(REMOVE_ITEM templates fields.cmake)
file(MD5 ${PROJECT_SOURCE_DIR}/${ROVK_LICENCE_NAME} ROVK_LICENCE_MD5)
foreach(template IN LISTS templates)
  string(REPLACE VERSION ${PROJECT_VERSION} name ${template})
  configure_file(packaging/${template} packaging/${name} @ONLY)
endforeach()

if(NOT ROVK_BUILD_LIBRARIES)
  return()
endif()

# Each is relative to where it lies, so that a tree can be moved.
file(RELATIVE_PATH to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" to_prefix ${to_prefix})
foreach(line "rovk-message|messages, versions and log" "rovktrans|transactions with a unit" "rovk-transport|ways to a unit"
             "rovk-module|the Lua module rovk_message and its companions")
  string(REGEX REPLACE "\\|.*" "" name ${line})
  string(REGEX REPLACE ".*\\|" "" description ${line})
  set(libs "-L\${libdir} -l${name}")
  if(name STREQUAL rovk-module)
    set(libs "") # it is loaded, by an interpreter
  endif()
  configure_file(cmake/rovk.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT desk)
endforeach()

include(CMakePackageConfigHelpers)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/rovk)
set_target_properties(rovk-message PROPERTIES EXPORT_NAME message)
set_target_properties(rovktrans PROPERTIES EXPORT_NAME trans)
set_target_properties(rovk-transport PROPERTIES EXPORT_NAME transport)
set_target_properties(rovk_headers PROPERTIES EXPORT_NAME headers)
install(EXPORT rovk-libraries NAMESPACE rovk:: DESTINATION ${package} COMPONENT desk)
configure_package_config_file(cmake/rovk-config.cmake.in rovk-config.cmake INSTALL_DESTINATION ${package}
  PATH_VARS ROVK_LUA_MODULE_DIR ROVK_LUA_SCRIPT_DIR NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(rovk-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/rovk-config.cmake ${PROJECT_BINARY_DIR}/rovk-config-version.cmake
        DESTINATION ${package} COMPONENT desk)
