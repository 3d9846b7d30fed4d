#include "json/map_key.h"

#include <google/protobuf/descriptor.h>

namespace CmnSys::Util {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

std::string MapKeyText(const Message& entry, const FieldDescriptor* key) {
  const auto* const reflection = entry.GetReflection();
  switch (key->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return std::to_string(reflection->GetInt32(entry, key));
    case FieldDescriptor::CPPTYPE_INT64:
      return std::to_string(reflection->GetInt64(entry, key));
    case FieldDescriptor::CPPTYPE_UINT32:
      return std::to_string(reflection->GetUInt32(entry, key));
    case FieldDescriptor::CPPTYPE_UINT64:
      return std::to_string(reflection->GetUInt64(entry, key));
    case FieldDescriptor::CPPTYPE_BOOL:
      return reflection->GetBool(entry, key) ? "true" : "false";
    default:
      return reflection->GetString(entry, key);
  }
}

}  // namespace CmnSys::Util
