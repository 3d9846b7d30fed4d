// Text as the protobuf runtime checks and escapes it, by functions of the runtime that are not part
// of its interface.

#ifndef CMNSYS_UTIL_SRC_TEXT_RUNTIME_TEXT_H_
#define CMNSYS_UTIL_SRC_TEXT_RUNTIME_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace CmnSys::Util {

// Where text stops being UTF-8 (RFC 3629: no surrogates, no overlong forms, nothing above
// U+10FFFF), or its size when all of it is. Searches from `start`, the beginning of a character.
std::size_t FirstInvalidUtf8(std::string_view text, std::size_t start = 0);

// The text with U+FFFD in place of each byte that is part of no character.
std::string WithReplacedInvalidUtf8(std::string_view text);

// The text with everything that is not printable ASCII, quotes and backslashes as escapes of C.
std::string CEscaped(std::string_view text);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_TEXT_RUNTIME_TEXT_H_
