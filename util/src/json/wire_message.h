#ifndef CMNSYS_UTIL_SRC_JSON_WIRE_MESSAGE_H_
#define CMNSYS_UTIL_SRC_JSON_WIRE_MESSAGE_H_

#include <google/protobuf/message.h>

#include <string_view>

#include "json/wire_bytes.h"

namespace CmnSys::Util {

// Appends what the message is serialized as. Returns false, without a change, when that takes more
// than View::kMaxLength bytes.
bool AppendToWire(const google::protobuf::Message& message, WireBytes* wire);

// Parses the bytes into the message, whatever their depth, and merges it with what is there.
bool MergeFromWire(std::string_view bytes, google::protobuf::Message* message);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_WIRE_MESSAGE_H_
