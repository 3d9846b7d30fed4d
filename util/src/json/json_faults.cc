#include "json/json_faults.h"

#include <vector>

#include "json/json_lexer.h"
#include "json/wire_fields.h"
#include "text/field_path.h"
#include "text/name_search.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;

namespace {

std::string Shortened(std::string_view number) {
  constexpr std::size_t kLongest = 40;
  return std::string(number.substr(0, kLongest)) + (number.size() > kLongest ? "..." : "");
}

std::string Nearest(const std::vector<std::string>& names, std::string_view name) {
  const std::vector<std::string> nearest = NearestNames(names, name, 1);
  return nearest.empty() ? "" : "; the nearest is \"" + nearest.front() + "\"";
}

}  // namespace

std::string Expected(const FieldDescriptor& field) {
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return "an object (" + field.message_type()->full_name() + ")";
    case FieldDescriptor::CPPTYPE_ENUM:
      return "a name or number of " + field.enum_type()->full_name();
    case FieldDescriptor::CPPTYPE_STRING:
      return field.type() == FieldDescriptor::TYPE_BYTES ? "a string with bytes" : "a string";
    case FieldDescriptor::CPPTYPE_BOOL:
      return "true or false";
    default:
      return std::string("a number (") + field.type_name() + ")";
  }
}

std::string UnknownMember(const Descriptor& type, std::string_view name) {
  std::vector<std::string> known;
  const bool extension = !name.empty() && name.front() == '[';
  if (extension) {
    std::vector<const FieldDescriptor*> extensions;
    type.file()->pool()->FindAllExtensions(&type, &extensions);
    for (const FieldDescriptor* field : extensions) known.push_back(field->full_name());
    name.remove_prefix(1);
    if (!name.empty() && name.back() == ']') name.remove_suffix(1);
  } else {
    for (int i = 0; i < type.field_count(); ++i) known.push_back(type.field(i)->json_name());
  }
  return type.full_name() + " has no " + (extension ? "extension " : "field ") + Quoted(name) +
         Nearest(known, name);
}

std::string UnknownEnumValue(const EnumDescriptor& type, std::string_view name) {
  std::vector<std::string> names;
  for (int i = 0; i < type.value_count(); ++i) names.push_back(type.value(i)->name());
  return Quoted(name) + " is no value of " + type.full_name() + Nearest(names, name);
}

std::string NotTaken(const FieldDescriptor& field, NumberResult result, std::string_view text) {
  switch (result) {
    case NumberResult::kNotWhole:
      return Shortened(text) + " is no whole number, which " + field.type_name() + " needs";
    case NumberResult::kOutOfRange:
      return Shortened(text) + " is out of range for " + field.type_name();
    default:
      return Quoted(text) + " is no number";
  }
}

std::string UnknownField(const Descriptor& type, std::uint64_t tag, std::uint64_t varint) {
  static const char* const kWireTypes[] = {"varint", "fixed64", "length-delimited",
                                           "group",  "group",   "fixed32"};
  const char* const wire_type = kWireTypes[WireTypeOf(tag)];
  const int number = NumberOf(tag);
  const FieldDescriptor* field = type.FindFieldByNumber(number);
  if (field == nullptr) field = type.file()->pool()->FindExtensionByNumber(&type, number);
  if (field == nullptr) {
    return "field " + std::to_string(number) + " (" + wire_type + ") is not known to " +
           type.full_name();
  }
  std::string name;
  AppendField(*field, &name);
  if (field->enum_type() != nullptr && WireTypeOf(tag) == View::kVarint) {
    return std::to_string(static_cast<std::int64_t>(varint)) + " in field " + name +
           " is no value of " + field->enum_type()->full_name();
  }
  return std::string("the ") + wire_type + " in field " + name + " does not fit its type";
}

}  // namespace CmnSys::Util
