// What the JSON of a type is made of, worked out once for each type.

#ifndef CMNSYS_UTIL_SRC_JSON_JSON_TYPE_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_TYPE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json/json_output.h"
#include "json/padded_text.h"
#include "json/well_known_types.h"
#include "tables/extensions.h"
#include "tables/indexes.h"
#include "tables/type_tables.h"

namespace CmnSys::Util {

struct JsonType;

struct JsonEnum {
  explicit JsonEnum(const google::protobuf::EnumDescriptor& type);

  // The name of a value as a JSON string, quotes included; nullptr where the number has none.
  const PaddedText* NameOf(int number) const {
    const int index = by_number.Find(number);
    return index < 0 ? nullptr : &names[static_cast<std::size_t>(index)];
  }

  const google::protobuf::EnumDescriptor* descriptor;
  std::vector<PaddedText> names;  // In quotes.
  NumberIndex by_number;
  NameIndex by_name;
};

// A field or extension.
struct JsonField {
  JsonField() = default;
  explicit JsonField(const google::protobuf::FieldDescriptor& described) {
    Describe(described, false);
  }

  // `shares_name` tells whether its JSON name is that of another field, too.
  void Describe(const google::protobuf::FieldDescriptor& described, bool shares_name);

  const google::protobuf::FieldDescriptor* field = nullptr;
  // What the field begins with on the wire, as protobuf's serializer writes it.
  std::uint64_t tag = 0;
  google::protobuf::FieldDescriptor::Type type = google::protobuf::FieldDescriptor::TYPE_BOOL;
  google::protobuf::FieldDescriptor::CppType cpp_type =
      google::protobuf::FieldDescriptor::CPPTYPE_BOOL;
  bool extension = false;
  bool repeated = false;  // Maps are repeated, too.
  bool packed = false;
  bool map = false;
  bool closed_enum = false;  // Its other numbers are unknown fields. Of a map, that of its values.
  bool takes_null = false;
  bool in_oneof = false;  // In one that the schema declares.
  bool in_message_set = false;

  JsonOutput::MemberName json_name;
  JsonOutput::MemberName schema_name;

 private:
  friend class JsonTypes;
  // Looked up when first asked for, since types may hold themselves.
  mutable std::atomic<const JsonType*> message_type_{nullptr};
  mutable std::atomic<const JsonEnum*> enum_type_{nullptr};
};

struct JsonType {
  explicit JsonType(const google::protobuf::Descriptor& type);

  const JsonField* FindField(int number) const {
    const int index = numbers.Find(number);
    return index < 0 ? nullptr : &fields[static_cast<std::size_t>(index)];
  }
  // Extensions, if they were known when the table was made.
  const JsonField* FindExtension(int number) const {
    const int index = extensions.IndexOf(number);
    return index < 0 ? nullptr : &extension_fields[static_cast<std::size_t>(index)];
  }
  // Its name is without brackets.
  const JsonField* FindExtension(std::string_view name) const;
  // The field in either spelling.
  const JsonField* FindField(std::string_view name) const {
    const int index = names.Find(name);
    return index < 0 ? nullptr : &fields[static_cast<std::size_t>(index)];
  }

  const google::protobuf::Descriptor* descriptor;
  JsonForm form;
  bool message_set;
  std::vector<JsonField> fields;    // By index.
  std::vector<std::uint64_t> tags;  // Of the fields.
  NameIndex names;
  NumberIndex numbers;
  Extensions extensions;
  std::vector<JsonField> extension_fields;  // As in `extensions`.
  NameIndex extension_names;
};

// The tables, as TypeTables keeps them.
class JsonTypes {
 public:
  const JsonType& Of(const google::protobuf::Descriptor& type) { return types_.Of(type); }

  const JsonType& MessageTypeOf(const JsonField& field) {
    const JsonType* type = field.message_type_.load(std::memory_order_acquire);
    if (type == nullptr) {
      type = &types_.Of(*field.field->message_type());
      field.message_type_.store(type, std::memory_order_release);
    }
    return *type;
  }

  const JsonEnum& EnumTypeOf(const JsonField& field) {
    const JsonEnum* type = field.enum_type_.load(std::memory_order_acquire);
    if (type == nullptr) {
      type = &enums_.Of(*field.field->enum_type());
      field.enum_type_.store(type, std::memory_order_release);
    }
    return *type;
  }

  // Ends the tables of types that are not generated.
  void Forget() {
    types_.Forget();
    enums_.Forget();
    late_extensions_.clear();
  }

  const JsonField& ExtensionOf(const JsonType& type,
                               const google::protobuf::FieldDescriptor& extension) {
    const JsonField* const known = type.FindExtension(extension.number());
    if (known != nullptr && known->field == &extension) return *known;
    return late_extensions_.try_emplace(&extension, extension).first->second;
  }

 private:
  TypeTables<google::protobuf::Descriptor, JsonType> types_;
  TypeTables<google::protobuf::EnumDescriptor, JsonEnum> enums_;
  // Those that came after their type's table.
  std::unordered_map<const google::protobuf::FieldDescriptor*, JsonField> late_extensions_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_TYPE_H_
