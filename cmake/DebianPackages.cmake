# The Debian packages that `make package` builds with CPack: cmnsysprotobuf with the libraries and
# cmnsys, cmnsysprotobuf-dev with what is needed to build programs, and one for each tool and language
# of packages/.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME cmnsysprotobuf)
set(CPACK_PACKAGE_CONTACT "CmnSysProtoBuf maintainers <maintainers@cmnsys.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/RemoveRunPaths.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL runtime development python wireshark)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

# Lets other packages compute their dependency on this one, and ldconfig learn of the libraries.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION [[
The shared libraries of generated message classes, of utilities for them and
of their transport over gRPC; and cmnsys, which shows, reads and writes the
messages.]])
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME cmnsysprotobuf)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION [[
What is needed to build programs: headers, schema files, the descriptor set
with comments, the CMake package, pkg-config files and protoc-gen-cmnsys.]])
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME cmnsysprotobuf-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "cmnsysprotobuf (= ${PROJECT_VERSION}), libprotobuf-dev (>= ${CMNSYS_PROTOBUF_SERIES})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS protobuf-compiler)

set(CPACK_COMPONENT_PYTHON_DESCRIPTION [[
The messages and services for Python 3, with stubs for mypy, and helpers for
payloads of events, streams and JSON.]])
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-cmnsysprotobuf)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), python3-protobuf (>= 3.21)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-grpcio)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packages/python/debian/postinst
  ${PROJECT_SOURCE_DIR}/packages/python/debian/prerm)

set(CPACK_COMPONENT_WIRESHARK_DESCRIPTION [[
Shows calls and stored messages in Wireshark and tshark, payloads of events
included: the schema in a form that they read, and the profile CmnSys.]])
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_NAME cmnsysprotobuf-wireshark)
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_SECTION net)
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_RECOMMENDS "wireshark | tshark")
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_ENHANCES "wireshark, tshark")

include(CPack)
