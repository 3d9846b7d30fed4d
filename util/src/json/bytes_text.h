#ifndef CMNSYS_UTIL_SRC_JSON_BYTES_TEXT_H_
#define CMNSYS_UTIL_SRC_JSON_BYTES_TEXT_H_

#include <string>
#include <string_view>

namespace CmnSys::Util {

// Bytes as text, by RFC 4648: base64 with the standard alphabet and padding, and base16 in lower
// case. Written to `text`, which has room; return the end of what was written. Every three bytes
// are four of base64, the last one or two as well; every byte is two digits.
char* WriteBase64(std::string_view bytes, char* text);
char* WriteHexadecimal(std::string_view bytes, char* text);
std::string ToHexadecimal(std::string_view bytes);

// And back. Base64 may use either alphabet and leave its padding out; hexadecimal digits may be of
// either case. Written to `bytes`, which has room for as many as the text has; return the end of
// what was written, or nullptr for any other text.
char* ReadBase64(std::string_view text, char* bytes);
char* ReadHexadecimal(std::string_view text, char* bytes);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_BYTES_TEXT_H_
