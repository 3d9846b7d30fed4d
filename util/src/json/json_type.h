// What the JSON of a type is made of, worked out once for each type.

#ifndef CMNSYS_UTIL_SRC_JSON_JSON_TYPE_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_TYPE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json/json_output.h"
#include "json/well_known_types.h"
#include "tables/extensions.h"
#include "tables/indexes.h"
#include "tables/type_tables.h"

namespace CmnSys::Util {

struct JsonType;

struct JsonEnum {
  explicit JsonEnum(const google::protobuf::EnumDescriptor& type);

  // The name of a value as a JSON string, quotes included; nullptr where the number has none.
  const std::string* NameOf(int number) const {
    const int index = by_number.Find(number);
    return index < 0 ? nullptr : &names[static_cast<std::size_t>(index)];
  }

  const google::protobuf::EnumDescriptor* descriptor;
  std::vector<std::string> names;  // In quotes.
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
  JsonOutput::MemberName json_name;
  JsonOutput::MemberName schema_name;
  google::protobuf::FieldDescriptor::Type type = google::protobuf::FieldDescriptor::TYPE_BOOL;
  google::protobuf::FieldDescriptor::CppType cpp_type =
      google::protobuf::FieldDescriptor::CPPTYPE_BOOL;
  bool extension = false;
  bool repeated = false;  // Maps are repeated, too.
  bool map = false;
  bool takes_null = false;
  bool in_oneof = false;  // In one that the schema declares.
  bool in_message_set = false;

 private:
  friend class JsonTypes;
  // Looked up when first asked for, since types may hold themselves.
  mutable std::atomic<const JsonType*> message_type_{nullptr};
  mutable std::atomic<const JsonEnum*> enum_type_{nullptr};
};

struct JsonType {
  explicit JsonType(const google::protobuf::Descriptor& type);

  // The extension, if it was known when the table was made.
  const JsonField* FindExtension(const google::protobuf::FieldDescriptor& extension) const;
  // Its name is without brackets.
  const JsonField* FindExtension(std::string_view name) const;
  // The field in either spelling.
  const JsonField* FindField(std::string_view name) const {
    const int index = names.Find(name);
    return index < 0 ? nullptr : &fields[static_cast<std::size_t>(index)];
  }

  const google::protobuf::Descriptor* descriptor;
  // Of the generated class of the type; nullptr where there is none.
  const google::protobuf::Reflection* generated_reflection;
  JsonForm form;
  std::vector<JsonField> fields;  // By index.
  NameIndex names;
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

  // A field or extension of the type. `likely` is the index at which it probably stands, and
  // becomes that of the next.
  const JsonField& FieldOf(const JsonType& type, const google::protobuf::FieldDescriptor& field,
                           std::size_t* likely) {
    // To compare addresses is faster than to look into the descriptor.
    constexpr std::size_t kTried = 3;
    const std::size_t end = std::min(*likely + kTried, type.fields.size());
    for (std::size_t i = *likely; i < end; ++i) {
      if (type.fields[i].field == &field) {
        *likely = i + 1;
        return type.fields[i];
      }
    }
    if (!field.is_extension()) *likely = static_cast<std::size_t>(field.index()) + 1;
    return FieldOf(type, field);
  }

  const JsonField& FieldOf(const JsonType& type, const google::protobuf::FieldDescriptor& field) {
    return field.is_extension() ? ExtensionOf(type, field)
                                : type.fields[static_cast<std::size_t>(field.index())];
  }

 private:
  const JsonField& ExtensionOf(const JsonType& type,
                               const google::protobuf::FieldDescriptor& extension);

  TypeTables<google::protobuf::Descriptor, JsonType> types_;
  TypeTables<google::protobuf::EnumDescriptor, JsonEnum> enums_;
  // Those that came after their type's table.
  std::unordered_map<const google::protobuf::FieldDescriptor*, JsonField> late_extensions_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_TYPE_H_
