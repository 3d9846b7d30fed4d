# Compiles through ccache where it is installed. The settings let a fresh clone in another folder
# hit the cache, also for files that use a precompiled header.
find_program(CMNSYS_CCACHE ccache)
mark_as_advanced(CMNSYS_CCACHE)
if(CMNSYS_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env
    CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}
    CCACHE_NOHASHDIR=true
    CCACHE_SLOPPINESS=pch_defines,time_macros
    ${CMNSYS_CCACHE})
  add_compile_options(
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
    $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>
    "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endif()
