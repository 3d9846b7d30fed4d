# Installs in two components: `runtime` is what programs need to run, `development` what is needed
# to build them. The installed libraries and programs find each other by $ORIGIN, under any prefix
# and without ldconfig.

set(CMNSYS_INSTALL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/${PROJECT_NAME})
set(CMNSYS_INSTALL_SCHEMA_DIR ${CMAKE_INSTALL_DATADIR}/${PROJECT_NAME})
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR}
  OUTPUT_VARIABLE CMNSYS_LIBRARIES_FROM_PROGRAMS)

# cmnsys_install_program(<target>)
# Installs a program that uses the installed libraries.
function(cmnsys_install_program target)
  set_target_properties(${target} PROPERTIES
    INSTALL_RPATH "$ORIGIN/${CMNSYS_LIBRARIES_FROM_PROGRAMS}")
  install(TARGETS ${target} COMPONENT runtime)
endfunction()

# cmnsys_install_library(<target> DESCRIPTION <sentence> [REQUIRES <pkg-config module>...])
# Gives a shared library its SONAME and installs it with the headers of its file set HEADERS, as
# CmnSys::<target> of the CMake package and as <target> of pkg-config.
function(cmnsys_install_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DESCRIPTION" "REQUIRES")
  # A new field changes the layout of a class that callers have compiled into them, so every minor
  # version has a SONAME of its own. Patch versions leave the schema as it is.
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
    INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${target} EXPORT ${PROJECT_NAME}Targets
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    FILE_SET HEADERS COMPONENT development)

  # The prefix is found from the file's own place, so that the installed tree can be moved.
  cmake_path(IS_ABSOLUTE CMAKE_INSTALL_LIBDIR fixed)
  if(fixed)
    set(prefix ${CMAKE_INSTALL_PREFIX})
  else()
    cmake_path(SET up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig")
    cmake_path(RELATIVE_PATH up BASE_DIRECTORY "/" OUTPUT_VARIABLE down)
    string(REGEX REPLACE "[^/]+" ".." up "${down}")
    set(prefix "\${pcfiledir}/${up}")
  endif()
  cmake_path(APPEND libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
  cmake_path(APPEND includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
  list(JOIN arg_REQUIRES ", " requires)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/library.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc
    @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()
