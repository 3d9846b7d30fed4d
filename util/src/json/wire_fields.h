// The fields of a message on the wire as protobuf's serializer has written them: known ones by
// their numbers, then those that are unknown. As the functions of View/Wire.h, these take the place
// `p` to read at and the end `e` of the bytes, p <= e, and return the place behind what they read,
// or null when that is malformed.

#ifndef CMNSYS_UTIL_SRC_JSON_WIRE_FIELDS_H_
#define CMNSYS_UTIL_SRC_JSON_WIRE_FIELDS_H_

#include <cstdint>

#include "CmnSys/View/Wire.h"

namespace CmnSys::Util {

// Numbers in message sets have 31 bits, for which a tag of 32 has no room.
constexpr std::uint64_t FieldTag(std::uint32_t number, View::WireType type) {
  return std::uint64_t{number} << 3 | type;
}
constexpr int NumberOf(std::uint64_t tag) { return static_cast<int>(tag >> 3); }
constexpr View::WireType WireTypeOf(std::uint64_t tag) {
  return static_cast<View::WireType>(tag & 7);
}

namespace internal {

// group Item = 1 { required int32 type_id = 2; required bytes message = 3; }
constexpr std::uint32_t kItem = View::MakeTag(1, View::kStartGroup);

// The beginning of an item up to the length of its message, as the tag of that field.
inline const char* ReadItem(const char* p, const char* e, std::uint64_t* tag) {
  std::uint32_t ignored = 0;
  std::uint64_t number = 0;
  p = View::ReadTag(p, e, &ignored);
  if (p != nullptr) p = View::ReadVarint(p, e, &number);
  if (p != nullptr) p = View::ReadTag(p, e, &ignored);
  *tag = FieldTag(static_cast<std::uint32_t>(number), View::kLengthDelimited);
  return p;
}

}  // namespace internal

// Reads a tag, or the beginning of an item of a message set as the tag of the field in it.
inline const char* ReadFieldTag(const char* p, const char* e, bool message_set,
                                std::uint64_t* tag) {
  std::uint32_t read = 0;
  p = View::ReadTag(p, e, &read);
  *tag = read;
  if (message_set && p != nullptr && read == internal::kItem) {
    return internal::ReadItem(p, e, tag);
  }
  return p;
}

// What stands behind the value of such a field.
inline const char* LeaveField(const char* p, const char* e, bool message_set) {
  std::uint32_t end_of_item = 0;
  return message_set && p != nullptr ? View::ReadTag(p, e, &end_of_item) : p;
}

// Skips the value of a field with the tag; groups may be nested in any depth.
inline const char* SkipFieldValue(const char* p, const char* e, std::uint64_t tag) {
  int open = 0;
  std::uint32_t inner = static_cast<std::uint32_t>(tag & 7) | View::MakeTag(1, View::kVarint);
  while (true) {
    switch (WireTypeOf(inner)) {
      case View::kStartGroup:
        ++open;
        break;
      case View::kEndGroup:
        --open;
        break;
      default:
        p = View::SkipValue(p, e, inner, 0);
    }
    if (open == 0 || p == nullptr) return p;
    p = View::ReadTag(p, e, &inner);
    if (p == nullptr) return p;
  }
}

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_WIRE_FIELDS_H_
