// What programs built against glibc 2.38 and GCC 13 ask of the C and C++ libraries, for older ones.
// Loaded before them; see run.mjs.

#include <cstdlib>
#include <iostream>

#if !__GLIBC_PREREQ(2, 38)

// The names are those of the libraries.
extern "C" {

long __isoc23_strtol(const char* text, char** end, int base) {
  return std::strtol(text, end, base);
}
unsigned long __isoc23_strtoul(const char* text, char** end, int base) {
  return std::strtoul(text, end, base);
}
long long __isoc23_strtoll(const char* text, char** end, int base) {
  return std::strtoll(text, end, base);
}
unsigned long long __isoc23_strtoull(const char* text, char** end, int base) {
  return std::strtoull(text, end, base);
}

// std::ios_base_library_init(), which in these libraries is done by including <iostream>.
void _ZSt21ios_base_library_initv() {}
}

#endif
