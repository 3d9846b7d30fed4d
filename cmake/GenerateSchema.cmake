# Generates the C++ of one schema file (cmake -P; the variables are those that
# CmnSysSchemaLibrary.cmake passes). protoc writes into a stage of the file's own; from there a file
# is copied only when its text differs, so that what depends on it is not rebuilt for nothing.

cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/RunProtoc.cmake)

file(MAKE_DIRECTORY ${STAGE})
set(depfile ${STAGE}.d)
set(import_options)
string(REPLACE "|" ";" import_dirs "${IMPORT_DIRS}")
foreach(dir IN LISTS import_dirs)
  list(APPEND import_options --proto_path=${dir})
endforeach()

cmnsys_run_protoc(${PROTOC}
  ${import_options}
  --proto_path=${SCHEMA_ROOT}
  --plugin=protoc-gen-cmnsys=${PLUGIN}
  --cpp_out=dllexport_decl=${EXPORT_MACRO}:${STAGE}
  --cmnsys_out=${PLUGIN_OPTIONS}:${STAGE}
  --dependency_out=${depfile}
  ${FILE})

cmake_path(REMOVE_EXTENSION FILE LAST_ONLY OUTPUT_VARIABLE base)
foreach(generated ${base}.pb.cc ${base}.pb.h ${base}.view.h ${base}.writer.h)
  file(COPY_FILE ${STAGE}/${generated} ${GENERATED_ROOT}/${generated} ONLY_IF_DIFFERENT)
endforeach()

# The command's outputs are the copies, so the list of imports must name one of them. protoc writes
# an import a line, and blanks in paths as they are.
file(READ ${depfile} dependencies)
string(REGEX REPLACE "^.*\\.(pb\\.cc|pb\\.h|view\\.h|writer\\.h): *" "" dependencies "${dependencies}")
string(REPLACE "\\\n " "\n" dependencies "${GENERATED_ROOT}/${base}.pb.cc:\n${dependencies}")
string(REGEX REPLACE "([ #])" "\\\\\\1" dependencies "${dependencies}")
string(REPLACE "\n" " \\\n " dependencies "${dependencies}")
file(WRITE ${depfile} "${dependencies}")
