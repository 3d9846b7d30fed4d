#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "CmnSys/Util/Json.h"
#include "CmnSys/Util/Parse.h"
#include "json/bytes_text.h"
#include "json/field_finder.h"
#include "json/json_faults.h"
#include "json/json_number.h"
#include "json/json_output.h"
#include "json/json_path.h"
#include "json/json_type.h"
#include "json/map_entry.h"
#include "json/number_bits.h"
#include "json/plain_text.h"
#include "json/string_output.h"
#include "json/well_known_types.h"
#include "json/wire_bytes.h"
#include "json/wire_fields.h"
#include "json/wire_message.h"
#include "text/runtime_text.h"

namespace CmnSys::Util {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::io::ZeroCopyOutputStream;

namespace {

template <typename Real>
Real FromBits(std::uint64_t bits) {
  Real value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// Writes JSON of the wire bytes of a message, which the generated serializer makes faster than one
// field after the other can be asked for by reflection. Functions that take a place in the bytes
// and their end return the place behind what they have written, or null after an error; the others
// return false then.
class MessageWriter : private FieldFinder {
 public:
  MessageWriter(const JsonWriteOptions& options, JsonOutput* output)
      : options_(options), output_(*output) {}

  bool WriteRoot(const Message& message) {
    factory_ = message.GetReflection()->GetMessageFactory();
    WireBytes bytes;
    if (!Serialize(message, &bytes)) return false;
    const std::string_view wire = bytes.From(0);
    const JsonType& type = types_.Of(*message.GetDescriptor());
    if (WriteMessage(type, wire.data(), wire.data() + wire.size(), 0) != nullptr) {
      return CheckOutput();
    }
    return error_.reason.empty() && Fail("the message has changed while it was written");
  }

  JsonError TakeError() { return std::move(error_); }

 private:
  bool Serialize(const Message& message, WireBytes* wire) {
    return AppendToWire(message, wire) ||
           Fail("the message takes more than 2 GB, the most that protobuf can serialize");
  }

  // The message in the form that its type has in JSON. That of a group goes to the group's end.
  const char* WriteMessage(const JsonType& type, const char* p, const char* end, int depth) {
    if (depth > options_.max_depth) {
      return FailAt("messages are nested more than " + std::to_string(options_.max_depth) +
                    " deep; raise max_depth if that is right");
    }
    switch (type.form) {
      case JsonForm::kMembers:
        output_.Begin('{');
        p = WriteFields(type, p, end, depth);
        return p != nullptr && EndObject() ? p : nullptr;
      case JsonForm::kValue:
        return WriteOnlyField(type, p, end, depth);
      case JsonForm::kOwn:
        return WriteOwn(type, p, end);
      case JsonForm::kAny:
        return WriteAny(type, p, end, depth);
    }
    return nullptr;
  }

  bool EndObject() {
    output_.End('}');
    return CheckOutput();
  }

  bool CheckOutput() { return !output_.failed() || Fail("the output cannot be written"); }

  // Where the fields of a message are being read.
  struct Position {
    const char* p;
    const char* end;
    std::uint64_t tag = 0;   // Of the last field.
    std::size_t likely = 0;  // The index of the field that is probably next.
  };

  // What to do with unknown fields.
  enum class Unknown { kSkip, kReport };

  // Goes behind the tag of the next known field and returns the field; nullptr behind the last
  // field, which is behind the end of a group, or at null after an error.
  const JsonField* NextField(const JsonType& type, Unknown unknown, Position* at) {
    while (at->p != nullptr && at->p != at->end) {
      std::uint64_t tag = 0;
      const char* const value = ReadFieldTag(at->p, at->end, type.message_set, &tag);
      if (value == nullptr || WireTypeOf(tag) == View::kEndGroup) {
        at->p = value;
        break;
      }
      // A field that does not come in its turn is unknown to the message, although it may have the
      // number of a known one.
      if (tag > at->tag) {
        const JsonField* const field = FindField(type, tag, &at->likely);
        if (field != nullptr && Takes(*field, value, at->end)) {
          at->p = value;
          at->tag = tag;
          return field;
        }
      }
      at->p = LeaveField(SkipFieldValue(value, at->end, tag), at->end, type.message_set);
      if (at->p != nullptr && unknown == Unknown::kReport) {
        std::uint64_t varint = 0;
        if (WireTypeOf(tag) == View::kVarint) View::ReadVarint(value, at->end, &varint);
        if (!Lose(UnknownField(*type.descriptor, tag, varint))) at->p = nullptr;
      }
    }
    return nullptr;
  }

  const char* WriteFields(const JsonType& type, const char* p, const char* end, int depth) {
    if (options_.unset_fields) return WriteAllFields(type, p, end, depth);
    Position at{p, end};
    while (const JsonField* const field = NextField(type, Unknown::kReport, &at)) {
      at.p = WriteMember(*field, at.p, end, depth);
    }
    return at.p;
  }

  // The fields in the order of their declaration, unset ones too, and the extensions.
  const char* WriteAllFields(const JsonType& type, const char* p, const char* end, int depth) {
    std::vector<const char*> places(type.fields.size());
    std::vector<std::pair<const JsonField*, const char*>> extensions;
    Position at{p, end};
    while (const JsonField* const field = NextField(type, Unknown::kSkip, &at)) {
      if (field->extension) {
        extensions.emplace_back(field, at.p);
      } else {
        places[static_cast<std::size_t>(field - type.fields.data())] = at.p;
      }
      at.p = SkipField(*field, at.p, end);
    }
    for (std::size_t i = 0; i < places.size(); ++i) {
      const JsonField& field = type.fields[i];
      if (places[i] == nullptr && !HasDefault(*field.field)) continue;
      if (WriteMember(field, places[i], end, depth) == nullptr) return nullptr;
    }
    for (const auto& [field, place] : extensions) {
      if (WriteMember(*field, place, end, depth) == nullptr) return nullptr;
    }
    return ReportUnknownFields(type, p, end);
  }

  // Of a message whose known fields have been written.
  const char* ReportUnknownFields(const JsonType& type, const char* p, const char* end) {
    Position at{p, end};
    while (const JsonField* const field = NextField(type, Unknown::kReport, &at)) {
      at.p = SkipField(*field, at.p, end);
    }
    return at.p;
  }

  static bool HasDefault(const FieldDescriptor& field) {
    // To write an unset member of a oneof would take the place of the one that is set.
    return field.is_repeated() || (field.cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE &&
                                   field.real_containing_oneof() == nullptr);
  }

  // The field with its name; an unset one where `p` is null.
  const char* WriteMember(const JsonField& field, const char* p, const char* end, int depth) {
    output_.Key(options_.schema_names ? field.schema_name : field.json_name);
    const JsonPathStep step(&path_, field.field);
    if (p == nullptr) return WriteDefault(field, end, depth);
    if (field.map) return WriteMap(field, p, end, depth);
    if (field.repeated) return WriteArray(field, p, end, depth);
    return LeaveField(WriteValue(field, p, end, depth), end, field.in_message_set);
  }

  // What an unset field reads as. Returns `end`.
  const char* WriteDefault(const JsonField& field, const char* end, int depth) {
    if (field.repeated) {
      output_.Begin(field.map ? '{' : '[');
      output_.End(field.map ? '}' : ']');
      return end;
    }
    switch (field.cpp_type) {
      case FieldDescriptor::CPPTYPE_STRING:
        return WriteStringOrBytes(field, field.field->default_value_string()) ? end : nullptr;
      case FieldDescriptor::CPPTYPE_MESSAGE:
        return WriteMessage(types_.MessageTypeOf(field), end, end, depth + 1);
      default:
        WriteNumber(field, DefaultBits(*field.field));
        return end;
    }
  }

  const char* WriteOnlyField(const JsonType& type, const char* p, const char* end, int depth) {
    Position at{p, end};
    const JsonField* const field = NextField(type, Unknown::kSkip, &at);
    const char* const written = field != nullptr ? WriteValue(*field, at.p, end, depth)
                                                 : WriteDefault(type.fields.front(), end, depth);
    return written == nullptr ? nullptr : ReportUnknownFields(type, p, end);
  }

  const char* WriteOwn(const JsonType& type, const char* p, const char* end) {
    const std::unique_ptr<Message> message(factory_->GetPrototype(type.descriptor)->New());
    if (!MergeFromWire({p, static_cast<std::size_t>(end - p)}, message.get())) return nullptr;
    std::string json;
    if (const auto error = WriteOwnForm(*message, &json)) return FailAt(*error);
    output_.Raw(json);
    return end;
  }

  const char* WriteAny(const JsonType& type, const char* p, const char* end, int depth) {
    std::string url;
    std::string_view value;
    Position at{p, end};
    while (const JsonField* const field = NextField(type, Unknown::kSkip, &at)) {
      std::uint32_t length = 0;
      at.p = View::ReadLength(at.p, end, &length);
      if (at.p == nullptr) return nullptr;
      const std::string_view bytes(at.p, length);
      if (field == &type.fields.front()) {
        url = bytes;
      } else {
        value = bytes;
      }
      at.p += length;
    }
    output_.Begin('{');
    if (!(url.empty() && value.empty()) && !WriteHeld(type, url, value, depth)) return nullptr;
    p = ReportUnknownFields(type, p, end);
    return p != nullptr && EndObject() ? p : nullptr;
  }

  // The members of an Any of the type.
  bool WriteHeld(const JsonType& type, const std::string& url, std::string_view value, int depth) {
    const std::unique_ptr<Message> held =
        NewMessageOfUrl(url, *type.descriptor->file()->pool(), factory_);
    if (held == nullptr) return Fail(UnknownUrl(url));
    ParseLimits limits;
    limits.max_depth = options_.max_depth;
    if (const auto fault = Parse(value, limits, held.get())) {
      return Fail("the value is no " + held->GetTypeName() + ": " + ToString(*fault));
    }
    // What it would be serialized as need not be what it was parsed from.
    WireBytes bytes;
    if (!Serialize(*held, &bytes)) return false;
    const char* const begin = bytes.From(0).data();
    const char* const end = begin + bytes.size();
    output_.Key(JsonOutput::MemberName("@type"));
    output_.Text(url);
    const JsonType& held_type = types_.Of(*held->GetDescriptor());
    if (held_type.form == JsonForm::kMembers) {
      return WriteFields(held_type, begin, end, depth) != nullptr;
    }
    output_.Key(JsonOutput::MemberName("value"));
    return WriteMessage(held_type, begin, end, depth + 1) != nullptr;
  }

  // All elements, which follow each other.
  const char* WriteArray(const JsonField& field, const char* p, const char* end, int depth) {
    output_.Begin('[');
    if (field.packed) {
      std::uint32_t length = 0;
      p = View::ReadLength(p, end, &length);
      if (p == nullptr) return nullptr;
      end = p + length;
    }
    int index = 0;
    for (const char* next = p; next != nullptr; next = NextElement(field, p, end)) {
      path_.SetIndex(index++);
      output_.Element();
      p = WriteValue(field, next, end, depth);
      if (p == nullptr) return nullptr;
    }
    output_.End(']');
    return p;
  }

  // All entries, which follow each other, sorted by their names, since maps have no order.
  const char* WriteMap(const JsonField& field, const char* p, const char* end, int depth) {
    const JsonType& type = types_.MessageTypeOf(field);
    std::map<std::string, MapEntry> entries;
    for (const char* next = p; next != nullptr; next = NextElement(field, p, end)) {
      const MapEntry entry = ReadMapEntry(type, next, end);
      if (entry.end == nullptr) return nullptr;
      // Dynamic messages keep all entries that were read with one key; the last one counts.
      entries[KeyOf(type, entry)] = entry;
      p = entry.end;
    }
    output_.Begin('{');
    for (const auto& [name, entry] : entries) {
      path_.SetKey(name);
      std::string utf8;
      if (!MakeUtf8(name, &utf8)) return nullptr;
      output_.Key(JsonOutput::MemberName(utf8));
      const JsonField& value = type.fields[1];
      if ((entry.value == nullptr ? WriteDefault(value, entry.end, depth)
                                  : WriteValue(value, entry.value, entry.end, depth)) == nullptr) {
        return nullptr;
      }
    }
    output_.End('}');
    return p;
  }

  // A value behind its tag, or in a packed field.
  const char* WriteValue(const JsonField& field, const char* p, const char* end, int depth) {
    switch (field.cpp_type) {
      case FieldDescriptor::CPPTYPE_STRING: {
        std::uint32_t length = 0;
        p = View::ReadLength(p, end, &length);
        return p != nullptr && WriteStringOrBytes(field, {p, length}) ? p + length : nullptr;
      }
      case FieldDescriptor::CPPTYPE_MESSAGE: {
        const JsonType& type = types_.MessageTypeOf(field);
        if (field.type == FieldDescriptor::TYPE_GROUP) {
          return WriteMessage(type, p, end, depth + 1);
        }
        std::uint32_t length = 0;
        p = View::ReadLength(p, end, &length);
        return p != nullptr ? WriteMessage(type, p, p + length, depth + 1) : nullptr;
      }
      default: {
        std::uint64_t bits = 0;
        p = ReadBits(field, p, end, &bits);
        if (p != nullptr) WriteNumber(field, bits);
        return p;
      }
    }
  }

  void WriteNumber(const JsonField& field, std::uint64_t bits) {
    switch (field.cpp_type) {
      case FieldDescriptor::CPPTYPE_INT32:
        return output_.Number(static_cast<std::int32_t>(bits));
      case FieldDescriptor::CPPTYPE_UINT32:
        return output_.Number(static_cast<std::uint32_t>(bits));
      case FieldDescriptor::CPPTYPE_INT64:
        return output_.NumberAsText(static_cast<std::int64_t>(bits));
      case FieldDescriptor::CPPTYPE_UINT64:
        return output_.NumberAsText(bits);
      case FieldDescriptor::CPPTYPE_FLOAT:
        return WriteReal(FromBits<float>(bits));
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return WriteReal(FromBits<double>(bits));
      case FieldDescriptor::CPPTYPE_BOOL:
        return output_.Raw(bits != 0 ? "true" : "false");
      default:
        return WriteEnum(field, static_cast<int>(bits));
    }
  }

  void WriteEnum(const JsonField& field, int number) {
    if (field.takes_null) return output_.Raw("null");
    // Open enums hold numbers without a name too.
    const PaddedText* const name =
        options_.enums_as_numbers ? nullptr : types_.EnumTypeOf(field).NameOf(number);
    if (name == nullptr) {
      output_.Number(number);
    } else {
      output_.Raw(*name);
    }
  }

  bool WriteStringOrBytes(const JsonField& field, std::string_view value) {
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
  bool MakeUtf8(std::string_view text, std::string* utf8) {
    const std::size_t invalid = FirstInvalidUtf8(text);
    if (invalid == text.size()) {
      *utf8 = text;
      return true;
    }
    *utf8 = WithReplacedInvalidUtf8(text);
    return Lose("the string is not UTF-8 at its byte " + std::to_string(invalid) + " (0x" +
                ToHexadecimal(text.substr(invalid, 1)) + ")");
  }

  template <typename Real>
  void WriteReal(Real value) {
    if (std::isnan(value)) return output_.PlainText("NaN");
    if (std::isinf(value)) return output_.PlainText(value < 0 ? "-Infinity" : "Infinity");
    char text[kLongestReal];
    output_.Raw({text, static_cast<std::size_t>(Util::WriteReal(value, text) - text)});
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

  const char* FailAt(std::string reason) {
    Fail(std::move(reason));
    return nullptr;
  }

  const JsonWriteOptions& options_;
  JsonOutput& output_;
  JsonPath path_;
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
