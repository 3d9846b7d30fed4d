# The target debian_packages packs what is built, the target "packages" included, into the Debian
# packages that debian/control describes, with debhelper. It works in a copy of debian/ in the build
# folder, and the packages stay beside the copy.

set(CMNSYS_DEBIAN_OPTIONS)
set(CMNSYS_DEBIAN_SIBLINGS_DEV "cmnsysprotobuf-siblings-dev (= ${PROJECT_VERSION})")
if(NOT CMNSYS_BUNDLED_SIBLINGS)
  # The packages of the real siblings say themselves what they need.
  set(CMNSYS_DEBIAN_OPTIONS
    "--no-package=cmnsysprotobuf-siblings --no-package=cmnsysprotobuf-siblings-dev")
  set(CMNSYS_DEBIAN_SIBLINGS_DEV)
endif()

set(packaging ${PROJECT_BINARY_DIR}/debian)
file(GLOB debian_files CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/debian/*)
list(FILTER debian_files EXCLUDE REGEX "\\.(in|sh)$")
foreach(file IN LISTS debian_files)
  file(COPY ${file} DESTINATION ${packaging}/source/debian)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/debian/rules.in ${packaging}/source/debian/rules @ONLY
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/debian/changelog.sh ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
execute_process(
  COMMAND ${PROJECT_SOURCE_DIR}/debian/changelog.sh ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    ${PROJECT_VERSION}
  OUTPUT_FILE ${packaging}/source/debian/changelog
  COMMAND_ERROR_IS_FATAL ANY)

add_custom_target(debian_packages
  COMMAND ./debian/rules binary
  WORKING_DIRECTORY ${packaging}/source
  USES_TERMINAL
  VERBATIM)
