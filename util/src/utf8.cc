#include "utf8.h"

#include <cstdint>
#include <cstring>

namespace CmnSys::Util {
namespace {

// Length of the character at the beginning of `text`, 0 when there is none.
std::size_t CharacterLength(std::string_view text) {
  const auto byte = [&text](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const auto continues = [&byte](std::size_t i) { return (byte(i) & 0xc0U) == 0x80U; };
  const unsigned first = byte(0);
  const unsigned second = byte(1);
  if (first < 0x80) return 1;
  if (first < 0xc2) return 0;
  if (first < 0xe0) return continues(1) ? 2 : 0;
  if (first < 0xf0) {
    if (!continues(1) || !continues(2)) return 0;
    if (first == 0xe0 && second < 0xa0) return 0;   // Overlong.
    if (first == 0xed && second >= 0xa0) return 0;  // A surrogate.
    return 3;
  }
  if (first > 0xf4 || !continues(1) || !continues(2) || !continues(3)) return 0;
  if (first == 0xf0 && second < 0x90) return 0;   // Overlong.
  if (first == 0xf4 && second >= 0x90) return 0;  // Above U+10FFFF.
  return 4;
}

}  // namespace

std::size_t FirstInvalidUtf8(std::string_view text, std::size_t start) {
  std::size_t position = start;
  while (position < text.size()) {
    // Most text is ASCII: eight bytes at a time.
    std::uint64_t eight = 0;
    if (text.size() - position >= sizeof eight) {
      std::memcpy(&eight, text.data() + position, sizeof eight);
      if ((eight & 0x8080808080808080U) == 0) {
        position += sizeof eight;
        continue;
      }
    }
    const std::size_t length = CharacterLength(text.substr(position, 4));
    if (length == 0) return position;
    position += length;
  }
  return text.size();
}

std::string WithReplacedInvalidUtf8(std::string_view text) {
  std::string result;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t invalid = FirstInvalidUtf8(text, position);
    result += text.substr(position, invalid - position);
    if (invalid == text.size()) break;
    result += "\xef\xbf\xbd";
    position = invalid + 1;
  }
  return result;
}

}  // namespace CmnSys::Util
