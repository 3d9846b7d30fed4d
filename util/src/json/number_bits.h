// Numbers of any kind, and enums, as the low bits of an integer: as many as the field's type has.

#ifndef CMNSYS_UTIL_SRC_JSON_NUMBER_BITS_H_
#define CMNSYS_UTIL_SRC_JSON_NUMBER_BITS_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>

#include "CmnSys/View/Wire.h"
#include "json/json_type.h"

namespace CmnSys::Util {

// Reads the value of a field from the wire, as the functions of View/Wire.h read.
inline const char* ReadBits(const JsonField& field, const char* p, const char* end,
                            std::uint64_t* bits) {
  switch (field.type) {
    case google::protobuf::FieldDescriptor::TYPE_FIXED32:
    case google::protobuf::FieldDescriptor::TYPE_SFIXED32:
    case google::protobuf::FieldDescriptor::TYPE_FLOAT: {
      std::uint32_t low = 0;
      p = View::ReadFixed(p, end, &low);
      *bits = low;
      return p;
    }
    case google::protobuf::FieldDescriptor::TYPE_FIXED64:
    case google::protobuf::FieldDescriptor::TYPE_SFIXED64:
    case google::protobuf::FieldDescriptor::TYPE_DOUBLE:
      return View::ReadFixed(p, end, bits);
    case google::protobuf::FieldDescriptor::TYPE_SINT32:
    case google::protobuf::FieldDescriptor::TYPE_SINT64:
      p = View::ReadVarint(p, end, bits);
      *bits = static_cast<std::uint64_t>(View::DecodeZigZag64(*bits));
      return p;
    default:
      return View::ReadVarint(p, end, bits);
  }
}

// The default value of a field.
std::uint64_t DefaultBits(const google::protobuf::FieldDescriptor& field);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_NUMBER_BITS_H_
