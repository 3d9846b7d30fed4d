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

const std::string& JsonNameOf(const FieldDescriptor& field, bool clash) {
  return clash && IsClashing(field) ? field.name() : field.json_name();
}

const FieldDescriptor* FindJsonField(const Descriptor& type, std::string_view name, int likely,
                                     bool clash) {
  const int count = type.field_count();
  for (int i = 0; i < count; ++i) {
    const FieldDescriptor* const field = type.field((likely + i) % count);
    if (name == field->name()) return field;
    if (name == field->json_name() && !(clash && IsClashing(*field))) return field;
  }
  return nullptr;
}

bool JsonNameClashes::In(const Descriptor& type) {
  thread_local std::unordered_map<const Descriptor*, bool> generated;
  const bool is_generated =
      type.file()->pool() == google::protobuf::DescriptorPool::generated_pool();
  const auto [entry, is_new] = (is_generated ? generated : clashes_).emplace(&type, false);
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
