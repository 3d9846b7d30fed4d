# cmnsys_add_schema_library(<target>
#   AREA <folder below ProtoBuf/>
#   [ROOT <folder>]
#   FILES <file.proto>...
#   [DEPENDS_ON <schema library>...]
#   [STOCK_IMPORTS <path prefix>...]
#   [IMPORT_DIRS <folder>...]
#   [BATCH_SIZE <number>]
#   [PRECOMPILED_HEADER])
#
# Adds the shared library <target> made of the classes that protoc and protoc-gen-cmnsys generate
# from <ROOT>/ProtoBuf/<AREA>/<file.proto>.
#
# ROOT            the folder above ProtoBuf/; without it the project's source folder.
# AREA            names the folder of the schema files, and of the generated ones.
# FILES           the schema files, the ones that compile longest first; with BATCH_SIZE those that
#                 import the same ones beside each other.
# DEPENDS_ON      schema libraries whose files are imported.
# STOCK_IMPORTS   path prefixes of imports that may come from protoc's C++ generator alone, which
#                 writes no registration routine.
# IMPORT_DIRS     folders, searched first, that hold imported schema files of other packages. In a
#                 project that found the package CmnSysProtoBuf its schema files are found without.
# BATCH_SIZE      how many generated files are compiled at once, 1 unless said otherwise. Headers that
#                 they share are then read once.
# PRECOMPILED_HEADER  compiles the protobuf headers once for all files; pays from some ten files on.
#
# Generated files are written to <build>/ProtoBuf/generated/<Config>-<Platform>/ProtoBuf/<AREA>/ and
# included as "ProtoBuf/<AREA>/<file>.pb.h", views as <file>.view.h and writers as <file>.writer.h. Each
# schema file has a command of its own that knows its imports, and replaces a generated file only
# when its text changes. The target's property
# CMNSYS_SCHEMA_FILES lists the schema files by the paths under which they register, and its file
# set HEADERS the headers, for install(TARGETS).

cmake_policy(PUSH)
cmake_policy(VERSION 3.25)
include(GenerateExportHeader)

set(CMNSYS_GENERATED_ROOT
  ${PROJECT_BINARY_DIR}/ProtoBuf/generated/${CMAKE_BUILD_TYPE}-${CMAKE_SYSTEM_NAME})
set(_CMNSYS_GENERATE_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/GenerateSchema.cmake)

function(cmnsys_add_schema_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg
    "PRECOMPILED_HEADER" "AREA;ROOT;BATCH_SIZE" "FILES;DEPENDS_ON;STOCK_IMPORTS;IMPORT_DIRS")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_AREA OR NOT arg_FILES)
    message(FATAL_ERROR "cmnsys_add_schema_library(${target}): AREA and FILES are needed; "
      "not understood: \"${arg_UNPARSED_ARGUMENTS}\"")
  endif()

  if(NOT TARGET protobuf::protoc)
    message(FATAL_ERROR "cmnsys_add_schema_library(${target}): the protobuf compiler protoc is not "
      "there. Install protobuf-compiler or set Protobuf_PROTOC_EXECUTABLE.")
  endif()

  if(NOT arg_ROOT)
    set(arg_ROOT ${PROJECT_SOURCE_DIR})
  endif()

  list(APPEND arg_IMPORT_DIRS ${CmnSysProtoBuf_PROTO_DIRS})

  set(area_dir ProtoBuf/${arg_AREA})
  set(export_header ${area_dir}/${target}.export.h)
  string(TOUPPER ${target}_EXPORT export_macro)
  set(plugin_options dllexport_decl=${export_macro} export_header=${export_header})
  foreach(prefix IN LISTS arg_STOCK_IMPORTS)
    list(APPEND plugin_options stock_import=${prefix})
  endforeach()
  list(JOIN plugin_options "," plugin_options)
  list(JOIN arg_IMPORT_DIRS "|" import_dirs)

  set(sources)
  set(headers ${CMNSYS_GENERATED_ROOT}/${export_header})
  set(schema_files)
  foreach(file IN LISTS arg_FILES)
    set(path ${arg_ROOT}/${area_dir}/${file})
    get_source_file_property(generated ${path} GENERATED)
    if(NOT generated AND NOT EXISTS ${path})
      message(FATAL_ERROR "cmnsys_add_schema_library(${target}): there is no ${path}, which is made "
        "of ROOT, ProtoBuf, AREA and one of FILES.")
    endif()
    cmake_path(REMOVE_EXTENSION file LAST_ONLY OUTPUT_VARIABLE base)
    set(source ${CMNSYS_GENERATED_ROOT}/${area_dir}/${base}.pb.cc)
    set(header ${CMNSYS_GENERATED_ROOT}/${area_dir}/${base}.pb.h)
    set(view ${CMNSYS_GENERATED_ROOT}/${area_dir}/${base}.view.h)
    set(writer ${CMNSYS_GENERATED_ROOT}/${area_dir}/${base}.writer.h)
    set(stage ${CMAKE_CURRENT_BINARY_DIR}/stage/${arg_AREA}/${base})
    add_custom_command(
      OUTPUT ${source} ${header} ${view} ${writer}
      COMMAND ${CMAKE_COMMAND}
        -D PROTOC=$<TARGET_FILE:protobuf::protoc>
        -D PLUGIN=$<TARGET_FILE:CmnSys::protoc-gen-cmnsys>
        -D SCHEMA_ROOT=${arg_ROOT}
        -D IMPORT_DIRS=${import_dirs}
        -D FILE=${area_dir}/${file}
        -D EXPORT_MACRO=${export_macro}
        -D PLUGIN_OPTIONS=${plugin_options}
        -D STAGE=${stage}
        -D GENERATED_ROOT=${CMNSYS_GENERATED_ROOT}
        -P ${_CMNSYS_GENERATE_SCRIPT}
      DEPENDS ${path} CmnSys::protoc-gen-cmnsys ${_CMNSYS_GENERATE_SCRIPT}
      DEPFILE ${stage}.d
      COMMENT "Generating ${area_dir}/${base}.{pb.h,pb.cc,view.h,writer.h}"
      VERBATIM)
    list(APPEND sources ${source})
    list(APPEND headers ${header} ${view} ${writer})
    list(APPEND schema_files ${area_dir}/${file})
  endforeach()

  if(NOT arg_BATCH_SIZE)
    set(arg_BATCH_SIZE 1)
  endif()
  set(compiled ${sources})
  if(arg_BATCH_SIZE GREATER 1)
    _cmnsys_write_batches(compiled ${CMAKE_CURRENT_BINARY_DIR}/batches/${arg_AREA}
      ${arg_BATCH_SIZE} ${schema_files})
  endif()
  add_library(${target} SHARED ${compiled})
  # Generates without compiling, for tools that only read the sources.
  add_custom_target(${target}_generated DEPENDS ${sources} ${headers})
  add_dependencies(${target} ${target}_generated)
  if(TARGET cmnsys_generated_code)
    add_dependencies(cmnsys_generated_code ${target}_generated)
  endif()
  target_sources(${target} PUBLIC FILE_SET HEADERS
    BASE_DIRS ${CMNSYS_GENERATED_ROOT} FILES ${headers})
  generate_export_header(${target}
    EXPORT_MACRO_NAME ${export_macro}
    EXPORT_FILE_NAME ${CMNSYS_GENERATED_ROOT}/${export_header})

  # C++14: below C++17 the generator also defines the constants of nested enums in the library,
  # where callers that compile as C++11 or C++14 need them. The headers serve C++11 and later.
  set_target_properties(${target} PROPERTIES
    CMNSYS_SCHEMA_FILES "${schema_files}"
    COMPILE_WARNING_AS_ERROR OFF
    CXX_STANDARD 14
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_features(${target} INTERFACE cxx_std_11)
  # Without unique symbols, which only GCC makes: they would keep every user of the library loaded.
  target_compile_options(${target} PRIVATE
    -fno-semantic-interposition $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
  # nodelete: the runtime keeps pointers into the library, so it stays mapped after dlclose.
  target_link_options(${target} PRIVATE LINKER:-z,nodelete LINKER:-z,defs)
  target_link_libraries(${target} PUBLIC protobuf::libprotobuf ${arg_DEPENDS_ON})
  if(arg_PRECOMPILED_HEADER)
    target_precompile_headers(${target} PRIVATE
      <google/protobuf/extension_set.h>
      <google/protobuf/generated_enum_reflection.h>
      <google/protobuf/generated_message_reflection.h>
      <google/protobuf/message.h>
      <google/protobuf/reflection_ops.h>
      <google/protobuf/service.h>
      <google/protobuf/unknown_field_set.h>
      <google/protobuf/wire_format.h>)
  endif()
endfunction()

# Writes sources that compile so many schema files each, and returns their paths. They name generated
# files without a folder, so that builds in other folders find them in the compiler cache.
function(_cmnsys_write_batches result folder size)
  set(batches)
  while(ARGN)
    list(SUBLIST ARGN 0 ${size} files)
    list(REMOVE_ITEM ARGN ${files})
    list(TRANSFORM files REPLACE "\\.proto$" ".pb" OUTPUT_VARIABLE bases)
    list(TRANSFORM bases REPLACE "(.+)" "#include \"\\1.h\"\n" OUTPUT_VARIABLE text)
    foreach(base IN LISTS bases)
      # What protoc names alike in all of its sources.
      string(MAKE_C_IDENTIFIER ${base} suffix)
      string(APPEND text "\n")
      foreach(name schemas file_default_instances)
        string(APPEND text "#define ${name} ${name}_${suffix}\n")
      endforeach()
      string(APPEND text "#include \"${base}.cc\"\n")
      foreach(name schemas file_default_instances)
        string(APPEND text "#undef ${name}\n")
      endforeach()
    endforeach()
    list(JOIN text "" text)
    list(LENGTH batches number)
    set(batch ${folder}/batch_${number}.cc)
    file(CONFIGURE OUTPUT ${batch} CONTENT "${text}" @ONLY)
    list(APPEND batches ${batch})
  endwhile()
  set(${result} ${batches} PARENT_SCOPE)
endfunction()

cmake_policy(POP)
