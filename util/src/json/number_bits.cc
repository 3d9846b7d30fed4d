#include "json/number_bits.h"

#include <cstring>

namespace CmnSys::Util {

using google::protobuf::FieldDescriptor;

std::uint64_t DefaultBits(const FieldDescriptor& field) {
  const auto bits_of = [](auto value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof value);
    return bits;
  };
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return bits_of(field.default_value_int32());
    case FieldDescriptor::CPPTYPE_UINT32:
      return bits_of(field.default_value_uint32());
    case FieldDescriptor::CPPTYPE_INT64:
      return bits_of(field.default_value_int64());
    case FieldDescriptor::CPPTYPE_UINT64:
      return bits_of(field.default_value_uint64());
    case FieldDescriptor::CPPTYPE_FLOAT:
      return bits_of(field.default_value_float());
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return bits_of(field.default_value_double());
    case FieldDescriptor::CPPTYPE_BOOL:
      return bits_of(field.default_value_bool());
    default:
      return bits_of(field.default_value_enum()->number());
  }
}

}  // namespace CmnSys::Util
