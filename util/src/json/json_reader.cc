#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <algorithm>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "CmnSys/Util/Json.h"
#include "json/json_faults.h"
#include "json/json_lexer.h"
#include "json/json_path.h"
#include "json/json_type.h"
#include "json/scalar_bytes.h"
#include "json/structure_reader.h"
#include "json/sub_message_bytes.h"
#include "json/well_known_types.h"
#include "json/wire_bytes.h"
#include "json/wire_message.h"

namespace CmnSys::Util {

using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;
using google::protobuf::OneofDescriptor;
using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::ZeroCopyInputStream;

namespace {

constexpr std::uint64_t kMostBytes = (std::uint64_t{1} << 31) - 1;

// The member that tells the type of an Any, and the one that holds it when it is no object.
constexpr std::string_view kAnyType = "@type";
constexpr std::string_view kAnyValue = "value";

// Reads JSON into the wire bytes of a message, by the tables of its type, and has protobuf's parser
// make the message of them: that is faster than to set one field after the other by reflection. The
// functions return false after an error.
class MessageReader : public StructureReader {
 public:
  MessageReader(const JsonReadOptions& options, JsonLexer* lexer)
      : StructureReader(options.max_depth, lexer), options_(options) {}

  bool ReadRoot(Message* message) {
    seen_.clear();
    seen_extensions_.clear();
    wire_.Clear();
    // The descriptors of the last message may have ended, those of generated types have not.
    types_.Forget();
    factory_ = message->GetReflection()->GetMessageFactory();
    lexer_->Peek();
    const JsonPlace place = lexer_->place();
    return ReadMessage(types_.Of(*message->GetDescriptor()), 0) && Make(place, message);
  }

 private:
  using StructureReader::Unexpected;
  bool Unexpected(JsonToken token, const JsonField& field) {
    return Unexpected(token, Expected(*field.field));
  }

  // Makes the message of all bytes; they stand for what begins at `place`.
  bool Make(const JsonPlace& place, Message* message) {
    constexpr std::size_t kMost = std::numeric_limits<int>::max();
    if (wire_.size() > kMost) {
      return FailAt(place, "the message takes more than 2 GB, the most that protobuf can parse");
    }
    if (MergeFromWire(wire_.From(0), message)) return true;
    return FailAt(place, "protobuf does not take this " + message->GetTypeName());
  }

  // The value of a message, whatever its form.
  bool ReadMessage(const JsonType& type, int depth) {
    if (!CheckDepth(depth, "messages")) return false;
    switch (type.form) {
      case JsonForm::kMembers: {
        const JsonToken token = lexer_->Next();
        if (token == JsonToken::kObjectBegin) return ReadFields(type, depth);
        return Unexpected(token, "an object (" + type.descriptor->full_name() + ")" +
                                     (depth == 0 && token == JsonToken::kArrayBegin
                                          ? "; several stand one after the other, without brackets "
                                            "and commas"
                                          : ""));
      }
      case JsonForm::kValue:
        return ReadValue(type.fields.front(), depth);
      case JsonForm::kOwn:
        return ReadOwn(type);
      case JsonForm::kAny:
        return ReadAny(type, depth);
    }
    return false;
  }

  enum Seen : char { kNot, kStood, kHasValue };

  // The members of an object behind its "{". Those of a message that an Any holds have one more,
  // which tells its type.
  bool ReadFields(const JsonType& type, int depth, bool in_any = false) {
    // All messages being read share the vectors, each its own part of them.
    const std::size_t seen = seen_.size();
    const std::size_t seen_extensions = seen_extensions_.size();
    seen_.resize(seen + type.fields.size());
    std::size_t likely = 0;
    const bool read = ReadMembers([&] {
      const JsonField* field = TakeLikelyKey(type, seen, likely);
      if (field == nullptr) {
        if (!ExpectName()) return false;
        const std::string_view name = lexer_->text();
        if (in_any && name == kAnyType) return ExpectColon() && SkipValue(depth);
        field = FindField(type, name);
        if (field == nullptr) return Fail(UnknownMember(*type.descriptor, name));
        const bool again = field->field->is_extension() ? SeenExtension(seen_extensions, field)
                                                        : seen_[seen + Index(*field)] != kNot;
        if (again) return Fail(Quoted(name) + " stands here a second time");
        if (!ExpectColon()) return false;
      }
      if (field->field->is_extension()) {
        seen_extensions_.push_back(field);
        return ReadField(*field, seen, depth);
      }
      // Members mostly come in the order of the fields.
      likely = Index(*field) + 1;
      seen_[seen + likely - 1] = kStood;
      return ReadField(*field, seen, depth);
    });
    seen_.resize(seen);
    seen_extensions_.resize(seen_extensions);
    return read;
  }

  static std::size_t Index(const JsonField& field) {
    return static_cast<std::size_t>(field.field->index());
  }

  bool SeenExtension(std::size_t seen_extensions, const JsonField* field) const {
    const auto begin = seen_extensions_.begin() + static_cast<std::ptrdiff_t>(seen_extensions);
    return std::find(begin, seen_extensions_.end(), field) != seen_extensions_.end();
  }

  // Takes the key of one of the next fields, if it stands there as this library writes it.
  const JsonField* TakeLikelyKey(const JsonType& type, std::size_t seen, std::size_t likely) {
    constexpr std::size_t kTried = 3;
    const std::size_t end = std::min(likely + kTried, type.fields.size());
    for (std::size_t i = likely; i < end; ++i) {
      const JsonField& field = type.fields[i];
      if (seen_[seen + i] == kNot && lexer_->TakeIfNext(field.json_name.text())) return &field;
    }
    return nullptr;
  }

  const JsonField* FindField(const JsonType& type, std::string_view name) {
    if (name.size() <= 2 || name.front() != '[' || name.back() != ']') return type.FindField(name);
    name = name.substr(1, name.size() - 2);
    if (factory_ == MessageFactory::generated_factory()) {
      if (const JsonField* const known = type.FindExtension(name)) return known;
    }
    const Message* const prototype = factory_->GetPrototype(type.descriptor);
    const FieldDescriptor* const extension =
        prototype->GetReflection()->FindKnownExtensionByName(std::string(name));
    if (extension == nullptr || extension->containing_type() != type.descriptor) return nullptr;
    return &types_.ExtensionOf(type, *extension);
  }

  // The value of a field or extension; `seen` is where the fields of its message stand in seen_.
  bool ReadField(const JsonField& field, std::size_t seen, int depth) {
    const JsonPathStep step(&path_, field.field);
    if (lexer_->Peek() == 'n' && !(field.takes_null && !field.repeated)) {
      const JsonToken token = lexer_->Next();
      return token == JsonToken::kNull || Unexpected(token, field);
    }
    if (field.map) return ReadMap(field, depth);
    if (field.repeated) return ReadArray(field, depth);
    if (field.in_oneof) {
      const OneofDescriptor& oneof = *field.field->containing_oneof();
      for (int i = 0; i < oneof.field_count(); ++i) {
        const FieldDescriptor& other = *oneof.field(i);
        if (seen_[seen + static_cast<std::size_t>(other.index())] == kHasValue) {
          return Fail(other.name() + " stands here already, and " + oneof.full_name() +
                      " holds one of them only");
        }
      }
      seen_[seen + Index(field)] = kHasValue;
    }
    return ReadValue(field, depth);
  }

  bool ReadArray(const JsonField& field, int depth) {
    const JsonToken begin = lexer_->Next();
    if (begin != JsonToken::kArrayBegin) {
      return Unexpected(begin, "an array, each element " + Expected(*field.field));
    }
    int index = 0;
    return ReadElements([&] {
      path_.SetIndex(index++);
      if (lexer_->Peek() == 'n' && !field.takes_null) {
        const JsonToken token = lexer_->Next();
        return token == JsonToken::kNull ? Fail("null cannot be an element; leave the element out")
                                         : Unexpected(token, field);
      }
      return ReadValue(field, depth);
    });
  }

  bool ReadMap(const JsonField& field, int depth) {
    if (!Expect(JsonToken::kObjectBegin, "an object, whose members are the entries of the map")) {
      return false;
    }
    const JsonType& entry = types_.MessageTypeOf(field);
    const JsonField& key = entry.fields[0];
    const JsonField& value = entry.fields[1];
    std::set<std::string, std::less<>> seen;
    return ReadMembers([&] {
      if (!ExpectName()) return false;
      path_.SetKey(std::string(lexer_->text()));
      const SubMessageBytes sub_message(field, &wire_);
      const std::size_t begin = wire_.size();
      if (!ReadMapKey(key)) return false;
      if (!seen.emplace(wire_.From(begin)).second) {
        return Fail(Quoted(lexer_->text()) + " stands here a second time");
      }
      if (!ExpectColon()) return false;
      if (lexer_->Peek() == 'n' && !value.takes_null) {
        const JsonToken token = lexer_->Next();
        return token == JsonToken::kNull ? Fail("null cannot be the value of an entry")
                                         : Unexpected(token, value);
      }
      return ReadValue(value, depth);
    });
  }

  bool ReadMapKey(const JsonField& key) {
    const std::string_view text = lexer_->text();
    switch (key.cpp_type) {
      case FieldDescriptor::CPPTYPE_STRING:
        PutText(key, text, &wire_);
        return true;
      case FieldDescriptor::CPPTYPE_BOOL:
        if (text != "true" && text != "false") return Fail(Quoted(text) + " is no true or false");
        PutVarint(key, text == "true" ? 1 : 0, &wire_);
        return true;
      default:
        return ReadNumber(key, text);
    }
  }

  // The value of a singular field, or an element of a repeated one.
  bool ReadValue(const JsonField& field, int depth) {
    if (field.cpp_type != FieldDescriptor::CPPTYPE_MESSAGE) return ReadScalar(field);
    const SubMessageBytes sub_message(field, &wire_);
    return ReadMessage(types_.MessageTypeOf(field), depth + 1);
  }

  bool ReadScalar(const JsonField& field) {
    const JsonToken token = lexer_->Next();
    const std::string_view text = lexer_->text();
    switch (field.cpp_type) {
      case FieldDescriptor::CPPTYPE_BOOL:
        if (token != JsonToken::kTrue && token != JsonToken::kFalse) break;
        PutVarint(field, token == JsonToken::kTrue ? 1 : 0, &wire_);
        return true;
      case FieldDescriptor::CPPTYPE_STRING:
        if (token != JsonToken::kString) break;
        if (field.type == FieldDescriptor::TYPE_BYTES) return ReadBytes(field, text);
        PutText(field, text, &wire_);
        return true;
      case FieldDescriptor::CPPTYPE_ENUM:
        if (token == JsonToken::kString) return ReadEnumName(field, text);
        if (token == JsonToken::kNumber) return ReadEnumNumber(field, text);
        if (token == JsonToken::kNull && field.takes_null) return ReadEnumNumber(field, "0");
        break;
      default:
        if (token != JsonToken::kString && token != JsonToken::kNumber) break;
        return ReadNumber(field, text);
    }
    return Unexpected(token, field);
  }

  bool ReadBytes(const JsonField& field, std::string_view text) {
    if (PutBytes(field, text, options_.bytes, &wire_)) return true;
    return Fail(Quoted(text) +
                (options_.bytes == JsonBytes::kBase64 ? " is not base64" : " is not hexadecimal"));
  }

  bool ReadNumber(const JsonField& field, std::string_view text) {
    const NumberResult result = PutNumber(field, text, &wire_);
    return result == NumberResult::kOk || Fail(NotTaken(*field.field, result, text));
  }

  bool ReadEnumNumber(const JsonField& field, std::string_view text) {
    std::int32_t number = 0;
    const NumberResult result = ParseInteger(text, &number);
    if (result != NumberResult::kOk) return Fail(NotTaken(*field.field, result, text));
    if (types_.EnumTypeOf(field).NameOf(number) == nullptr && field.closed_enum) {
      return Fail(std::to_string(number) + " is no value of " +
                  field.field->enum_type()->full_name());
    }
    PutVarint(field, static_cast<std::uint64_t>(number), &wire_);
    return true;
  }

  bool ReadEnumName(const JsonField& field, std::string_view name) {
    const JsonEnum& known = types_.EnumTypeOf(field);
    const EnumDescriptor& type = *known.descriptor;
    const int index = known.by_name.Find(name);
    if (index >= 0) {
      PutVarint(field, static_cast<std::uint64_t>(type.value(index)->number()), &wire_);
      return true;
    }
    return Fail(UnknownEnumValue(type, name));
  }

  bool ReadOwn(const JsonType& type) {
    JsonPlace place;
    std::string text;
    if (!ReadText(0, &place, &text)) return false;
    const std::unique_ptr<Message> message(factory_->GetPrototype(type.descriptor)->New());
    if (const std::optional<std::string> error = ReadOwnForm(text, message.get())) {
      return FailAt(place, *error);
    }
    wire_.Bytes(message->SerializeAsString());
    return true;
  }

  // The type of what an Any holds may stand behind it, so that the text is read twice.
  bool ReadAny(const JsonType& type, int depth) {
    JsonPlace place;
    std::string text;
    if (!ReadText(depth, &place, &text)) return false;
    ArrayInputStream input(text.data(), static_cast<int>(text.size()));
    JsonLexer lexer(&input, place);
    JsonLexer* const outer = std::exchange(lexer_, &lexer);
    const bool read = ReadAnyObject(text, place, type, depth);
    lexer_ = outer;
    return read;
  }

  bool ReadAnyObject(const std::string& text, const JsonPlace& place, const JsonType& type,
                     int depth) {
    std::string url;
    if (!FindAnyType(text, place, depth, &url)) return false;
    if (!Expect(JsonToken::kObjectBegin, "an object (google.protobuf.Any)")) return false;
    if (url.empty()) {
      if (lexer_->Peek() != '}') return FailAt(place, "the object has no member \"@type\"");
      return true;
    }
    const std::unique_ptr<Message> held =
        NewMessageOfUrl(url, *type.descriptor->file()->pool(), factory_);
    if (held == nullptr) return FailAt(place, UnknownUrl(url));
    if (!ReadHeld(place, held.get(), depth)) return false;
    if (!held->IsInitialized()) {
      return FailAt(place, "required fields are missing: " + held->InitializationErrorString());
    }
    PutText(type.fields[0], url, &wire_);
    PutText(type.fields[1], held->SerializeAsString(), &wire_);
    return true;
  }

  // The members of an Any behind its "{", into the message that it holds.
  bool ReadHeld(const JsonPlace& place, Message* held, int depth) {
    // The message has wire bytes of its own.
    WireBytes outer_wire = std::exchange(wire_, WireBytes());
    const JsonType& type = types_.Of(*held->GetDescriptor());
    const bool read = (type.form == JsonForm::kMembers ? ReadFields(type, depth, true)
                                                       : ReadHeldValue(type, depth)) &&
                      Make(place, held);
    wire_ = std::move(outer_wire);
    return read;
  }

  bool ReadHeldValue(const JsonType& type, int depth) {
    return ReadMembers([&] {
      if (!ExpectName()) return false;
      const std::string_view name = lexer_->text();
      if (name == kAnyType) return ExpectColon() && SkipValue(depth);
      if (name != kAnyValue) return Fail("only \"@type\" and \"value\" may stand here");
      return ExpectColon() && ReadMessage(type, depth + 1);
    });
  }

  // Looks for the member that tells the type. The text is known to be well formed.
  bool FindAnyType(const std::string& text, const JsonPlace& place, int depth, std::string* url) {
    ArrayInputStream input(text.data(), static_cast<int>(text.size()));
    JsonLexer lexer(&input, place);
    JsonLexer* const outer = std::exchange(lexer_, &lexer);
    bool read = true;
    if (lexer.Next() == JsonToken::kObjectBegin) {
      read = ReadMembers([&] {
        if (!ExpectName()) return false;
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
  JsonTypes types_;
  MessageFactory* factory_ = nullptr;  // Of the message that is read.
  WireBytes wire_;
  // Of all messages being read, which fields have stood, by index, and which extensions.
  std::vector<char> seen_;
  std::vector<const JsonField*> seen_extensions_;
};

// Reads messages one after the other.
class Parser {
 public:
  using Status = JsonReader::Status;

  Parser(ZeroCopyInputStream* input, const JsonReadOptions& options, const JsonPlace& start = {})
      : options_(options), lexer_(input, start), reader_(options_, &lexer_) {
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

  JsonPlace place() const { return lexer_.next_place(); }
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

JsonReader::JsonReader(ZeroCopyInputStream* input, const JsonReadOptions& options,
                       const JsonPlace& start)
    : implementation_(std::make_unique<Implementation>(input, options, start)) {}

JsonReader::~JsonReader() = default;

JsonReader::Status JsonReader::Read(Message* message) { return implementation_->Read(message); }

JsonPlace JsonReader::place() const { return implementation_->place(); }

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
