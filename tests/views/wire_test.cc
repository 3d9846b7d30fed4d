#include "CmnSys/View/Wire.h"

#include <google/protobuf/empty.pb.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace CmnSys::View {
namespace {

using std::string_literals::operator""s;

// What the runtime's parser makes of the bytes, all of whose fields are unknown to it, and what we
// do, as text: the numbers and values of the fields, or "refused".
std::string ReadByRuntime(const std::string& bytes) {
  google::protobuf::Empty message;
  if (!message.ParseFromString(bytes)) return "refused";
  std::string result;
  const auto& fields = message.GetReflection()->GetUnknownFields(message);
  for (int i = 0; i < fields.field_count(); ++i) {
    const auto& field = fields.field(i);
    result += std::to_string(field.number()) + ":";
    switch (field.type()) {
      case google::protobuf::UnknownField::TYPE_VARINT:
        result += std::to_string(field.varint());
        break;
      case google::protobuf::UnknownField::TYPE_FIXED32:
        result += std::to_string(field.fixed32());
        break;
      case google::protobuf::UnknownField::TYPE_FIXED64:
        result += std::to_string(field.fixed64());
        break;
      case google::protobuf::UnknownField::TYPE_LENGTH_DELIMITED:
        result += field.length_delimited();
        break;
      case google::protobuf::UnknownField::TYPE_GROUP:
        result += "group";
        break;
    }
    result += "\n";
  }
  return result;
}

std::string ReadInPlace(const std::string& text) {
  // A copy of the exact size, so that AddressSanitizer sees what reads behind it.
  const std::vector<char> bytes(text.begin(), text.end());
  const char* p = bytes.data();
  const char* const e = p + bytes.size();
  std::string result;
  while (p != e) {
    std::uint32_t tag = 0;
    p = ReadTag(p, e, &tag);
    if (p == nullptr) return "refused";
    const char* const end = SkipValue(p, e, tag, kMaxDepth);
    if (end == nullptr) return "refused";
    result += std::to_string(FieldOf(tag)) + ":";
    std::uint64_t number = 0;
    std::uint32_t small_number = 0;
    switch (WireTypeOf(tag)) {
      case kVarint:
        EXPECT_EQ(ReadVarint(p, e, &number), end);
        result += std::to_string(number);
        break;
      case kFixed32:
        EXPECT_EQ(ReadFixed(p, e, &small_number), end);
        result += std::to_string(small_number);
        break;
      case kFixed64:
        EXPECT_EQ(ReadFixed(p, e, &number), end);
        result += std::to_string(number);
        break;
      case kLengthDelimited:
        p = ReadLength(p, e, &small_number);
        EXPECT_EQ(p + small_number, end);
        result.append(p, end);
        break;
      default:
        result += "group";
    }
    result += "\n";
    p = end;
  }
  return result;
}

void ExpectTheSame(const std::string& bytes) {
  EXPECT_EQ(ReadInPlace(bytes), ReadByRuntime(bytes)) << testing::PrintToString(bytes);
}

std::string Repeat(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

TEST(Wire, OverlongTagsNumbersAndLengthsAreReadAsTheRuntimeDoes) {
  for (const std::string& begin : {""s, "\x0a\x01x"s, "\x0b"s}) {
    for (const std::string& end : {""s, "\x0c"s, "\x01x"s, "aaaaaaaa"s}) {
      for (int more = 0; more <= 11; ++more) {
        for (int last = 0; last < 0x80; ++last) {
          const std::string rest = Repeat("\x80", more) + static_cast<char>(last) + end;
          ExpectTheSame(begin + "\x8a" + rest);      // a tag
          ExpectTheSame(begin + "\x08\xff" + rest);  // a number
          ExpectTheSame(begin + "\x0a\x81" + rest);  // a length
        }
      }
    }
  }
}

TEST(Wire, TagsThatNoFieldHasAreRefused) {
  for (int first = 0; first < 0x100; ++first) {
    for (const std::string& rest : {""s, "\x01"s, "\x01\x01\x01\x01"s, Repeat("\x01", 8)}) {
      ExpectTheSame(static_cast<char>(first) + rest);
    }
  }
}

TEST(Wire, GroupsAreNestedHundredDeepAndEndWithTheirNumber) {
  for (int depth = 98; depth <= 103; ++depth) {
    ExpectTheSame(Repeat("\x0b", depth) + Repeat("\x0c", depth));
    ExpectTheSame(Repeat("\x13", depth) + "\x0b\x0c" + Repeat("\x14", depth));
  }
  EXPECT_EQ(ReadInPlace(Repeat("\x0b", 100) + Repeat("\x0c", 100)), "1:group\n");
  EXPECT_EQ(ReadInPlace(Repeat("\x0b", 101) + Repeat("\x0c", 101)), "refused");
  ExpectTheSame("\x0b\x14");
  ExpectTheSame("\x0b\x13\x0c\x14");
  ExpectTheSame("\x8b\x01\x8c\x81\x00"s);
}

TEST(Wire, RandomBytesAreReadAsTheRuntimeDoes) {
  std::mt19937 random(1);  // fixed seed: the same bytes in every run
  // Bytes that mean something in many places.
  const std::string frequent = "\x00\x01\x02\x08\x09\x0a\x0b\x0c\x0d\x12\x13\x14\x80\x81\xff\x7f"s;
  for (int i = 0; i < 200000; ++i) {
    std::string bytes(random() % 24, '\0');
    for (char& byte : bytes) {
      byte = random() % 4 != 0 ? frequent[random() % frequent.size()] : static_cast<char>(random());
    }
    ExpectTheSame(bytes);
  }
}

}  // namespace
}  // namespace CmnSys::View
