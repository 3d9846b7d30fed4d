// Messages from wire bytes, with the reason when the bytes are none.
//
// Protobuf's own parse functions answer only true or false. The wire format is that of
// https://protobuf.dev/programming-guides/encoding/.

#ifndef CMNSYS_UTIL_PARSE_H_
#define CMNSYS_UTIL_PARSE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "CmnSys/Util/Export.h"

namespace CmnSys::Util {

struct ParseLimits {
  // Length of the bytes. At most 2^31 - 1, what protobuf can parse.
  std::uint64_t max_bytes = (std::uint64_t{1} << 31) - 1;
  // Messages and groups nested below the outermost message. The default is that of protobuf's own
  // parse functions, and the fastest: with any other value the bytes are read twice. Each level
  // takes some 400 bytes of the stack.
  int max_depth = 100;
};

struct WireFault {
  // Where reading stops, in bytes from the beginning.
  std::size_t offset = 0;
  // The field in which it stops, as names joined by dots with indexes of repeated fields
  // ("arguments[1].iota_u32"); fields that the type does not know stand by number. Empty at the
  // top level.
  std::string path;
  // What is wrong, as part of a sentence: "the length is 40 but the bytes left are 12".
  std::string reason;
};

// The fault as one line: "at byte 3, in iota_u32, the length is 40 but the bytes left are 12".
CMNSYSUTIL_EXPORT std::string ToString(const WireFault& fault);

// Replaces the content of `message` by the message that `bytes` hold. Returns nothing when that
// succeeded, or what is wrong: bytes that are no message of this type, required fields that are
// missing, or a limit that is exceeded; the message is then empty. However the bytes lie about
// their lengths, no more memory is taken for a field than they have bytes. Thread-safe for distinct
// messages; O(bytes).
[[nodiscard]] CMNSYSUTIL_EXPORT std::optional<WireFault> Parse(std::string_view bytes,
                                                               const ParseLimits& limits,
                                                               google::protobuf::Message* message);

// Returns the first fault of `bytes` read as a message of `type`, or nothing when they are well
// formed, without making a message of them; required fields are not looked at. Each level of
// nesting takes some 400 bytes of the stack. Thread-safe; O(bytes).
CMNSYSUTIL_EXPORT std::optional<WireFault> FindWireFault(const google::protobuf::Descriptor& type,
                                                         std::string_view bytes,
                                                         int max_depth = 100);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_PARSE_H_
