#include "views/comparer.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/unknown_field_set.h>

#include <cstring>
#include <memory>
#include <vector>

namespace CmnSys::Test {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

// As text, with floats bit by bit: NaN is equal to itself here.
std::string Text(bool value) { return value ? "true" : "false"; }
std::string Text(std::int32_t value) { return std::to_string(value); }
std::string Text(std::int64_t value) { return std::to_string(value); }
std::string Text(std::uint32_t value) { return std::to_string(value); }
std::string Text(std::uint64_t value) { return std::to_string(value); }
std::string Text(const std::string& value) { return value; }
std::string Text(float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return std::to_string(bits);
}
std::string Text(double value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return std::to_string(bits);
}

void AppendUnknown(std::uint32_t number, int wire_type, std::string_view value, std::string* to) {
  *to += std::to_string(number) + "/" + std::to_string(wire_type) + ":";
  to->append(value);
  *to += "\n";
}

std::string Raw(const void* value, std::size_t size) {
  return {static_cast<const char*>(value), size};
}

bool IsExtension(const Message& message, std::uint32_t number) {
  return message.GetDescriptor()->IsExtensionNumber(static_cast<int>(number));
}

}  // namespace

const FieldDescriptor* Comparer::Field(int number) const {
  const FieldDescriptor* field = message_->GetDescriptor()->FindFieldByNumber(number);
  return field != nullptr ? field : message_->GetReflection()->FindKnownExtensionByNumber(number);
}

void Comparer::Differs(int number, const std::string& what) {
  if (!outcome_->difference.empty()) return;
  outcome_->difference =
      message_->GetDescriptor()->full_name() + " " + std::to_string(number) + ": " + what;
}

template <typename T>
void Comparer::Expect(int number, const T& parsed, const T& viewed) {
  const std::string expected = Text(parsed);
  const std::string found = Text(viewed);
  if (expected != found) Differs(number, "parsed " + expected + ", viewed " + found);
}

void Comparer::HasPresence(int number, bool has) {
  if (message_->GetReflection()->HasField(*message_, Field(number)) != has) {
    Differs(number, has ? "viewed but not parsed" : "parsed but not viewed");
  }
}

void Comparer::HasSize(int number, int counted, int told) {
  if (message_ == nullptr) return;
  const int size = message_->GetReflection()->FieldSize(*message_, Field(number));
  if (size != counted || size != told) {
    Differs(number, "parsed " + std::to_string(size) + " elements, viewed " +
                        std::to_string(counted) + ", told " + std::to_string(told));
  }
}

bool Comparer::HasElement(int number, int index) {
  return message_ != nullptr &&
         index < message_->GetReflection()->FieldSize(*message_, Field(number));
}

#define CMNSYS_COMPARE(Type, Getter, Cast)                                                        \
  void Comparer::Is(int number, bool has, Type value) {                                           \
    if (message_ == nullptr) return;                                                              \
    HasPresence(number, has);                                                                     \
    Expect<Cast>(number, message_->GetReflection()->Get##Getter(*message_, Field(number)),        \
                 Cast(value));                                                                    \
  }                                                                                               \
  void Comparer::ElementIs(int number, int index, Type value) {                                   \
    if (!HasElement(number, index)) return;                                                       \
    Expect<Cast>(number,                                                                          \
                 message_->GetReflection()->GetRepeated##Getter(*message_, Field(number), index), \
                 Cast(value));                                                                    \
  }
CMNSYS_COMPARE(bool, Bool, bool)
CMNSYS_COMPARE(std::int32_t, Int32, std::int32_t)
CMNSYS_COMPARE(std::int64_t, Int64, std::int64_t)
CMNSYS_COMPARE(std::uint32_t, UInt32, std::uint32_t)
CMNSYS_COMPARE(std::uint64_t, UInt64, std::uint64_t)
CMNSYS_COMPARE(float, Float, float)
CMNSYS_COMPARE(double, Double, double)
CMNSYS_COMPARE(std::string_view, String, std::string)
#undef CMNSYS_COMPARE

void Comparer::IsEnum(int number, bool has, int value) {
  if (message_ == nullptr) return;
  HasPresence(number, has);
  Expect(number, message_->GetReflection()->GetEnumValue(*message_, Field(number)), value);
}

void Comparer::ElementIsEnum(int number, int index, int value) {
  if (!HasElement(number, index)) return;
  Expect(number, message_->GetReflection()->GetRepeatedEnumValue(*message_, Field(number), index),
         value);
}

Comparer Comparer::SubMessage(int number, bool has) {
  if (message_ == nullptr) return {nullptr, outcome_};
  HasPresence(number, has);
  return {&message_->GetReflection()->GetMessage(*message_, Field(number)), outcome_};
}

Comparer Comparer::Element(int number, int index) {
  if (!HasElement(number, index)) return {nullptr, outcome_};
  return {&message_->GetReflection()->GetRepeatedMessage(*message_, Field(number), index),
          outcome_};
}

void Comparer::Append(const View::UnknownField& field, std::string* to) {
  std::uint64_t number = 0;
  std::string_view value = field.value;
  if (field.wire_type == View::kVarint) {
    View::ReadVarint(value.data(), value.data() + value.size(), &number);
    AppendUnknown(field.number, field.wire_type, std::to_string(number), to);
  } else if (field.wire_type == View::kStartGroup) {
    AppendUnknown(field.number, field.wire_type, "", to);
  } else {
    AppendUnknown(field.number, field.wire_type, value, to);
  }
}

void Comparer::HasUnknown(const std::string& unknown) {
  if (message_ == nullptr) return;
  const auto& fields = message_->GetReflection()->GetUnknownFields(*message_);
  std::string parsed;
  for (int i = 0; i < fields.field_count(); ++i) {
    const google::protobuf::UnknownField& field = fields.field(i);
    const auto number = static_cast<std::uint32_t>(field.number());
    switch (field.type()) {
      case google::protobuf::UnknownField::TYPE_VARINT:
        AppendUnknown(number, View::kVarint, std::to_string(field.varint()), &parsed);
        break;
      case google::protobuf::UnknownField::TYPE_FIXED32: {
        const std::uint32_t value = field.fixed32();
        AppendUnknown(number, View::kFixed32, Raw(&value, sizeof value), &parsed);
        break;
      }
      case google::protobuf::UnknownField::TYPE_FIXED64: {
        const std::uint64_t value = field.fixed64();
        AppendUnknown(number, View::kFixed64, Raw(&value, sizeof value), &parsed);
        break;
      }
      case google::protobuf::UnknownField::TYPE_LENGTH_DELIMITED:
        // Of an extension that is not known; views leave those to GetExtension.
        if (IsExtension(*message_, number)) break;
        AppendUnknown(number, View::kLengthDelimited, field.length_delimited(), &parsed);
        break;
      case google::protobuf::UnknownField::TYPE_GROUP:
        AppendUnknown(number, View::kStartGroup, "", &parsed);
        break;
    }
  }
  if (parsed != unknown) {
    Differs(0, "parsed the unknown fields\n" + parsed + "viewed\n" + unknown);
  }
}

std::map<std::string, CompareBytes>& Comparers() {
  static std::map<std::string, CompareBytes> comparers;
  return comparers;
}

std::string CompareWithParser(const Message& type, std::string_view text) {
  // A copy of the exact size, so that AddressSanitizer sees what reads behind it.
  const std::vector<char> bytes(text.begin(), text.end());
  const std::unique_ptr<Message> message(type.New());
  const bool parsed = message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
  const Outcome outcome = Comparers().at(type.GetTypeName())({bytes.data(), bytes.size()},
                                                             parsed ? message.get() : nullptr);
  if (outcome.valid != parsed) return parsed ? "parsed, but not valid" : "valid, but not parsed";
  if (outcome.error == parsed)
    return parsed ? "parsed, but viewed as malformed" : "viewed, but not parsed";
  return outcome.difference;
}

}  // namespace CmnSys::Test
