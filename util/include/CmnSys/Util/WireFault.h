// Why bytes do not parse as a message.
//
// Protobuf's parsers answer only true or false. This finds the place and the reason in bytes that
// they refused, following the wire format of https://protobuf.dev/programming-guides/encoding/.

#ifndef CMNSYS_UTIL_WIRE_FAULT_H_
#define CMNSYS_UTIL_WIRE_FAULT_H_

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "CmnSys/Util/Export.h"

namespace CmnSys::Util {

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

// Returns the first fault of `bytes` read as a message of `type`, or nothing when they are well
// formed. `max_depth` is the number of messages and groups that may be nested below the outermost
// one; the protobuf runtime allows 100 unless told otherwise. Thread-safe; O(bytes).
CMNSYSUTIL_EXPORT std::optional<WireFault> FindWireFault(const google::protobuf::Descriptor& type,
                                                         std::string_view bytes,
                                                         int max_depth = 100);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_WIRE_FAULT_H_
