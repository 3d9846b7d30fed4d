#include "json/scalar_bytes.h"

#include <cstring>
#include <limits>

#include "json/bytes_text.h"

namespace CmnSys::Util {

using google::protobuf::FieldDescriptor;

namespace {

void PutFixed32(const JsonField& field, std::uint32_t value, WireBytes* wire) {
  wire->Tag(field.field->number(), View::kFixed32);
  wire->Fixed32(value);
}

void PutFixed64(const JsonField& field, std::uint64_t value, WireBytes* wire) {
  wire->Tag(field.field->number(), View::kFixed64);
  wire->Fixed64(value);
}

template <typename Integer>
NumberResult PutInteger(const JsonField& field, std::string_view text, WireBytes* wire) {
  Integer value = 0;
  const NumberResult result = ParseInteger(text, &value);
  if (result != NumberResult::kOk) return result;
  // Negative numbers of 32 bits have their sign in 64, unless they are zigzag.
  const auto bits = static_cast<std::uint64_t>(value);
  switch (field.type) {
    case FieldDescriptor::TYPE_SINT32:
    case FieldDescriptor::TYPE_SINT64:
      PutVarint(field, bits << 1 ^ (value < 0 ? UINT64_MAX : 0), wire);
      break;
    case FieldDescriptor::TYPE_FIXED32:
    case FieldDescriptor::TYPE_SFIXED32:
      PutFixed32(field, static_cast<std::uint32_t>(bits), wire);
      break;
    case FieldDescriptor::TYPE_FIXED64:
    case FieldDescriptor::TYPE_SFIXED64:
      PutFixed64(field, bits, wire);
      break;
    default:
      PutVarint(field, bits, wire);
      break;
  }
  return NumberResult::kOk;
}

// In JSON, what is no number of decimal digits is a text.
template <typename Real>
NumberResult ParseAnyReal(std::string_view text, Real* value) {
  using Limits = std::numeric_limits<Real>;
  if (text == "NaN") {
    *value = Limits::quiet_NaN();
  } else if (text == "Infinity") {
    *value = Limits::infinity();
  } else if (text == "-Infinity") {
    *value = -Limits::infinity();
  } else {
    return ParseReal(text, value);
  }
  return NumberResult::kOk;
}

}  // namespace

bool PutBytes(const JsonField& field, std::string_view text, JsonBytes form, WireBytes* wire) {
  wire->Tag(field.field->number(), View::kLengthDelimited);
  // The text is longer than its bytes, so that a short one needs one byte for their number.
  const bool is_short = text.size() < 0x80;
  const std::size_t begin = is_short ? 0 : wire->BeginLength();
  char* const place = wire->Room(text.size() + 1) + (is_short ? 1 : 0);
  char* const end =
      form == JsonBytes::kBase64 ? ReadBase64(text, place) : ReadHexadecimal(text, place);
  if (end == nullptr) return false;
  if (is_short) place[-1] = static_cast<char>(end - place);
  wire->End(end);
  if (!is_short) wire->EndLength(begin);
  return true;
}

NumberResult PutNumber(const JsonField& field, std::string_view text, WireBytes* wire) {
  switch (field.cpp_type) {
    case FieldDescriptor::CPPTYPE_INT32:
      return PutInteger<std::int32_t>(field, text, wire);
    case FieldDescriptor::CPPTYPE_INT64:
      return PutInteger<std::int64_t>(field, text, wire);
    case FieldDescriptor::CPPTYPE_UINT32:
      return PutInteger<std::uint32_t>(field, text, wire);
    case FieldDescriptor::CPPTYPE_UINT64:
      return PutInteger<std::uint64_t>(field, text, wire);
    case FieldDescriptor::CPPTYPE_FLOAT: {
      float value = 0;
      const NumberResult result = ParseAnyReal(text, &value);
      if (result != NumberResult::kOk) return result;
      std::uint32_t bits = 0;
      std::memcpy(&bits, &value, sizeof bits);
      PutFixed32(field, bits, wire);
      return result;
    }
    default: {
      double value = 0;
      const NumberResult result = ParseAnyReal(text, &value);
      if (result != NumberResult::kOk) return result;
      std::uint64_t bits = 0;
      std::memcpy(&bits, &value, sizeof bits);
      PutFixed64(field, bits, wire);
      return result;
    }
  }
}

}  // namespace CmnSys::Util
