#ifndef CMNSYS_UTIL_SRC_JSON_PLAIN_TEXT_H_
#define CMNSYS_UTIL_SRC_JSON_PLAIN_TEXT_H_

#include <cstdint>
#include <cstring>

namespace CmnSys::Util {

// Whether a byte stands for itself in a JSON string.
inline bool IsPlain(char c) {
  return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\';
}

// Where the first byte stands that is not plain, or `end`. Sets `*ascii` to false when one of the
// bytes before it is no ASCII, and leaves it as it is otherwise.
inline const char* SkipPlain(const char* text, const char* end, bool* ascii) {
  // Eight bytes at a time. The highest bit of a byte is set where it is too small or one of the two
  // marks, and perhaps in bytes that follow such a one.
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr std::uint64_t kHigh = 0x80 * kEach;
  while (end - text >= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    const std::uint64_t quote = word ^ ('"' * kEach);
    const std::uint64_t backslash = word ^ ('\\' * kEach);
    const std::uint64_t other = (((word - 0x20 * kEach) & ~word) | ((quote - kEach) & ~quote) |
                                 ((backslash - kEach) & ~backslash)) &
                                kHigh;
    if (other != 0) {
      static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "The first byte is the lowest.");
      const std::uint64_t before = (other & (~other + 1)) - 1;
      if ((word & before & kHigh) != 0) *ascii = false;
      return text + __builtin_ctzll(other) / 8;
    }
    if ((word & kHigh) != 0) *ascii = false;
    text += 8;
  }
  while (text != end && IsPlain(*text)) {
    if (static_cast<unsigned char>(*text++) >= 0x80) *ascii = false;
  }
  return text;
}

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_PLAIN_TEXT_H_
