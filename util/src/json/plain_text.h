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
  // Eight bytes at a time. Subtraction sets the highest bit of bytes that are too small, and may
  // set it in those above such a byte, which only costs the second look.
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr std::uint64_t kHigh = 0x80 * kEach;
  while (end - text >= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    const std::uint64_t quote = word ^ ('"' * kEach);
    const std::uint64_t backslash = word ^ ('\\' * kEach);
    const std::uint64_t other = ((word - 0x20 * kEach) & ~word) | ((quote - kEach) & ~quote) |
                                ((backslash - kEach) & ~backslash);
    if ((other & kHigh) != 0) break;
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
