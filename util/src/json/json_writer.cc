#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/unknown_field_set.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "CmnSys/Util/Json.h"
#include "CmnSys/Util/Parse.h"
#include "json/bytes_text.h"
#include "json/json_names.h"
#include "json/json_number.h"
#include "json/json_path.h"
#include "json/well_known_types.h"
#include "text/field_path.h"
#include "text/runtime_text.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;
using google::protobuf::io::ZeroCopyOutputStream;

namespace {

// RapidJSON's output stream on protobuf's. Once the output fails it takes no more.
class JsonOutput {
 public:
  using Ch = char;

  explicit JsonOutput(ZeroCopyOutputStream* output) : output_(output) {}

  void Put(char c) {
    if (next_ == end_ && !Refill()) return;
    *next_++ = c;
  }

  void Flush() {
    if (next_ != end_) output_->BackUp(static_cast<int>(end_ - next_));
    next_ = end_ = nullptr;
  }

  bool failed() const { return failed_; }

 private:
  bool Refill() {
    void* data = nullptr;
    int size = 0;
    while (!failed_ && size == 0) failed_ = !output_->Next(&data, &size);
    if (failed_) return false;
    next_ = static_cast<char*>(data);
    end_ = next_ + size;
    return true;
  }

  ZeroCopyOutputStream* output_;
  char* next_ = nullptr;
  char* end_ = nullptr;
  bool failed_ = false;
};

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

// `Writer` is RapidJSON's Writer or PrettyWriter.
template <typename Writer>
class MessageWriter {
 public:
  MessageWriter(const JsonWriteOptions& options, JsonOutput* output, Writer* writer)
      : options_(options), output_(output), writer_(writer) {}

  // The functions below return false after an error.

  // The message in the form that its type has in JSON.
  bool WriteMessage(const Message& message, int depth) {
    if (depth > options_.max_depth) {
      return Fail("messages are nested more than " + std::to_string(options_.max_depth) +
                  " deep; raise max_depth if that is right");
    }
    switch (JsonFormOf(*message.GetDescriptor())) {
      case JsonForm::kMembers:
        writer_->StartObject();
        return WriteFields(message, depth) && EndObject();
      case JsonForm::kValue:
        return WriteValue(message, message.GetDescriptor()->field(0), depth) &&
               ReportUnknownFields(message);
      case JsonForm::kOwn:
        return WriteOwn(message);
      case JsonForm::kAny:
        return WriteAny(message, depth);
    }
    return false;
  }

  JsonError TakeError() { return std::move(error_); }

 private:
  bool EndObject() {
    writer_->EndObject();
    return !output_->failed() || Fail("the output cannot be written");
  }

  bool WriteFields(const Message& message, int depth) {
    const bool clash = clashes_.In(*message.GetDescriptor());
    for (const FieldDescriptor* field : FieldsToWrite(message)) {
      WriteKey(*field, clash);
      const JsonPathStep step(&path_, field);
      if (!WriteField(message, field, depth)) return false;
    }
    return ReportUnknownFields(message);
  }

  bool WriteOwn(const Message& message) {
    std::string json;
    if (const auto error = WriteOwnForm(message, &json)) return Fail(*error);
    return writer_->RawValue(json.data(), json.size(), rapidjson::kObjectType);
  }

  bool WriteAny(const Message& any, int depth) {
    const Descriptor& type = *any.GetDescriptor();
    const std::string url = any.GetReflection()->GetString(any, type.FindFieldByNumber(1));
    const std::string bytes = any.GetReflection()->GetString(any, type.FindFieldByNumber(2));
    writer_->StartObject();
    if (!url.empty() || !bytes.empty()) {
      const std::unique_ptr<Message> held = NewMessageOfUrl(url, any);
      if (held == nullptr) return Fail(UnknownUrl(url));
      ParseLimits limits;
      limits.max_depth = options_.max_depth;
      if (const auto fault = Parse(bytes, limits, held.get())) {
        return Fail("the value is no " + held->GetTypeName() + ": " + ToString(*fault));
      }
      WriteKey("@type");
      WriteText(url);
      if (JsonFormOf(*held->GetDescriptor()) == JsonForm::kMembers) {
        if (!WriteFields(*held, depth)) return false;
      } else {
        WriteKey("value");
        if (!WriteMessage(*held, depth + 1)) return false;
      }
    }
    return ReportUnknownFields(any) && EndObject();
  }

  std::vector<const FieldDescriptor*> FieldsToWrite(const Message& message) const {
    std::vector<const FieldDescriptor*> set;
    message.GetReflection()->ListFields(message, &set);
    if (!options_.unset_fields) return set;

    std::vector<const FieldDescriptor*> fields;
    const Descriptor* type = message.GetDescriptor();
    for (int i = 0; i < type->field_count(); ++i) {
      const FieldDescriptor* field = type->field(i);
      // To write an unset member of a oneof would take the place of the one that is set.
      const bool has_default =
          field->is_repeated() || (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE &&
                                   field->real_containing_oneof() == nullptr);
      if (has_default || std::find(set.begin(), set.end(), field) != set.end()) {
        fields.push_back(field);
      }
    }
    std::copy_if(set.begin(), set.end(), std::back_inserter(fields),
                 [](const FieldDescriptor* field) { return field->is_extension(); });
    return fields;
  }

  void WriteKey(const FieldDescriptor& field, bool clash) {
    if (field.is_extension()) {
      WriteKey(FieldName(field));
    } else {
      WriteKey(options_.schema_names ? field.name() : JsonNameOf(field, clash));
    }
  }

  void WriteKey(const std::string& name) {
    writer_->Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
  }

  bool WriteField(const Message& message, const FieldDescriptor* field, int depth) {
    if (field->is_map()) return WriteMap(message, field, depth);
    if (!field->is_repeated()) return WriteValue(message, field, depth);
    writer_->StartArray();
    const int size = message.GetReflection()->FieldSize(message, field);
    for (int i = 0; i < size; ++i) {
      path_.SetIndex(i);
      if (!WriteValue(message, field, depth)) return false;
    }
    writer_->EndArray();
    return true;
  }

  // Entries sorted by their names, since maps have no order.
  bool WriteMap(const Message& message, const FieldDescriptor* field, int depth) {
    const FieldDescriptor* const key = field->message_type()->map_key();
    const FieldDescriptor* const value = field->message_type()->map_value();
    std::map<std::string, const Message*> entries;
    const int size = message.GetReflection()->FieldSize(message, field);
    for (int i = 0; i < size; ++i) {
      const Message& entry = message.GetReflection()->GetRepeatedMessage(message, field, i);
      // Dynamic messages keep all entries that were read with one key; the last one counts.
      entries[MapKeyText(entry, key)] = &entry;
    }
    writer_->StartObject();
    for (const auto& [name, entry] : entries) {
      path_.SetKey(name);
      std::string utf8;
      if (!MakeUtf8(name, &utf8)) return false;
      WriteKey(utf8);
      if (!WriteValue(*entry, value, depth)) return false;
    }
    writer_->EndObject();
    return true;
  }

  // The value of a singular field, or the element of a repeated one at the path's last index.
  template <typename Value>
  Value Get(const Message& message, const FieldDescriptor* field,
            Value (Reflection::*singular)(const Message&, const FieldDescriptor*) const,
            Value (Reflection::*repeated)(const Message&, const FieldDescriptor*, int)
                const) const {
    const Reflection* reflection = message.GetReflection();
    return field->is_repeated() ? (reflection->*repeated)(message, field, path_.index())
                                : (reflection->*singular)(message, field);
  }

  bool WriteValue(const Message& message, const FieldDescriptor* field, int depth) {
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        return writer_->Int(
            Get(message, field, &Reflection::GetInt32, &Reflection::GetRepeatedInt32));
      case FieldDescriptor::CPPTYPE_UINT32:
        return writer_->Uint(
            Get(message, field, &Reflection::GetUInt32, &Reflection::GetRepeatedUInt32));
      case FieldDescriptor::CPPTYPE_INT64:
        return WriteText(std::to_string(
            Get(message, field, &Reflection::GetInt64, &Reflection::GetRepeatedInt64)));
      case FieldDescriptor::CPPTYPE_UINT64:
        return WriteText(std::to_string(
            Get(message, field, &Reflection::GetUInt64, &Reflection::GetRepeatedUInt64)));
      case FieldDescriptor::CPPTYPE_FLOAT:
        return WriteReal(Get(message, field, &Reflection::GetFloat, &Reflection::GetRepeatedFloat));
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return WriteReal(
            Get(message, field, &Reflection::GetDouble, &Reflection::GetRepeatedDouble));
      case FieldDescriptor::CPPTYPE_BOOL:
        return writer_->Bool(
            Get(message, field, &Reflection::GetBool, &Reflection::GetRepeatedBool));
      case FieldDescriptor::CPPTYPE_ENUM:
        return WriteEnum(*field, Get(message, field, &Reflection::GetEnumValue,
                                     &Reflection::GetRepeatedEnumValue));
      case FieldDescriptor::CPPTYPE_STRING:
        return WriteStringOrBytes(message, field);
      case FieldDescriptor::CPPTYPE_MESSAGE:
        return WriteSubMessage(message, field, depth);
    }
    return Fail("the field has a type that this library does not know");
  }

  bool WriteEnum(const FieldDescriptor& field, int number) {
    if (TakesNull(field)) return writer_->Null();
    const EnumValueDescriptor* const value = field.enum_type()->FindValueByNumber(number);
    // Open enums hold numbers without a name too.
    return options_.enums_as_numbers || value == nullptr ? writer_->Int(number)
                                                         : WriteText(value->name());
  }

  bool WriteSubMessage(const Message& message, const FieldDescriptor* field, int depth) {
    const Reflection* reflection = message.GetReflection();
    return WriteMessage(field->is_repeated()
                            ? reflection->GetRepeatedMessage(message, field, path_.index())
                            : reflection->GetMessage(message, field),
                        depth + 1);
  }

  bool WriteStringOrBytes(const Message& message, const FieldDescriptor* field) {
    const Reflection* reflection = message.GetReflection();
    std::string copy;
    const std::string& value =
        field->is_repeated()
            ? reflection->GetRepeatedStringReference(message, field, path_.index(), &copy)
            : reflection->GetStringReference(message, field, &copy);
    if (field->type() == FieldDescriptor::TYPE_BYTES) {
      return WriteText(options_.bytes == JsonBytes::kBase64 ? ToBase64(value)
                                                            : ToHexadecimal(value));
    }
    if (FirstInvalidUtf8(value) == value.size()) return WriteText(value);
    std::string utf8;
    return MakeUtf8(value, &utf8) && WriteText(utf8);
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

  // A string that is known to be UTF-8.
  bool WriteText(std::string_view text) {
    return writer_->String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  }

  template <typename Real>
  bool WriteReal(Real value) {
    if (std::isnan(value)) return WriteText("NaN");
    if (std::isinf(value)) return WriteText(value < 0 ? "-Infinity" : "Infinity");
    std::string text = FormatReal(value);
    // Readers that take "-0" for a whole number lose its sign.
    if (text == "-0") text = "-0.0";
    return writer_->RawValue(text.data(), text.size(), rapidjson::kNumberType);
  }

  bool ReportUnknownFields(const Message& message) {
    const UnknownFieldSet& unknown = message.GetReflection()->GetUnknownFields(message);
    for (int i = 0; i < unknown.field_count(); ++i) {
      if (!Lose(Describe(unknown.field(i), *message.GetDescriptor()))) return false;
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
  JsonOutput* output_;
  Writer* writer_;
  JsonNameClashes clashes_;
  JsonPath path_;
  JsonError error_;
};

template <typename Writer>
std::optional<JsonError> Write(const Message& message, const JsonWriteOptions& options,
                               JsonOutput* output, Writer* writer) {
  MessageWriter<Writer> message_writer(options, output, writer);
  const bool written = message_writer.WriteMessage(message, 0);
  output->Flush();
  if (written) return std::nullopt;
  return message_writer.TakeError();
}

}  // namespace

std::optional<JsonError> WriteJson(const Message& message, const JsonWriteOptions& options,
                                   ZeroCopyOutputStream* output) {
  JsonOutput json(output);
  if (options.indent <= 0) {
    rapidjson::Writer<JsonOutput> writer(json);
    return Write(message, options, &json, &writer);
  }
  rapidjson::PrettyWriter<JsonOutput> writer(json);
  writer.SetIndent(' ', static_cast<unsigned>(std::min(options.indent, 16)));
  return Write(message, options, &json, &writer);
}

std::optional<JsonError> WriteJson(const Message& message, const JsonWriteOptions& options,
                                   std::string* json) {
  json->clear();
  google::protobuf::io::StringOutputStream output(json);
  return WriteJson(message, options, &output);
}

}  // namespace CmnSys::Util
