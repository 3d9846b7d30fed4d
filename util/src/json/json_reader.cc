#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <algorithm>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "CmnSys/Util/Json.h"
#include "CmnSys/Util/Parse.h"
#include "json/bytes_text.h"
#include "json/json_lexer.h"
#include "json/json_names.h"
#include "json/json_number.h"
#include "json/json_path.h"
#include "json/well_known_types.h"
#include "text/name_search.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::ZeroCopyInputStream;

namespace {

constexpr std::uint64_t kMostBytes = (std::uint64_t{1} << 31) - 1;

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

// What stands where a token was read.
std::string Found(JsonToken token) {
  switch (token) {
    case JsonToken::kObjectBegin:
      return "an object";
    case JsonToken::kObjectEnd:
      return "\"}\"";
    case JsonToken::kArrayBegin:
      return "an array";
    case JsonToken::kArrayEnd:
      return "\"]\"";
    case JsonToken::kColon:
      return "\":\"";
    case JsonToken::kComma:
      return "\",\"";
    case JsonToken::kString:
      return "a string";
    case JsonToken::kNumber:
      return "a number";
    case JsonToken::kTrue:
      return "true";
    case JsonToken::kFalse:
      return "false";
    case JsonToken::kNull:
      return "null";
    case JsonToken::kInvalid:
      break;
  }
  return "";
}

std::string Shortened(std::string_view number) {
  constexpr std::size_t kLongest = 40;
  return std::string(number.substr(0, kLongest)) + (number.size() > kLongest ? "..." : "");
}

std::string Nearest(const std::vector<std::string>& names, std::string_view name) {
  const std::vector<std::string> nearest = NearestNames(names, name, 1);
  return nearest.empty() ? "" : "; the nearest is \"" + nearest.front() + "\"";
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

// The member that tells the type of an Any, and the one that holds it when it is no object.
constexpr std::string_view kAnyType = "@type";
constexpr std::string_view kAnyValue = "value";

// Reads values of JSON into messages. The functions return false after an error.
class MessageReader {
 public:
  MessageReader(const JsonReadOptions& options, JsonLexer* lexer)
      : options_(options), lexer_(lexer) {}

  bool ReadRoot(Message* message) {
    path_.Clear();
    return ReadMessage(message, 0);
  }

  // Reports an error at the last token.
  bool Fail(std::string reason) { return FailAt(lexer_->place(), std::move(reason)); }

  JsonError TakeError() { return std::move(error_); }

 private:
  bool FailAt(const JsonPlace& place, std::string reason) {
    error_ = {place.line, place.column, place.offset, path_.Text(), std::move(reason)};
    return false;
  }

  bool Unexpected(JsonToken token, const std::string& expected) {
    return Fail(token == JsonToken::kInvalid
                    ? lexer_->text()
                    : Found(token) + " stands here; expected is " + expected);
  }

  bool Expect(JsonToken wanted, const std::string& expected) {
    const JsonToken token = lexer_->Next();
    return token == wanted || Unexpected(token, expected);
  }

  // The value of a message, whatever its form.
  bool ReadMessage(Message* message, int depth) {
    const Descriptor& type = *message->GetDescriptor();
    if (depth > options_.max_depth) {
      lexer_->Peek();
      return Fail("messages are nested more than " + std::to_string(options_.max_depth) +
                  " deep; raise max_depth if that is right");
    }
    switch (JsonFormOf(type)) {
      case JsonForm::kMembers:
        return Expect(JsonToken::kObjectBegin, "an object (" + type.full_name() + ")") &&
               ReadFields(message, depth);
      case JsonForm::kValue:
        return ReadValue(message, type.field(0), depth);
      case JsonForm::kOwn:
        return ReadOwn(message);
      case JsonForm::kAny:
        return ReadAny(message, depth);
    }
    return false;
  }

  // Calls read_member() for each member of an object behind its "{", with the name as the last
  // token; it reads the rest of the member.
  template <typename ReadMember>
  bool ReadMembers(const ReadMember& read_member) {
    if (lexer_->Peek() == '}') return Expect(JsonToken::kObjectEnd, "");
    while (true) {
      if (!Expect(JsonToken::kString, "the name of a member")) return false;
      if (!read_member()) return false;
      const JsonToken token = lexer_->Next();
      if (token == JsonToken::kObjectEnd) return true;
      if (token != JsonToken::kComma) return Unexpected(token, "\",\" or \"}\"");
    }
  }

  // Calls read_element() for each element of an array behind its "[".
  template <typename ReadElement>
  bool ReadElements(const ReadElement& read_element) {
    if (lexer_->Peek() == ']') return Expect(JsonToken::kArrayEnd, "");
    while (true) {
      if (!read_element()) return false;
      const JsonToken token = lexer_->Next();
      if (token == JsonToken::kArrayEnd) return true;
      if (token != JsonToken::kComma) return Unexpected(token, "\",\" or \"]\"");
    }
  }

  bool ExpectColon() { return Expect(JsonToken::kColon, "\":\""); }

  // The members of an object behind its "{". Those of a message that an Any holds have one more,
  // which tells its type.
  bool ReadFields(Message* message, int depth, bool in_any = false) {
    const Descriptor& type = *message->GetDescriptor();
    // All messages being read share one vector, each its own part of it.
    const std::size_t seen = seen_.size();
    seen_.resize(seen + static_cast<std::size_t>(type.field_count()));
    std::vector<const FieldDescriptor*> extensions;
    const bool clash = clashes_.In(type);
    int likely = 0;
    const bool read = ReadMembers([&] {
      const std::string& name = lexer_->text();
      if (in_any && name == kAnyType) return ExpectColon() && SkipValue(depth);
      const FieldDescriptor* const field = FindField(*message, name, likely, clash);
      if (field == nullptr) return Fail(UnknownMember(type, name));
      if (field->is_extension()) {
        if (std::find(extensions.begin(), extensions.end(), field) != extensions.end()) {
          return Fail(Quoted(name) + " stands here a second time");
        }
        extensions.push_back(field);
      } else {
        const std::size_t index = seen + static_cast<std::size_t>(field->index());
        if (seen_[index]) return Fail(Quoted(name) + " stands here a second time");
        seen_[index] = true;
        // Members mostly come in the order of the fields.
        likely = field->index() + 1;
      }
      return ExpectColon() && ReadField(message, field, depth);
    });
    seen_.resize(seen);
    return read;
  }

  static const FieldDescriptor* FindField(const Message& message, const std::string& name,
                                          int likely, bool clash) {
    const Descriptor& type = *message.GetDescriptor();
    if (name.size() > 2 && name.front() == '[' && name.back() == ']') {
      const FieldDescriptor* const extension =
          message.GetReflection()->FindKnownExtensionByName(name.substr(1, name.size() - 2));
      return extension != nullptr && extension->containing_type() == &type ? extension : nullptr;
    }
    return FindJsonField(type, name, likely, clash);
  }

  bool ReadField(Message* message, const FieldDescriptor* field, int depth) {
    const JsonPathStep step(&path_, field);
    if (lexer_->Peek() == 'n' && !(TakesNull(*field) && !field->is_repeated())) {
      const JsonToken token = lexer_->Next();
      return token == JsonToken::kNull || Unexpected(token, Expected(*field));
    }
    if (field->is_map()) return ReadMap(message, field, depth);
    if (field->is_repeated()) return ReadArray(message, field, depth);
    if (const auto* const oneof = field->real_containing_oneof()) {
      const Reflection* const reflection = message->GetReflection();
      if (reflection->HasOneof(*message, oneof)) {
        return Fail(reflection->GetOneofFieldDescriptor(*message, oneof)->name() +
                    " stands here already, and " + oneof->full_name() + " holds one of them only");
      }
    }
    return ReadValue(message, field, depth);
  }

  bool ReadArray(Message* message, const FieldDescriptor* field, int depth) {
    if (!Expect(JsonToken::kArrayBegin, "an array, each element " + Expected(*field))) {
      return false;
    }
    int index = 0;
    return ReadElements([&] {
      path_.SetIndex(index++);
      if (lexer_->Peek() == 'n' && !TakesNull(*field)) {
        const JsonToken token = lexer_->Next();
        return token == JsonToken::kNull ? Fail("null cannot be an element; leave the element out")
                                         : Unexpected(token, Expected(*field));
      }
      return ReadValue(message, field, depth);
    });
  }

  bool ReadMap(Message* message, const FieldDescriptor* field, int depth) {
    if (!Expect(JsonToken::kObjectBegin, "an object, whose members are the entries of the map")) {
      return false;
    }
    const FieldDescriptor* const key = field->message_type()->map_key();
    const FieldDescriptor* const value = field->message_type()->map_value();
    std::set<std::string> seen;
    return ReadMembers([&] {
      path_.SetKey(lexer_->text());
      Message* const entry = message->GetReflection()->AddMessage(message, field);
      if (!PutMapKey(entry, key)) return false;
      if (!seen.insert(MapKeyText(*entry, key)).second) {
        return Fail(Quoted(lexer_->text()) + " stands here a second time");
      }
      if (!ExpectColon()) return false;
      if (lexer_->Peek() == 'n' && !TakesNull(*value)) {
        const JsonToken token = lexer_->Next();
        return token == JsonToken::kNull ? Fail("null cannot be the value of an entry")
                                         : Unexpected(token, Expected(*value));
      }
      return ReadValue(entry, value, depth);
    });
  }

  bool PutMapKey(Message* entry, const FieldDescriptor* key) {
    const std::string& text = lexer_->text();
    switch (key->cpp_type()) {
      case FieldDescriptor::CPPTYPE_STRING:
        return Put(entry, key, &Reflection::SetString, &Reflection::AddString, std::string(text));
      case FieldDescriptor::CPPTYPE_BOOL:
        if (text != "true" && text != "false") return Fail(Quoted(text) + " is no true or false");
        return Put(entry, key, &Reflection::SetBool, &Reflection::AddBool, text == "true");
      default:
        return PutNumber(entry, key, text);
    }
  }

  // The value of a singular field, or an element of a repeated one.
  bool ReadValue(Message* message, const FieldDescriptor* field, int depth) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      const Reflection* const reflection = message->GetReflection();
      return ReadMessage(field->is_repeated() ? reflection->AddMessage(message, field)
                                              : reflection->MutableMessage(message, field),
                         depth + 1);
    }
    return ReadScalar(message, field);
  }

  bool ReadScalar(Message* message, const FieldDescriptor* field) {
    const JsonToken token = lexer_->Next();
    const std::string& text = lexer_->text();
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_BOOL:
        if (token != JsonToken::kTrue && token != JsonToken::kFalse) break;
        return Put(message, field, &Reflection::SetBool, &Reflection::AddBool,
                   token == JsonToken::kTrue);
      case FieldDescriptor::CPPTYPE_STRING:
        if (token != JsonToken::kString) break;
        if (field->type() == FieldDescriptor::TYPE_BYTES) return PutBytes(message, field, text);
        return Put(message, field, &Reflection::SetString, &Reflection::AddString,
                   std::string(text));
      case FieldDescriptor::CPPTYPE_ENUM:
        if (token == JsonToken::kString) return PutEnumByName(message, field, text);
        if (token == JsonToken::kNumber) return PutEnumByNumber(message, field, text);
        if (token == JsonToken::kNull && TakesNull(*field)) {
          return PutEnumByNumber(message, field, "0");
        }
        break;
      default:
        if (token != JsonToken::kString && token != JsonToken::kNumber) break;
        return PutNumber(message, field, text);
    }
    return Unexpected(token, Expected(*field));
  }

  template <typename Setter, typename Adder, typename Value>
  static bool Put(Message* message, const FieldDescriptor* field, Setter set, Adder add,
                  Value&& value) {
    const Reflection* const reflection = message->GetReflection();
    if (field->is_repeated()) {
      (reflection->*add)(message, field, std::forward<Value>(value));
    } else {
      (reflection->*set)(message, field, std::forward<Value>(value));
    }
    return true;
  }

  bool PutNumber(Message* message, const FieldDescriptor* field, std::string_view text) {
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        return PutInteger<std::int32_t>(message, field, text, &Reflection::SetInt32,
                                        &Reflection::AddInt32);
      case FieldDescriptor::CPPTYPE_INT64:
        return PutInteger<std::int64_t>(message, field, text, &Reflection::SetInt64,
                                        &Reflection::AddInt64);
      case FieldDescriptor::CPPTYPE_UINT32:
        return PutInteger<std::uint32_t>(message, field, text, &Reflection::SetUInt32,
                                         &Reflection::AddUInt32);
      case FieldDescriptor::CPPTYPE_UINT64:
        return PutInteger<std::uint64_t>(message, field, text, &Reflection::SetUInt64,
                                         &Reflection::AddUInt64);
      case FieldDescriptor::CPPTYPE_FLOAT:
        return PutReal<float>(message, field, text, &Reflection::SetFloat, &Reflection::AddFloat);
      default:
        return PutReal<double>(message, field, text, &Reflection::SetDouble,
                               &Reflection::AddDouble);
    }
  }

  template <typename Integer, typename Setter, typename Adder>
  bool PutInteger(Message* message, const FieldDescriptor* field, std::string_view text, Setter set,
                  Adder add) {
    Integer value = 0;
    return CheckNumber(*field, ParseInteger(text, &value), text) &&
           Put(message, field, set, add, value);
  }

  template <typename Real, typename Setter, typename Adder>
  bool PutReal(Message* message, const FieldDescriptor* field, std::string_view text, Setter set,
               Adder add) {
    using Limits = std::numeric_limits<Real>;
    if (text == "NaN") return Put(message, field, set, add, Limits::quiet_NaN());
    if (text == "Infinity") return Put(message, field, set, add, Limits::infinity());
    if (text == "-Infinity") return Put(message, field, set, add, -Limits::infinity());
    Real value = 0;
    return CheckNumber(*field, ParseReal(text, &value), text) &&
           Put(message, field, set, add, value);
  }

  bool PutEnumByNumber(Message* message, const FieldDescriptor* field, std::string_view text) {
    std::int32_t number = 0;
    if (!CheckNumber(*field, ParseInteger(text, &number), text)) return false;
    const EnumDescriptor& type = *field->enum_type();
    // Open enums take every number.
    if (type.FindValueByNumber(number) == nullptr &&
        !message->GetReflection()->SupportsUnknownEnumValues()) {
      return Fail(std::to_string(number) + " is no value of " + type.full_name());
    }
    return Put(message, field, &Reflection::SetEnumValue, &Reflection::AddEnumValue, number);
  }

  bool PutEnumByName(Message* message, const FieldDescriptor* field, const std::string& name) {
    const EnumDescriptor& type = *field->enum_type();
    if (const EnumValueDescriptor* value = type.FindValueByName(name)) {
      return Put(message, field, &Reflection::SetEnumValue, &Reflection::AddEnumValue,
                 value->number());
    }
    std::vector<std::string> known;
    for (int i = 0; i < type.value_count(); ++i) known.push_back(type.value(i)->name());
    return Fail(Quoted(name) + " is no value of " + type.full_name() + Nearest(known, name));
  }

  bool PutBytes(Message* message, const FieldDescriptor* field, std::string_view text) {
    const bool base64 = options_.bytes == JsonBytes::kBase64;
    std::optional<std::string> bytes = base64 ? FromBase64(text) : FromHexadecimal(text);
    if (!bytes) {
      return Fail(Quoted(text) + (base64 ? " is not base64" : " is not hexadecimal"));
    }
    return Put(message, field, &Reflection::SetString, &Reflection::AddString, std::move(*bytes));
  }

  bool CheckNumber(const FieldDescriptor& field, NumberResult result, std::string_view text) {
    const char* const type = field.type_name();
    switch (result) {
      case NumberResult::kOk:
        return true;
      case NumberResult::kNoNumber:
        return Fail(Quoted(text) + " is no number");
      case NumberResult::kNotWhole:
        return Fail(Shortened(text) + " is no whole number, which " + type + " needs");
      case NumberResult::kOutOfRange:
        return Fail(Shortened(text) + " is out of range for " + type);
    }
    return false;
  }

  // Reads a value of any kind without looking at what it means.
  bool SkipValue(int depth) {
    if (depth > options_.max_depth) {
      lexer_->Peek();
      return Fail("values are nested more than " + std::to_string(options_.max_depth) +
                  " deep; raise max_depth if that is right");
    }
    switch (const JsonToken token = lexer_->Next()) {
      case JsonToken::kObjectBegin: {
        std::set<std::string> seen;
        return ReadMembers([&] {
          if (!seen.insert(lexer_->text()).second) {
            return Fail(Quoted(lexer_->text()) + " stands here a second time");
          }
          return ExpectColon() && SkipValue(depth + 1);
        });
      }
      case JsonToken::kArrayBegin:
        return ReadElements([&] { return SkipValue(depth + 1); });
      case JsonToken::kString:
      case JsonToken::kNumber:
      case JsonToken::kTrue:
      case JsonToken::kFalse:
      case JsonToken::kNull:
        return true;
      default:
        return Unexpected(token, "a value");
    }
  }

  // The text of the next value, which begins at `place`.
  bool ReadText(int depth, JsonPlace* place, std::string* text) {
    lexer_->Peek();
    *place = lexer_->place();
    lexer_->StartCopy(text);
    const bool read = SkipValue(depth);
    lexer_->StopCopy();
    return read;
  }

  bool ReadOwn(Message* message) {
    JsonPlace place;
    std::string text;
    if (!ReadText(0, &place, &text)) return false;
    const std::optional<std::string> error = ReadOwnForm(text, message);
    return !error || FailAt(place, *error);
  }

  // The type of what an Any holds may stand behind it, so that the text is read twice.
  bool ReadAny(Message* message, int depth) {
    JsonPlace place;
    std::string text;
    if (!ReadText(depth, &place, &text)) return false;
    ArrayInputStream input(text.data(), static_cast<int>(text.size()));
    JsonLexer lexer(&input, place);
    JsonLexer* const outer = std::exchange(lexer_, &lexer);
    const bool read = ReadAnyObject(text, place, message, depth);
    lexer_ = outer;
    return read;
  }

  bool ReadAnyObject(const std::string& text, const JsonPlace& place, Message* message, int depth) {
    std::string url;
    if (!FindAnyType(text, place, depth, &url)) return false;
    if (!Expect(JsonToken::kObjectBegin, "an object (google.protobuf.Any)")) return false;
    if (url.empty()) {
      if (lexer_->Peek() != '}') return FailAt(place, "the object has no member \"@type\"");
      return true;
    }
    const std::unique_ptr<Message> held = NewMessageOfUrl(url, *message);
    if (held == nullptr) return FailAt(place, UnknownUrl(url));
    if (JsonFormOf(*held->GetDescriptor()) == JsonForm::kMembers) {
      if (!ReadFields(held.get(), depth, true)) return false;
    } else if (!ReadMembers([&] {
                 const std::string& name = lexer_->text();
                 if (name == kAnyType) return ExpectColon() && SkipValue(depth);
                 if (name != kAnyValue) return Fail("only \"@type\" and \"value\" may stand here");
                 return ExpectColon() && ReadMessage(held.get(), depth + 1);
               })) {
      return false;
    }
    if (!held->IsInitialized()) {
      return FailAt(place, "required fields are missing: " + held->InitializationErrorString());
    }
    const Descriptor& type = *message->GetDescriptor();
    const Reflection* const reflection = message->GetReflection();
    reflection->SetString(message, type.FindFieldByNumber(1), url);
    reflection->SetString(message, type.FindFieldByNumber(2), held->SerializeAsString());
    return true;
  }

  // Looks for the member that tells the type. The text is known to be well formed.
  bool FindAnyType(const std::string& text, const JsonPlace& place, int depth, std::string* url) {
    ArrayInputStream input(text.data(), static_cast<int>(text.size()));
    JsonLexer lexer(&input, place);
    JsonLexer* const outer = std::exchange(lexer_, &lexer);
    bool read = true;
    if (lexer.Next() == JsonToken::kObjectBegin) {
      read = ReadMembers([&] {
        if (lexer_->text() != kAnyType) return ExpectColon() && SkipValue(depth);
        if (!ExpectColon() || !Expect(JsonToken::kString, "a type URL")) return false;
        *url = lexer_->text();
        return true;
      });
    }
    lexer_ = outer;
    return read;
  }

  const JsonReadOptions& options_;
  JsonLexer* lexer_;
  JsonNameClashes clashes_;
  JsonPath path_;
  std::vector<bool> seen_;  // Fields that have stood, of all messages being read, by index.
  JsonError error_;
};

// Reads messages one after the other.
class Parser {
 public:
  using Status = JsonReader::Status;

  Parser(ZeroCopyInputStream* input, const JsonReadOptions& options)
      : options_(options), lexer_(input), reader_(options_, &lexer_) {
    options_.max_bytes = std::min(options_.max_bytes, kMostBytes);
  }

  Status Read(Message* message) {
    message->Clear();
    if (failed_) return Status::kError;
    if (lexer_.AtEnd()) return Status::kEnd;
    lexer_.Limit(options_.max_bytes);
    bool read = reader_.ReadRoot(message);
    if (read && !message->IsInitialized()) {
      read = reader_.Fail("required fields are missing: " + message->InitializationErrorString());
    }
    lexer_.Limit(UINT64_MAX);
    if (read) return Status::kMessage;
    error_ = reader_.TakeError();
    failed_ = true;
    message->Clear();
    return Status::kError;
  }

  // After a message: whether only white space follows. Sets the error if not.
  bool ExpectEnd() {
    if (lexer_.AtEnd()) return true;
    reader_.Fail("something follows the end of the message");
    error_ = reader_.TakeError();
    return false;
  }

  // Where a message had to stand and the text ends.
  void FailAtEnd() {
    reader_.Fail("the text ends where a message is expected");
    error_ = reader_.TakeError();
  }

  const JsonError& error() const { return error_; }

 private:
  JsonReadOptions options_;
  JsonLexer lexer_;
  MessageReader reader_;
  JsonError error_;
  bool failed_ = false;
};

}  // namespace

class JsonReader::Implementation : public Parser {
 public:
  using Parser::Parser;
};

JsonReader::JsonReader(ZeroCopyInputStream* input, const JsonReadOptions& options)
    : implementation_(std::make_unique<Implementation>(input, options)) {}

JsonReader::~JsonReader() = default;

JsonReader::Status JsonReader::Read(Message* message) { return implementation_->Read(message); }

const JsonError& JsonReader::error() const { return implementation_->error(); }

std::optional<JsonError> ReadJson(std::string_view json, const JsonReadOptions& options,
                                  Message* message) {
  message->Clear();
  if (json.size() > options.max_bytes || json.size() > kMostBytes) {
    JsonError error;
    error.reason = "the text is longer than " +
                   std::to_string(std::min(options.max_bytes, kMostBytes)) +
                   " bytes; raise max_bytes if that is right";
    return error;
  }
  ArrayInputStream input(json.data(), static_cast<int>(json.size()));
  Parser parser(&input, options);
  const JsonReader::Status status = parser.Read(message);
  if (status == JsonReader::Status::kMessage && parser.ExpectEnd()) return std::nullopt;
  if (status == JsonReader::Status::kEnd) parser.FailAtEnd();
  message->Clear();
  return parser.error();
}

}  // namespace CmnSys::Util
