#include "json/json_type.h"

#include <google/protobuf/descriptor.pb.h>

#include "json/wire_fields.h"
#include "text/field_path.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

namespace {

std::vector<NumberIndex::Entry> NumbersOf(const EnumDescriptor& type) {
  std::vector<NumberIndex::Entry> numbers;
  for (int i = 0; i < type.value_count(); ++i) numbers.push_back({type.value(i)->number(), i});
  return numbers;
}

std::vector<NameIndex::Entry> NamesOf(const EnumDescriptor& type) {
  std::vector<NameIndex::Entry> names;
  for (int i = 0; i < type.value_count(); ++i) names.push_back({type.value(i)->name(), i});
  return names;
}

// The fields whose JSON name is also a name of another field, by index.
std::vector<bool> SharedNames(const Descriptor& type) {
  std::unordered_map<std::string_view, int> owners;
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    ++owners[field.name()];
    if (field.name() != field.json_name()) ++owners[field.json_name()];
  }
  std::vector<bool> shared;
  for (int i = 0; i < type.field_count(); ++i) {
    shared.push_back(owners[type.field(i)->json_name()] > 1);
  }
  return shared;
}

std::vector<NameIndex::Entry> NamesOf(const Descriptor& type) {
  const std::vector<bool> shared = SharedNames(type);
  std::vector<NameIndex::Entry> names;
  for (int i = 0; i < type.field_count(); ++i) {
    names.push_back({type.field(i)->name(), i});
    if (!shared[static_cast<std::size_t>(i)]) names.push_back({type.field(i)->json_name(), i});
  }
  return names;
}

std::vector<NumberIndex::Entry> NumbersOf(const Descriptor& type) {
  std::vector<NumberIndex::Entry> numbers;
  for (int i = 0; i < type.field_count(); ++i) numbers.push_back({type.field(i)->number(), i});
  return numbers;
}

View::WireType SerializedAs(const FieldDescriptor& field) {
  if (field.is_packed()) return View::kLengthDelimited;
  switch (field.type()) {
    case FieldDescriptor::TYPE_GROUP:
      return View::kStartGroup;
    case FieldDescriptor::TYPE_MESSAGE:
    case FieldDescriptor::TYPE_STRING:
    case FieldDescriptor::TYPE_BYTES:
      return View::kLengthDelimited;
    case FieldDescriptor::TYPE_FIXED32:
    case FieldDescriptor::TYPE_SFIXED32:
    case FieldDescriptor::TYPE_FLOAT:
      return View::kFixed32;
    case FieldDescriptor::TYPE_FIXED64:
    case FieldDescriptor::TYPE_SFIXED64:
    case FieldDescriptor::TYPE_DOUBLE:
      return View::kFixed64;
    default:
      return View::kVarint;
  }
}

bool HasClosedEnum(const FieldDescriptor& field) {
  const FieldDescriptor& holder = field.is_map() ? *field.message_type()->map_value() : field;
  return holder.enum_type() != nullptr &&
         // What counts is the type that holds the field and not that of the enum.
         holder.containing_type()->file()->syntax() != FileDescriptor::SYNTAX_PROTO3;
}

std::vector<JsonField> Described(const std::vector<const FieldDescriptor*>& descriptors) {
  std::vector<JsonField> fields(descriptors.size());
  for (std::size_t i = 0; i < fields.size(); ++i) fields[i].Describe(*descriptors[i], false);
  return fields;
}

std::vector<JsonField> FieldsOf(const Descriptor& type) {
  const std::vector<bool> shared = SharedNames(type);
  std::vector<JsonField> fields(shared.size());
  for (std::size_t i = 0; i < fields.size(); ++i) {
    fields[i].Describe(*type.field(static_cast<int>(i)), shared[i]);
  }
  return fields;
}

std::vector<NameIndex::Entry> ExtensionNamesOf(
    const std::vector<const FieldDescriptor*>& extensions) {
  std::vector<NameIndex::Entry> names;
  for (const FieldDescriptor* extension : extensions) {
    names.push_back({extension->full_name(), static_cast<int>(names.size())});
  }
  return names;
}

}  // namespace

JsonEnum::JsonEnum(const EnumDescriptor& type)
    : descriptor(&type), by_number(NumbersOf(type)), by_name(NamesOf(type)) {
  for (int i = 0; i < type.value_count(); ++i)
    names.emplace_back(JsonQuoted(type.value(i)->name()));
}

void JsonField::Describe(const FieldDescriptor& described, bool shares_name) {
  field = &described;
  const std::string name = FieldName(described);
  const bool own_name = described.is_extension() || shares_name;
  json_name = JsonOutput::MemberName(own_name ? name : described.json_name());
  schema_name = JsonOutput::MemberName(name);
  type = described.type();
  cpp_type = described.cpp_type();
  extension = described.is_extension();
  tag = FieldTag(static_cast<std::uint32_t>(described.number()), SerializedAs(described));
  repeated = described.is_repeated();
  packed = described.is_packed();
  map = described.is_map();
  closed_enum = HasClosedEnum(described);
  takes_null = TakesNull(described);
  in_oneof = described.real_containing_oneof() != nullptr;
  in_message_set = described.containing_type()->options().message_set_wire_format();
}

JsonType::JsonType(const Descriptor& type)
    : descriptor(&type),
      form(JsonFormOf(type)),
      message_set(type.options().message_set_wire_format()),
      fields(FieldsOf(type)),
      names(NamesOf(type)),
      numbers(NumbersOf(type)),
      extensions(type),
      extension_fields(Described(extensions.all())),
      extension_names(ExtensionNamesOf(extensions.all())) {
  for (const JsonField& field : fields) tags.push_back(field.tag);
}

const JsonField* JsonType::FindExtension(std::string_view name) const {
  const int index = extension_names.Find(name);
  return index < 0 ? nullptr : &extension_fields[static_cast<std::size_t>(index)];
}

}  // namespace CmnSys::Util
