// Random messages that are valid for their type, for tests, samples and load.

#ifndef CMNSYS_UTIL_RANDOM_MESSAGE_H_
#define CMNSYS_UTIL_RANDOM_MESSAGE_H_

#include <google/protobuf/message.h>

#include <cstddef>
#include <cstdint>

#include "CmnSys/Util/Export.h"

namespace CmnSys::Util {

struct RandomMessageOptions {
  // How likely each field is set, in percent, 0 to 100. At 100 every field is set that the limits
  // below allow.
  int percent_set = 60;
  // Elements of a repeated field that is set: 1 to this.
  int max_repeated = 3;
  // Extensions set in one message, chosen at random. Those of this schema are alternatives, such as
  // the payloads of an event, so that one is the natural number.
  int max_extensions = 1;
  // Messages nested below the outermost one.
  int max_depth = 5;
  // The serialized message is no longer than this. Fields that must be set, of which this schema
  // has none, are set even when the limits are reached.
  std::size_t max_bytes = std::size_t{4} << 10;
  // Whether selectors and payloads go together as the pairing rules want it (see Check.h). A record
  // that follows a rule is left out where the limits leave no room for its payload; the outermost
  // message needs a depth of 3 and some 50 bytes for one.
  bool follow_pairing = false;
  // Whether float and double fields may be NaN or infinite.
  bool non_finite = false;
};

// Replaces the content of `message` by random fields that the type allows: enum fields hold
// declared values, string fields UTF-8 (also with quotes, control characters and characters of
// two to four bytes), number fields often the ends of their range, and there are no unknown fields.
//
// The same type, seed and options give the same message, on every machine and in every run; a new
// release of this library may give another one. Extensions are those linked into the program.
// Thread-safe for distinct messages; O(bytes written).
CMNSYSUTIL_EXPORT void FillRandom(std::uint64_t seed, const RandomMessageOptions& options,
                                  google::protobuf::Message* message);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_RANDOM_MESSAGE_H_
