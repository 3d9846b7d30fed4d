#ifndef CMNSYS_UTIL_SRC_JSON_BYTES_TEXT_H_
#define CMNSYS_UTIL_SRC_JSON_BYTES_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

namespace CmnSys::Util {

// Bytes as text, by RFC 4648: base64 with the standard alphabet and padding, and base16 in lower
// case.
std::string ToBase64(std::string_view bytes);
std::string ToHexadecimal(std::string_view bytes);

// And back. Base64 may use either alphabet and leave its padding out; hexadecimal digits may be of
// either case. Return nothing for anything else.
std::optional<std::string> FromBase64(std::string_view text);
std::optional<std::string> FromHexadecimal(std::string_view text);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_BYTES_TEXT_H_
