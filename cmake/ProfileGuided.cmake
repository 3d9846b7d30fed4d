# The optimized libraries: compiled by what a training run shows of them, each as a whole, and bound
# so that they load fast. That takes two builds:
#
#   CMNSYS_PROFILE=record  adds counters to the libraries; the target `profile` runs the training
#                          program, which leaves a profile beside each object file.
#   CMNSYS_PROFILE=use     takes the profiles from CMNSYS_PROFILE_BUILD, the folder of the first
#                          build, when it is configured.
#
# The presets `training` and `optimized` are these two; `make optimized` runs them in turn.

set(CMNSYS_PROFILE "" CACHE STRING
  "Profile-guided optimization of the libraries: record, use, or empty for none")
set_property(CACHE CMNSYS_PROFILE PROPERTY STRINGS "" record use)
set(CMNSYS_PROFILE_BUILD "" CACHE PATH "Build folder of the training run, for CMNSYS_PROFILE=use")

if(NOT CMNSYS_PROFILE STREQUAL "" AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  message(FATAL_ERROR "CMNSYS_PROFILE=${CMNSYS_PROFILE} works with GCC, and the compiler is "
    "${CMAKE_CXX_COMPILER}. Choose g++ or leave CMNSYS_PROFILE empty.")
endif()

# A profile has the name and the place of its object file, so that the compiler, and ccache, find
# the copy in this build by themselves.
if(CMNSYS_PROFILE STREQUAL "use")
  file(GLOB_RECURSE profiles RELATIVE ${CMNSYS_PROFILE_BUILD} ${CMNSYS_PROFILE_BUILD}/*.gcda)
  if(NOT profiles)
    message(FATAL_ERROR "There is no profile in CMNSYS_PROFILE_BUILD (\"${CMNSYS_PROFILE_BUILD}\"): "
      "build the target `profile` of the preset `training` first, or run `make optimized`.")
  endif()
  set(digests)
  foreach(profile IN LISTS profiles)
    configure_file(${CMNSYS_PROFILE_BUILD}/${profile} ${PROJECT_BINARY_DIR}/${profile} COPYONLY)
    file(SHA256 ${PROJECT_BINARY_DIR}/${profile} digest)
    string(APPEND digests "${digest} ${profile}\n")
  endforeach()
  # Changes when a profile does, and then everything is compiled again.
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/profiles.txt CONTENT "${digests}" @ONLY)
endif()

# cmnsys_optimize(<library>)
# Call it when the library has its sources.
function(cmnsys_optimize target)
  if(CMNSYS_PROFILE STREQUAL "record")
    target_compile_options(${target} PRIVATE -fprofile-generate)
    target_link_options(${target} PRIVATE -fprofile-generate)
  elseif(CMNSYS_PROFILE STREQUAL "use")
    target_compile_options(${target} PRIVATE -fprofile-use -Wno-missing-profile -fno-plt)
    set_property(TARGET ${target} PROPERTY INTERPROCEDURAL_OPTIMIZATION ON)
    get_target_property(sources ${target} SOURCES)
    set_property(SOURCE ${sources} TARGET_DIRECTORY ${target}
      APPEND PROPERTY OBJECT_DEPENDS ${PROJECT_BINARY_DIR}/profiles.txt)
  endif()
endfunction()

# cmnsys_bind_when_linked(<library> <list of symbols that stay interposable>)
function(cmnsys_bind_when_linked target list)
  if(CMNSYS_PROFILE STREQUAL "use")
    target_link_options(${target} PRIVATE LINKER:--dynamic-list=${list})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${list})
  endif()
endfunction()
