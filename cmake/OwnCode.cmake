# What all hand-written code of this project compiles with; generated code does not.
add_library(cmnsys_own_code INTERFACE)
target_compile_features(cmnsys_own_code INTERFACE cxx_std_17)
target_compile_options(cmnsys_own_code INTERFACE
  -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
# GCC 12 takes what the sanitizers insert into the standard library's regular expressions for
# uninitialized; the sanitizers themselves find the real cases.
if(CMAKE_BUILD_TYPE STREQUAL "Sanitize")
  target_compile_options(cmnsys_own_code INTERFACE -Wno-maybe-uninitialized)
endif()
