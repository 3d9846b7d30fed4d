#include "json/json_names.h"

#include <unordered_set>

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

bool IsClashing(const FieldDescriptor& field) {
  const Descriptor& type = *field.containing_type();
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& other = *type.field(i);
    if (&other != &field &&
        (other.json_name() == field.json_name() || other.name() == field.json_name())) {
      return true;
    }
  }
  return false;
}

}  // namespace

const std::string& JsonNames::NameOf(const FieldDescriptor& field) {
  const bool clashing = HasClash(*field.containing_type()) && IsClashing(field);
  return clashing ? field.name() : field.json_name();
}

const FieldDescriptor* JsonNames::FindField(const Descriptor& type, std::string_view name,
                                            int likely) {
  const int count = type.field_count();
  const bool clash = HasClash(type);
  for (int i = 0; i < count; ++i) {
    const FieldDescriptor* const field = type.field((likely + i) % count);
    if (name == field->name()) return field;
    if (name == field->json_name() && !(clash && IsClashing(*field))) return field;
  }
  return nullptr;
}

bool JsonNames::HasClash(const Descriptor& type) {
  const auto [entry, is_new] = clashes_.emplace(&type, false);
  if (!is_new) return entry->second;
  std::unordered_set<std::string_view> names;
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    const bool fresh = names.insert(field.json_name()).second &&
                       (field.name() == field.json_name() || names.insert(field.name()).second);
    if (!fresh) entry->second = true;
  }
  return entry->second;
}

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
