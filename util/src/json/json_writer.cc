#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream.h>
#include <google/protobuf/unknown_field_set.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "CmnSys/Util/Json.h"
#include "CmnSys/Util/Parse.h"
#include "json/bytes_text.h"
#include "json/json_number.h"
#include "json/json_output.h"
#include "json/json_path.h"
#include "json/json_type.h"
#include "json/map_key.h"
#include "json/plain_text.h"
#include "json/well_known_types.h"
#include "tables/field_lists.h"
#include "text/field_path.h"
#include "text/runtime_text.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;
using google::protobuf::io::ZeroCopyOutputStream;

namespace {

std::string Describe(const UnknownField& unknown, const Descriptor& type) {
  static const char* const kWireTypes[] = {"varint", "fixed32", "fixed64", "length-delimited",
                                           "group"};
  const FieldDescriptor* field = type.FindFieldByNumber(unknown.number());
  if (field == nullptr) {
    field = type.file()->pool()->FindExtensionByNumber(&type, unknown.number());
  }
  if (field == nullptr) {
    return "field " + std::to_string(unknown.number()) + " (" + kWireTypes[unknown.type()] +
           ") is not known to " + type.full_name();
  }
  std::string name;
  AppendField(*field, &name);
  if (field->enum_type() != nullptr && unknown.type() == UnknownField::TYPE_VARINT) {
    return std::to_string(static_cast<std::int64_t>(unknown.varint())) + " in field " + name +
           " is no value of " + field->enum_type()->full_name();
  }
  return std::string("the ") + kWireTypes[unknown.type()] + " in field " + name +
         " does not fit its type";
}

// Appends to a string by way of a block, since a string that grows fills what it grows by.
class StringOutput : public ZeroCopyOutputStream {
 public:
  explicit StringOutput(std::string* text) : text_(text) {}

  bool Next(void** data, int* size) override {
    Append();
    *data = block_;
    used_ = *size = static_cast<int>(sizeof block_);
    return true;
  }
  void BackUp(int count) override { used_ -= count; }
  std::int64_t ByteCount() const override {
    return static_cast<std::int64_t>(text_->size()) + used_;
  }

  void Append() {
    text_->append(block_, static_cast<std::size_t>(used_));
    used_ = 0;
  }

 private:
  std::string* text_;
  int used_ = 0;
  char block_[8192];
};

class MessageWriter {
 public:
  MessageWriter(const JsonWriteOptions& options, JsonOutput* output)
      : options_(options), output_(*output) {}

  bool WriteRoot(const Message& message) {
    const JsonType& type = types_.Of(*message.GetDescriptor());
    return WriteMessage(Known(message, type), type, 0) && CheckOutput();
  }

  JsonError TakeError() { return std::move(error_); }

 private:
  // The functions below return false after an error.

  // A message with what would take time to ask it for.
  struct Known {
    Known(const Message& its_message, const Reflection& its_reflection, bool is_generated)
        : message(its_message), reflection(its_reflection), generated(is_generated) {}
    Known(const Message& its_message, const JsonType& type)
        : message(its_message),
          reflection(*message.GetReflection()),
          generated(&reflection == type.generated_reflection) {}

    const Message& message;
    const Reflection& reflection;
    bool generated;  // Of a generated class, and so are all messages in its fields.
  };

  // The message in the form that its type has in JSON.
  bool WriteMessage(const Known& known, const JsonType& type, int depth) {
    if (depth > options_.max_depth) {
      return Fail("messages are nested more than " + std::to_string(options_.max_depth) +
                  " deep; raise max_depth if that is right");
    }
    switch (type.form) {
      case JsonForm::kMembers:
        output_.Begin('{');
        return WriteFields(known, type, depth) && EndObject();
      case JsonForm::kValue:
        return WriteValue(known, type.fields.front(), kSingular, depth) &&
               ReportUnknownFields(known);
      case JsonForm::kOwn:
        return WriteOwn(known.message);
      case JsonForm::kAny:
        return WriteAny(known, depth);
    }
    return false;
  }

  bool EndObject() {
    output_.End('}');
    return CheckOutput();
  }

  bool CheckOutput() { return !output_.failed() || Fail("the output cannot be written"); }

  bool WriteFields(const Known& known, const JsonType& type, int depth) {
    FieldLists::Set fields(&lists_, known.message, known.reflection);
    if (options_.unset_fields) AddUnsetFields(*type.descriptor, &*fields);
    std::size_t likely = 0;
    for (const FieldDescriptor* descriptor : *fields) {
      const JsonField& field = types_.FieldOf(type, *descriptor, &likely);
      output_.Key(options_.schema_names ? field.schema_name : field.json_name);
      const JsonPathStep step(&path_, descriptor);
      if (!WriteField(known, field, depth)) return false;
    }
    return ReportUnknownFields(known);
  }

  static void AddUnsetFields(const Descriptor& type, FieldLists::Fields* fields) {
    const FieldLists::Fields set = std::move(*fields);
    fields->clear();
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor* field = type.field(i);
      // To write an unset member of a oneof would take the place of the one that is set.
      const bool has_default =
          field->is_repeated() || (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE &&
                                   field->real_containing_oneof() == nullptr);
      if (has_default || std::find(set.begin(), set.end(), field) != set.end()) {
        fields->push_back(field);
      }
    }
    std::copy_if(set.begin(), set.end(), std::back_inserter(*fields),
                 [](const FieldDescriptor* field) { return field->is_extension(); });
  }

  bool WriteOwn(const Message& message) {
    std::string json;
    if (const auto error = WriteOwnForm(message, &json)) return Fail(*error);
    output_.Raw(json);
    return true;
  }

  bool WriteAny(const Known& known, int depth) {
    const Message& any = known.message;
    const Descriptor& type = *any.GetDescriptor();
    const Reflection& reflection = known.reflection;
    const std::string url = reflection.GetString(any, type.FindFieldByNumber(1));
    const std::string bytes = reflection.GetString(any, type.FindFieldByNumber(2));
    output_.Begin('{');
    if (!url.empty() || !bytes.empty()) {
      const std::unique_ptr<Message> held =
          NewMessageOfUrl(url, *type.file()->pool(), reflection.GetMessageFactory());
      if (held == nullptr) return Fail(UnknownUrl(url));
      ParseLimits limits;
      limits.max_depth = options_.max_depth;
      if (const auto fault = Parse(bytes, limits, held.get())) {
        return Fail("the value is no " + held->GetTypeName() + ": " + ToString(*fault));
      }
      output_.Key(JsonOutput::MemberName("@type"));
      output_.Text(url);
      const JsonType& held_type = types_.Of(*held->GetDescriptor());
      if (held_type.form == JsonForm::kMembers) {
        if (!WriteFields(Known(*held, held_type), held_type, depth)) return false;
      } else {
        output_.Key(JsonOutput::MemberName("value"));
        if (!WriteMessage(Known(*held, held_type), held_type, depth + 1)) return false;
      }
    }
    return ReportUnknownFields(known) && EndObject();
  }

  bool WriteField(const Known& known, const JsonField& field, int depth) {
    if (!field.repeated) return WriteValue(known, field, kSingular, depth);
    if (field.map) return WriteMap(known, field, depth);
    output_.Begin('[');
    const int size = known.reflection.FieldSize(known.message, field.field);
    for (int i = 0; i < size; ++i) {
      path_.SetIndex(i);
      output_.Element();
      if (!WriteValue(known, field, i, depth)) return false;
    }
    output_.End(']');
    return true;
  }

  // Entries sorted by their names, since maps have no order.
  bool WriteMap(const Known& known, const JsonField& field, int depth) {
    const JsonType& type = types_.MessageTypeOf(field);
    const JsonField& value = type.fields[1];
    std::map<std::string, const Message*> entries;
    const int size = known.reflection.FieldSize(known.message, field.field);
    for (int i = 0; i < size; ++i) {
      const Message& entry = known.reflection.GetRepeatedMessage(known.message, field.field, i);
      // Dynamic messages keep all entries that were read with one key; the last one counts.
      entries[MapKeyText(entry, type.fields[0].field)] = &entry;
    }
    output_.Begin('{');
    for (const auto& [name, entry] : entries) {
      path_.SetKey(name);
      std::string utf8;
      if (!MakeUtf8(name, &utf8)) return false;
      output_.Key(JsonOutput::MemberName(utf8));
      if (!WriteValue(Known(*entry, type), value, kSingular, depth)) return false;
    }
    output_.End('}');
    return true;
  }

  // Stands for the value of a field that is not repeated.
  static constexpr int kSingular = -1;

  // The value of a singular field, or the element of a repeated one at the index.
  bool WriteValue(const Known& known, const JsonField& field, int index, int depth) {
    const Message& message = known.message;
    const Reflection& reflection = known.reflection;
    const auto get = [&](auto singular, auto repeated) {
      return index == kSingular ? (reflection.*singular)(message, field.field)
                                : (reflection.*repeated)(message, field.field, index);
    };
    switch (field.cpp_type) {
      case FieldDescriptor::CPPTYPE_INT32:
        output_.Number(get(&Reflection::GetInt32, &Reflection::GetRepeatedInt32));
        return true;
      case FieldDescriptor::CPPTYPE_UINT32:
        output_.Number(get(&Reflection::GetUInt32, &Reflection::GetRepeatedUInt32));
        return true;
      case FieldDescriptor::CPPTYPE_INT64:
        output_.NumberAsText(get(&Reflection::GetInt64, &Reflection::GetRepeatedInt64));
        return true;
      case FieldDescriptor::CPPTYPE_UINT64:
        output_.NumberAsText(get(&Reflection::GetUInt64, &Reflection::GetRepeatedUInt64));
        return true;
      case FieldDescriptor::CPPTYPE_FLOAT:
        WriteReal(get(&Reflection::GetFloat, &Reflection::GetRepeatedFloat));
        return true;
      case FieldDescriptor::CPPTYPE_DOUBLE:
        WriteReal(get(&Reflection::GetDouble, &Reflection::GetRepeatedDouble));
        return true;
      case FieldDescriptor::CPPTYPE_BOOL:
        output_.Raw(get(&Reflection::GetBool, &Reflection::GetRepeatedBool) ? "true" : "false");
        return true;
      case FieldDescriptor::CPPTYPE_ENUM:
        WriteEnum(field, get(&Reflection::GetEnumValue, &Reflection::GetRepeatedEnumValue));
        return true;
      case FieldDescriptor::CPPTYPE_STRING:
        return WriteStringOrBytes(
            field,
            index == kSingular
                ? reflection.GetStringReference(message, field.field, &scratch_)
                : reflection.GetRepeatedStringReference(message, field.field, index, &scratch_));
      case FieldDescriptor::CPPTYPE_MESSAGE:
        return WriteSubMessage(known, field,
                               index == kSingular
                                   ? reflection.GetMessage(message, field.field)
                                   : reflection.GetRepeatedMessage(message, field.field, index),
                               depth + 1);
    }
    return Fail("the field has a type that this library does not know");
  }

  bool WriteSubMessage(const Known& known, const JsonField& field, const Message& message,
                       int depth) {
    const JsonType& type = types_.MessageTypeOf(field);
    // In extensions anybody may have put a dynamic message.
    if (known.generated && !field.extension) {
      return WriteMessage(Known(message, *type.generated_reflection, true), type, depth);
    }
    return WriteMessage(Known(message, type), type, depth);
  }

  void WriteEnum(const JsonField& field, int number) {
    if (field.takes_null) return output_.Raw("null");
    // Open enums hold numbers without a name too.
    const std::string* const name =
        options_.enums_as_numbers ? nullptr : types_.EnumTypeOf(field).NameOf(number);
    if (name == nullptr) {
      output_.Number(number);
    } else {
      output_.Raw(*name);
    }
  }

  bool WriteStringOrBytes(const JsonField& field, const std::string& value) {
    if (field.type == FieldDescriptor::TYPE_BYTES) {
      if (options_.bytes == JsonBytes::kBase64) {
        output_.Base64(value);
      } else {
        output_.Hexadecimal(value);
      }
      return true;
    }
    bool ascii = true;
    const char* const end = value.data() + value.size();
    if (SkipPlain(value.data(), end, &ascii) == end && ascii) {
      output_.PlainText(value);
      return true;
    }
    std::string utf8;
    if (!MakeUtf8(value, &utf8)) return false;
    output_.Text(utf8);
    return true;
  }

  // The text with all that is not UTF-8 replaced, which is a loss.
  bool MakeUtf8(const std::string& text, std::string* utf8) {
    const std::size_t invalid = FirstInvalidUtf8(text);
    if (invalid == text.size()) {
      *utf8 = text;
      return true;
    }
    *utf8 = WithReplacedInvalidUtf8(text);
    return Lose("the string is not UTF-8 at its byte " + std::to_string(invalid) + " (0x" +
                ToHexadecimal(std::string_view(text).substr(invalid, 1)) + ")");
  }

  template <typename Real>
  void WriteReal(Real value) {
    if (std::isnan(value)) return output_.PlainText("NaN");
    if (std::isinf(value)) return output_.PlainText(value < 0 ? "-Infinity" : "Infinity");
    char text[kLongestReal];
    output_.Raw({text, static_cast<std::size_t>(Util::WriteReal(value, text) - text)});
  }

  bool ReportUnknownFields(const Known& known) {
    const UnknownFieldSet& unknown = known.reflection.GetUnknownFields(known.message);
    for (int i = 0; i < unknown.field_count(); ++i) {
      if (!Lose(Describe(unknown.field(i), *known.message.GetDescriptor()))) return false;
    }
    return true;
  }

  bool Lose(std::string reason) {
    if (!options_.on_loss) return Fail(std::move(reason));
    options_.on_loss({path_.Text(), std::move(reason)});
    return true;
  }

  bool Fail(std::string reason) {
    error_.path = path_.Text();
    error_.reason = std::move(reason);
    return false;
  }

  const JsonWriteOptions& options_;
  JsonOutput& output_;
  JsonTypes types_;
  JsonPath path_;
  FieldLists lists_;
  std::string scratch_;  // For strings that a message does not hold as such.
  JsonError error_;
};

}  // namespace

std::optional<JsonError> WriteJson(const Message& message, const JsonWriteOptions& options,
                                   ZeroCopyOutputStream* output) {
  JsonOutput json(output, static_cast<std::size_t>(std::clamp(options.indent, 0, 16)));
  MessageWriter writer(options, &json);
  const bool written = writer.WriteRoot(message);
  json.Flush();
  if (written) return std::nullopt;
  return writer.TakeError();
}

std::optional<JsonError> WriteJson(const Message& message, const JsonWriteOptions& options,
                                   std::string* json) {
  json->clear();
  StringOutput output(json);
  std::optional<JsonError> error = WriteJson(message, options, &output);
  output.Append();
  return error;
}

}  // namespace CmnSys::Util
