# The target debian_packages builds what is installed, the target "packages" included, and packs it
# into the Debian packages that debian/control describes, with debhelper. It works in a copy of
# debian/ in the build folder, and the packages stay beside the copy.

set(CMNSYS_DEBIAN_OPTIONS)
math(EXPR next_minor "${PROJECT_VERSION_MINOR} + 1")
set(CMNSYS_DEBIAN_NEXT_SERIES "${PROJECT_VERSION_MAJOR}.${next_minor}~")
set(CMNSYS_DEBIAN_SIBLINGS_DEV "cmnsysprotobuf-siblings-dev (= ${PROJECT_VERSION})")
if(NOT CMNSYS_BUILD_SITE)
  string(APPEND CMNSYS_DEBIAN_OPTIONS " --no-package=cmnsysprotobuf-doc")
endif()
if(NOT CMNSYS_BUNDLED_SIBLINGS)
  # The packages of the real siblings say themselves what they need.
  string(APPEND CMNSYS_DEBIAN_OPTIONS
    " --no-package=cmnsysprotobuf-siblings --no-package=cmnsysprotobuf-siblings-dev")
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
add_dependencies(debian_packages packages cmnsys cmnsys_manual_page protoc-gen-cmnsys
  CmnSysDescriptorSet CmnSysPairings)
if(CMNSYS_RPC)
  add_dependencies(debian_packages CmnSysRpc)
endif()
if(CMNSYS_BUILD_SITE)
  add_dependencies(debian_packages site)
endif()
