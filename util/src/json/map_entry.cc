#include "json/map_entry.h"

#include <cstdint>

#include "json/number_bits.h"
#include "json/wire_fields.h"

namespace CmnSys::Util {

using google::protobuf::FieldDescriptor;

MapEntry ReadMapEntry(const JsonType& type, const char* p, const char* end) {
  MapEntry entry;
  std::uint32_t length = 0;
  p = View::ReadLength(p, end, &length);
  if (p == nullptr) return {};
  entry.end = p + length;
  while (p != nullptr && p != entry.end) {
    std::uint64_t tag = 0;
    p = ReadFieldTag(p, entry.end, false, &tag);
    if (p == nullptr) return {};
    if (tag == type.fields[0].tag && entry.key == nullptr) entry.key = p;
    if (tag == type.fields[1].tag && entry.value == nullptr) entry.value = p;
    p = SkipFieldValue(p, entry.end, tag);
  }
  return p == nullptr ? MapEntry() : entry;
}

std::string KeyOf(const JsonType& type, const MapEntry& entry) {
  const JsonField& key = type.fields[0];
  if (key.cpp_type == FieldDescriptor::CPPTYPE_STRING) {
    std::uint32_t length = 0;
    if (entry.key == nullptr) return "";
    const char* const text = View::ReadLength(entry.key, entry.end, &length);
    return text == nullptr ? "" : std::string(text, length);
  }
  std::uint64_t bits = 0;
  if (entry.key != nullptr) ReadBits(key, entry.key, entry.end, &bits);
  switch (key.cpp_type) {
    case FieldDescriptor::CPPTYPE_INT32:
      return std::to_string(static_cast<std::int32_t>(bits));
    case FieldDescriptor::CPPTYPE_INT64:
      return std::to_string(static_cast<std::int64_t>(bits));
    case FieldDescriptor::CPPTYPE_BOOL:
      return bits != 0 ? "true" : "false";
    default:
      return std::to_string(bits);
  }
}

}  // namespace CmnSys::Util
