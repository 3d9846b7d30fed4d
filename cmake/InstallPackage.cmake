# The CMake package CmnSysProtoBuf: its targets, its version and the function that adds schema
# libraries. Included after all parts have installed their targets.
include(CMakePackageConfigHelpers)

string(REPLACE "." "\\." CMNSYS_PROTOBUF_SERIES_REGEX ${CMNSYS_PROTOBUF_SERIES})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/CmnSysProtoBufConfig.cmake.in
  ${PROJECT_BINARY_DIR}/CmnSysProtoBufConfig.cmake
  INSTALL_DESTINATION ${CMNSYS_INSTALL_CMAKE_DIR}
  PATH_VARS CMNSYS_INSTALL_SCHEMA_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CmnSysProtoBufConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)

install(EXPORT CmnSysProtoBufTargets
  NAMESPACE CmnSys::
  DESTINATION ${CMNSYS_INSTALL_CMAKE_DIR} COMPONENT development)
install(
  FILES
    ${PROJECT_BINARY_DIR}/CmnSysProtoBufConfig.cmake
    ${PROJECT_BINARY_DIR}/CmnSysProtoBufConfigVersion.cmake
    ${CMAKE_CURRENT_LIST_DIR}/CmnSysSchemaLibrary.cmake
    ${CMAKE_CURRENT_LIST_DIR}/GenerateSchema.cmake
    ${CMAKE_CURRENT_LIST_DIR}/RunProtoc.cmake
  DESTINATION ${CMNSYS_INSTALL_CMAKE_DIR} COMPONENT development)
