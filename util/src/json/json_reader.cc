#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "CmnSys/Util/Json.h"
#include "json/bytes_text.h"
#include "json/json_input.h"
#include "json/json_number.h"
#include "text/field_path.h"
#include "text/name_search.h"
#include "text/runtime_text.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::io::ZeroCopyInputStream;

namespace {

constexpr std::uint64_t kMostBytes = (std::uint64_t{1} << 31) - 1;

constexpr unsigned kParseFlags = rapidjson::kParseIterativeFlag |
                                 rapidjson::kParseNumbersAsStringsFlag |
                                 rapidjson::kParseStopWhenDoneFlag;

// Text from the input, made fit for a message.
std::string Quoted(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  const bool cut = text.size() > kLongest;
  return "\"" + CEscaped(text.substr(0, kLongest)) + (cut ? "...\"" : "\"");
}

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

// Takes RapidJSON's events and fills the message. Each function returns false after an error, which
// ends the parse.
class MessageBuilder {
 public:
  MessageBuilder(const JsonReadOptions& options, JsonInput* input)
      : options_(options), input_(input) {}

  void Start(Message* message) {
    root_ = message;
    depth_ = 0;
  }

  JsonError TakeError() { return std::move(error_); }

  // Reports an error of the text itself, at a position on the current line.
  void SetError(std::string reason, std::uint64_t position) {
    error_.line = input_->line();
    error_.column = input_->ColumnOf(position);
    error_.offset = position;
    error_.path = Path();
    error_.reason = std::move(reason);
  }

  // RapidJSON's events.

  bool StartObject() {
    SetTokenStart(0);
    if (depth_ == 0) {
      Push(root_);
      return true;
    }
    Frame& frame = Top();
    if (!ExpectValue("an object", frame.field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE)) {
      return false;
    }
    if (static_cast<int>(depth_) > options_.max_depth) {
      return Fail("messages are nested more than " + std::to_string(options_.max_depth) +
                  " deep; raise max_depth if that is right");
    }
    const Reflection* reflection = frame.message->GetReflection();
    Push(frame.field->is_repeated() ? reflection->AddMessage(frame.message, frame.field)
                                    : reflection->MutableMessage(frame.message, frame.field));
    return true;
  }

  bool Key(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    token_start_ = input_->string_start();
    const std::string_view name(text, length);
    Frame& frame = Top();
    frame.field = nullptr;
    const FieldDescriptor* field = FindField(&frame, name);
    if (field == nullptr) return Fail(UnknownMember(*frame.message->GetDescriptor(), name));
    if (IsRepeatedKey(&frame, field)) {
      return Fail(Quoted(name) + " stands here a second time");
    }
    frame.field = field;
    return true;
  }

  bool EndObject(rapidjson::SizeType /*members*/) {
    --depth_;
    if (depth_ > 0) EndValue();
    return true;
  }

  bool StartArray() {
    SetTokenStart(0);
    if (depth_ == 0) return FailAtRoot("an array");
    Frame& frame = Top();
    if (!frame.field->is_repeated() || frame.in_array) {
      return Fail("an array stands here; expected is " + Expected(*frame.field));
    }
    frame.in_array = true;
    frame.index = 0;
    return true;
  }

  bool EndArray(rapidjson::SizeType /*elements*/) {
    Top().in_array = false;
    return true;
  }

  bool Null() {
    SetTokenStart(4);
    if (depth_ == 0) return FailAtRoot("null");
    if (Top().in_array) return Fail("null cannot be an element; leave the element out");
    return true;
  }

  bool Bool(bool value) {
    SetTokenStart(value ? 4 : 5);
    if (!ExpectValue(value ? "true" : "false",
                     InMessage() && Top().field->cpp_type() == FieldDescriptor::CPPTYPE_BOOL)) {
      return false;
    }
    return Put(&Reflection::SetBool, &Reflection::AddBool, value);
  }

  bool RawNumber(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    SetTokenStart(length);
    const std::string_view number(text, length);
    if (!ExpectValue("a number", InMessage() && TakesNumbers(*Top().field))) return false;
    return PutNumber(number);
  }

  bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    token_start_ = input_->string_start();
    const std::string_view value(text, length);
    if (!ExpectValue("a string", InMessage() && TakesStrings(*Top().field))) return false;
    switch (Top().field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_STRING:
        return Top().field->type() == FieldDescriptor::TYPE_BYTES ? PutBytes(value)
                                                                  : PutString(value);
      case FieldDescriptor::CPPTYPE_ENUM:
        return PutEnumByName(value);
      default:
        return PutNumber(value);
    }
  }

  // RapidJSON asks for these, but numbers come as text.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }

 private:
  // A message being filled.
  struct Frame {
    Message* message = nullptr;
    const FieldDescriptor* field = nullptr;  // The member being read.
    bool in_array = false;
    int index = 0;           // Of the element being read.
    int next_field = 0;      // Where the next member's field likely stands.
    std::vector<bool> seen;  // Fields that have stood here, by index.
    std::vector<const FieldDescriptor*> seen_extensions;
  };

  Frame& Top() { return frames_[depth_ - 1]; }
  bool InMessage() const { return depth_ > 0; }

  void Push(Message* message) {
    // Frames are kept for the memory that their vectors hold.
    if (depth_ == frames_.size()) frames_.emplace_back();
    Frame& frame = frames_[depth_++];
    frame.message = message;
    frame.field = nullptr;
    frame.in_array = false;
    frame.next_field = 0;
    frame.seen.assign(static_cast<std::size_t>(message->GetDescriptor()->field_count()), false);
    frame.seen_extensions.clear();
  }

  void EndValue() {
    if (Top().in_array) ++Top().index;
  }

  // RapidJSON reports a value when it has taken all of it, but an opening bracket before.
  void SetTokenStart(std::uint64_t taken) { token_start_ = input_->position() - taken; }

  static const FieldDescriptor* FindField(Frame* frame, std::string_view name) {
    const Descriptor* type = frame->message->GetDescriptor();
    if (name.size() > 2 && name.front() == '[' && name.back() == ']') {
      const FieldDescriptor* extension = frame->message->GetReflection()->FindKnownExtensionByName(
          std::string(name.substr(1, name.size() - 2)));
      return extension != nullptr && extension->containing_type() == type ? extension : nullptr;
    }
    // Members mostly come in the order of the fields.
    const int count = type->field_count();
    for (int i = 0; i < count; ++i) {
      const int index = (frame->next_field + i) % count;
      const FieldDescriptor* field = type->field(index);
      if (name == field->json_name() || name == field->name()) {
        frame->next_field = index + 1;
        return field;
      }
    }
    return nullptr;
  }

  static bool IsRepeatedKey(Frame* frame, const FieldDescriptor* field) {
    if (field->is_extension()) {
      std::vector<const FieldDescriptor*>& seen = frame->seen_extensions;
      if (std::find(seen.begin(), seen.end(), field) != seen.end()) return true;
      seen.push_back(field);
      return false;
    }
    const auto index = static_cast<std::size_t>(field->index());
    if (frame->seen[index]) return true;
    frame->seen[index] = true;
    return false;
  }

  static std::string UnknownMember(const Descriptor& type, std::string_view name) {
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
    const std::vector<std::string> nearest = NearestNames(known, name, 1);
    return type.full_name() + " has no " + (extension ? "extension " : "field ") + Quoted(name) +
           (nearest.empty() ? "" : "; the nearest is \"" + nearest.front() + "\"");
  }

  static bool TakesNumbers(const FieldDescriptor& field) {
    return field.cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE &&
           field.cpp_type() != FieldDescriptor::CPPTYPE_STRING &&
           field.cpp_type() != FieldDescriptor::CPPTYPE_BOOL;
  }

  static bool TakesStrings(const FieldDescriptor& field) {
    return field.cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE &&
           field.cpp_type() != FieldDescriptor::CPPTYPE_BOOL;
  }

  // Checks that a value may stand here at all and that its kind fits the field.
  bool ExpectValue(const char* found, bool fits) {
    if (!InMessage()) return FailAtRoot(found);
    const Frame& frame = Top();
    if (frame.field->is_repeated() && !frame.in_array) {
      return Fail(std::string(found) + " stands here; expected is an array, each element " +
                  Expected(*frame.field));
    }
    return fits || Fail(std::string(found) + " stands here; expected is " + Expected(*frame.field));
  }

  bool FailAtRoot(const char* found) {
    return Fail(std::string(found) + " stands here; expected is an object (" +
                root_->GetDescriptor()->full_name() + ")");
  }

  template <typename Setter, typename Adder, typename Value>
  bool Put(Setter set, Adder add, Value&& value) {
    const Frame& frame = Top();
    const Reflection* reflection = frame.message->GetReflection();
    if (frame.field->is_repeated()) {
      (reflection->*add)(frame.message, frame.field, std::forward<Value>(value));
    } else {
      (reflection->*set)(frame.message, frame.field, std::forward<Value>(value));
    }
    EndValue();
    return true;
  }

  bool PutNumber(std::string_view text) {
    switch (Top().field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        return PutInteger<std::int32_t>(text, &Reflection::SetInt32, &Reflection::AddInt32);
      case FieldDescriptor::CPPTYPE_INT64:
        return PutInteger<std::int64_t>(text, &Reflection::SetInt64, &Reflection::AddInt64);
      case FieldDescriptor::CPPTYPE_UINT32:
        return PutInteger<std::uint32_t>(text, &Reflection::SetUInt32, &Reflection::AddUInt32);
      case FieldDescriptor::CPPTYPE_UINT64:
        return PutInteger<std::uint64_t>(text, &Reflection::SetUInt64, &Reflection::AddUInt64);
      case FieldDescriptor::CPPTYPE_FLOAT:
        return PutReal<float>(text, &Reflection::SetFloat, &Reflection::AddFloat);
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return PutReal<double>(text, &Reflection::SetDouble, &Reflection::AddDouble);
      default:
        return PutEnumByNumber(text);
    }
  }

  template <typename Integer, typename Setter, typename Adder>
  bool PutInteger(std::string_view text, Setter set, Adder add) {
    Integer value = 0;
    return CheckNumber(ParseInteger(text, &value), text) && Put(set, add, value);
  }

  template <typename Real, typename Setter, typename Adder>
  bool PutReal(std::string_view text, Setter set, Adder add) {
    using Limits = std::numeric_limits<Real>;
    if (text == "NaN") return Put(set, add, Limits::quiet_NaN());
    if (text == "Infinity") return Put(set, add, Limits::infinity());
    if (text == "-Infinity") return Put(set, add, -Limits::infinity());
    Real value = 0;
    return CheckNumber(ParseReal(text, &value), text) && Put(set, add, value);
  }

  bool PutEnumByNumber(std::string_view text) {
    std::int32_t number = 0;
    if (!CheckNumber(ParseInteger(text, &number), text)) return false;
    const EnumDescriptor* type = Top().field->enum_type();
    const EnumValueDescriptor* value = type->FindValueByNumber(number);
    if (value == nullptr) {
      return Fail(std::to_string(number) + " is no value of " + type->full_name());
    }
    return Put(&Reflection::SetEnum, &Reflection::AddEnum, value);
  }

  bool PutEnumByName(std::string_view name) {
    const EnumDescriptor* type = Top().field->enum_type();
    if (const EnumValueDescriptor* value = type->FindValueByName(std::string(name))) {
      return Put(&Reflection::SetEnum, &Reflection::AddEnum, value);
    }
    std::vector<std::string> known;
    for (int i = 0; i < type->value_count(); ++i) known.push_back(type->value(i)->name());
    const std::vector<std::string> nearest = NearestNames(known, name, 1);
    return Fail(Quoted(name) + " is no value of " + type->full_name() +
                (nearest.empty() ? "" : "; the nearest is \"" + nearest.front() + "\""));
  }

  bool PutString(std::string_view value) {
    const std::size_t invalid = FirstInvalidUtf8(value);
    if (invalid == value.size()) {
      return Put(&Reflection::SetString, &Reflection::AddString, std::string(value));
    }
    const bool surrogate = value[invalid] == '\xed';
    return Fail(surrogate ? "the string holds half of a surrogate pair"
                          : "the string is not UTF-8 (byte 0x" +
                                ToHexadecimal(value.substr(invalid, 1)) + ")");
  }

  bool PutBytes(std::string_view text) {
    const bool base64 = options_.bytes == JsonBytes::kBase64;
    std::optional<std::string> bytes = base64 ? FromBase64(text) : FromHexadecimal(text);
    if (!bytes) {
      return Fail(Quoted(text) + (base64 ? " is not base64" : " is not hexadecimal"));
    }
    return Put(&Reflection::SetString, &Reflection::AddString, std::move(*bytes));
  }

  bool CheckNumber(NumberResult result, std::string_view text) {
    const char* const type = Top().field->type_name();
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

  static std::string Shortened(std::string_view number) {
    constexpr std::size_t kLongest = 40;
    return std::string(number.substr(0, kLongest)) + (number.size() > kLongest ? "..." : "");
  }

  bool Fail(std::string reason) {
    SetError(std::move(reason), token_start_);
    return false;
  }

  std::string Path() const {
    std::string path;
    for (std::size_t i = 0; i < depth_; ++i) {
      const Frame& frame = frames_[i];
      if (frame.field == nullptr) continue;
      AppendField(*frame.field, &path);
      if (frame.in_array) AppendIndex(frame.index, &path);
    }
    return path;
  }

  const JsonReadOptions& options_;
  JsonInput* input_;
  Message* root_ = nullptr;
  std::vector<Frame> frames_;
  std::size_t depth_ = 0;  // Frames in use.
  std::uint64_t token_start_ = 0;
  JsonError error_;
};

// RapidJSON's sentences, made part of one.
std::string SyntaxError(rapidjson::ParseErrorCode code) {
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      return "the text ends where a message is expected";
    case rapidjson::kParseErrorNumberTooBig:
      return "the number is out of range for every type";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return "the string holds half of a surrogate pair";
    case rapidjson::kParseErrorStringEscapeInvalid:
      return "the string holds a control character or an escape that JSON does not have";
    default:
      break;
  }
  std::string text = rapidjson::GetParseError_En(code);
  if (!text.empty() && text.back() == '.') text.pop_back();
  if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') {
    text[0] = static_cast<char>(text[0] - 'A' + 'a');
  }
  return text;
}

// Reads messages one after the other.
class Parser {
 public:
  using Status = JsonReader::Status;

  Parser(ZeroCopyInputStream* input, const JsonReadOptions& options)
      : options_(options), input_(input), builder_(options_, &input_) {
    options_.max_bytes = std::min(options_.max_bytes, kMostBytes);
  }

  Status Read(Message* message) {
    message->Clear();
    if (failed_) return Status::kError;
    builder_.Start(message);
    SkipBlanks();
    if (input_.AtEnd()) return Status::kEnd;
    input_.Limit(options_.max_bytes);
    const rapidjson::ParseResult result = reader_.Parse<kParseFlags>(input_, builder_);
    if (result.IsError()) {
      Explain(result);
    } else if (!message->IsInitialized()) {
      SetError("required fields are missing: " + message->InitializationErrorString());
    } else {
      input_.Limit(kNoLimit);
      return Status::kMessage;
    }
    failed_ = true;
    message->Clear();
    return Status::kError;
  }

  // After a message: whether only white space follows. Sets the error if not.
  bool ExpectEnd() {
    SkipBlanks();
    if (input_.AtEnd()) return true;
    SetError("something follows the end of the message");
    return false;
  }

  // Where a message had to stand and the text ends.
  void FailAtEnd() { SetError(SyntaxError(rapidjson::kParseErrorDocumentEmpty)); }

  const JsonError& error() const { return error_; }

 private:
  static constexpr std::uint64_t kNoLimit = std::uint64_t{1} << 62;

  void SkipBlanks() {
    // Editors on some systems put a byte order mark at the beginning.
    if (input_.position() == 0) {
      for (const char c : {'\xef', '\xbb', '\xbf'}) {
        if (input_.Peek() != c) break;
        input_.Take();
      }
    }
    for (char c = input_.Peek(); c == ' ' || c == '\t' || c == '\n' || c == '\r';
         c = input_.Peek()) {
      input_.Take();
    }
  }

  void SetError(std::string reason) {
    builder_.Start(nullptr);
    builder_.SetError(std::move(reason), input_.position());
    error_ = builder_.TakeError();
  }

  void Explain(const rapidjson::ParseResult& result) {
    if (result.Code() == rapidjson::kParseErrorTermination) {
      error_ = builder_.TakeError();
      return;
    }
    std::string reason = SyntaxError(result.Code());
    if (input_.LimitReached()) {
      reason = "the message is longer than " + std::to_string(options_.max_bytes) +
               " bytes; raise max_bytes if that is right";
    } else if (input_.AtEnd()) {
      reason = "the text ends before the message does";
    }
    builder_.SetError(std::move(reason), result.Offset());
    error_ = builder_.TakeError();
  }

  JsonReadOptions options_;
  JsonInput input_;
  MessageBuilder builder_;
  rapidjson::Reader reader_;
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
  google::protobuf::io::ArrayInputStream input(json.data(), static_cast<int>(json.size()));
  Parser parser(&input, options);
  const JsonReader::Status status = parser.Read(message);
  if (status == JsonReader::Status::kMessage && parser.ExpectEnd()) return std::nullopt;
  if (status == JsonReader::Status::kEnd) parser.FailAtEnd();
  message->Clear();
  return parser.error();
}

}  // namespace CmnSys::Util
