#include "filter/literal.h"

#include <charconv>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "text/field_path.h"
#include "text/name_search.h"

namespace CmnSys::Tool {

using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;

namespace {

class LiteralParser {
 public:
  LiteralParser(std::string_view condition, const Token& token, const FieldDescriptor& field,
                Operator op)
      : condition_(condition), token_(token), field_(field), op_(op) {}

  Literal Parse() {
    switch (field_.cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        return Signed<std::int32_t>();
      case FieldDescriptor::CPPTYPE_INT64:
        return Signed<std::int64_t>();
      case FieldDescriptor::CPPTYPE_UINT32:
        return Unsigned<std::uint32_t>();
      case FieldDescriptor::CPPTYPE_UINT64:
        return Unsigned<std::uint64_t>();
      case FieldDescriptor::CPPTYPE_FLOAT:
        return Real<float>();
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return Real<double>();
      case FieldDescriptor::CPPTYPE_BOOL:
        return Bool();
      case FieldDescriptor::CPPTYPE_ENUM:
        return Enum();
      default:
        if (token_.kind != TokenKind::kText) Fail("a text in quotes");
        return token_.text;
    }
  }

 private:
  [[noreturn]] void Fail(const std::string& wanted) {
    FailAt(
        condition_, token_.offset,
        Util::FieldName(field_) + " is of type " + TypeName() + ": it is compared with " + wanted);
  }

  std::string TypeName() const {
    return field_.enum_type() != nullptr ? field_.enum_type()->full_name() : field_.type_name();
  }

  // Digits behind "0x" are hexadecimal.
  template <typename Number>
  std::optional<Number> Whole() const {
    if (token_.kind != TokenKind::kNumber) return std::nullopt;
    std::string digits = token_.text;
    const std::size_t start = digits[0] == '-' ? 1 : 0;
    const bool hex = digits.compare(start, 2, "0x") == 0;
    if (hex) {
      digits.erase(start, 2);
      if (digits[start] == '-') return std::nullopt;
    }
    Number number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, hex ? 16 : 10);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
  }

  template <typename Number>
  Number WholeOrFail() {
    if (const auto number = Whole<Number>()) return *number;
    Fail("a whole number from " + std::to_string(std::numeric_limits<Number>::min()) + " to " +
         std::to_string(std::numeric_limits<Number>::max()));
  }

  template <typename Number>
  std::int64_t Signed() {
    return WholeOrFail<Number>();
  }

  template <typename Number>
  std::uint64_t Unsigned() {
    return WholeOrFail<Number>();
  }

  template <typename Number>
  double Real() {
    constexpr auto kInfinity = std::numeric_limits<double>::infinity();
    if (token_.kind == TokenKind::kName && token_.text == "inf") return kInfinity;
    if (token_.kind == TokenKind::kNumber && token_.text == "-inf") return -kInfinity;
    Number number = 0;
    const char* const end = token_.text.data() + token_.text.size();
    const auto [stop, error] = std::from_chars(token_.text.data(), end, number);
    const char last = token_.text.empty() ? ' ' : token_.text.back();
    if (token_.kind != TokenKind::kNumber || error != std::errc() || stop != end ||
        !((last >= '0' && last <= '9') || last == '.')) {
      Fail("a number in its range, inf or -inf");
    }
    return number;
  }

  std::uint64_t Bool() {
    if (op_ != Operator::kEqual && op_ != Operator::kNotEqual) {
      FailAt(condition_, token_.offset,
             Util::FieldName(field_) + " is of type bool, which only = and != compare");
    }
    if (token_.kind != TokenKind::kName || (token_.text != "true" && token_.text != "false")) {
      Fail("true or false");
    }
    return token_.text == "true" ? 1 : 0;
  }

  std::int64_t Enum() {
    const EnumDescriptor& type = *field_.enum_type();
    if (const auto number = Whole<std::int32_t>()) {
      const bool by_order = op_ != Operator::kEqual && op_ != Operator::kNotEqual;
      if (by_order || type.FindValueByNumber(*number) != nullptr) return *number;
      FailAt(condition_, token_.offset,
             type.full_name() + " has no value " + token_.text + ", so that no field holds it");
    }
    if (token_.kind != TokenKind::kName) Fail("the name or the number of a value");
    if (const auto* value = type.FindValueByName(token_.text)) return value->number();
    std::vector<std::string> names;
    for (int i = 0; i < type.value_count(); ++i) names.push_back(type.value(i)->name());
    FailAt(condition_, token_.offset,
           type.full_name() + " has no value " + token_.text +
               NearestText(Util::NearestNames(names, token_.text)));
  }

  std::string_view condition_;
  const Token& token_;
  const FieldDescriptor& field_;
  Operator op_;
};

}  // namespace

std::string NearestText(const std::vector<std::string>& nearest) {
  std::string text;
  for (const std::string& name : nearest) text += (text.empty() ? "; the nearest: " : ", ") + name;
  return text;
}

Literal ParseLiteral(std::string_view condition, const Token& token, const FieldDescriptor& field,
                     Operator op) {
  return LiteralParser(condition, token, field, op).Parse();
}

}  // namespace CmnSys::Tool
