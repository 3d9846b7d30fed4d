# What all hand-written code of this project compiles with; generated code does not.
add_library(cmnsys_own_code INTERFACE)
target_compile_features(cmnsys_own_code INTERFACE cxx_std_17)
target_compile_options(cmnsys_own_code INTERFACE
  -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)

# Sanitizers watch hand-written code, with the inline functions of generated and runtime headers
# that it calls, but not what protoc generated: that is as little ours as the protobuf runtime and
# gRPC, which are not instrumented either, and without it a sanitized build takes half the time (and
# finds the generated code in the compiler cache when the release build has put it there). Their
# memory is still guarded: allocations, copies and string functions of all libraries are.
set(CMNSYS_SANITIZERS "" CACHE STRING
  "Sanitizers to build hand-written code with, as in -fsanitize=; empty for none")
if(CMNSYS_SANITIZERS)
  target_compile_options(cmnsys_own_code INTERFACE
    -O1 -g1 -UNDEBUG -fno-omit-frame-pointer
    -fsanitize=${CMNSYS_SANITIZERS} -fno-sanitize-recover=undefined
    # GCC 12 takes what the sanitizers insert into the standard library's regular expressions for
    # uninitialized; the sanitizers themselves find the real cases.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(cmnsys_own_code INTERFACE -fsanitize=${CMNSYS_SANITIZERS})
endif()

# cmnsys_precompile_headers(<target> [<header>...])
# Compiles the headers that nearly all hand-written files include, and more headers of other
# projects, once for the target. Parsing them is most of the time that such a file takes. Pays from
# some four files on. Files still include what they use: clang-tidy reads them without.
function(cmnsys_precompile_headers target)
  target_precompile_headers(${target} PRIVATE
    <algorithm>
    <functional>
    <map>
    <memory>
    <optional>
    <ostream>
    <sstream>
    <string>
    <string_view>
    <vector>
    <google/protobuf/descriptor.h>
    <google/protobuf/message.h>
    ${ARGN})
endfunction()

# clang-tidy wants to know how each source by itself is compiled.
option(CMNSYS_COMPILE_AT_ONCE "Compile several sources of a test at once" ON)
mark_as_advanced(CMNSYS_COMPILE_AT_ONCE)
