#include "filter/matcher.h"

#include <google/protobuf/wire_format.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "CmnSys/View/Wire.h"

#if GOOGLE_PROTOBUF_VERSION / 1000 != 3021
#error "This file uses internals of protobuf 3.21; adapt tools/cmnsys/filter/matcher.cc."
#endif

namespace CmnSys::Tool {

using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::internal::WireFormat;

namespace {

// Whole numbers of either kind as unsigned ones in the same order.
std::uint64_t Ordered(std::int64_t number) {
  return static_cast<std::uint64_t>(number) ^ (std::uint64_t{1} << 63);
}
std::uint64_t Ordered(std::uint64_t number) { return number; }

// The literal is null where there is none.
template <typename Value, typename Literal>
bool Compare(Operator op, const Value& value, const Literal* literal) {
  switch (op) {
    case Operator::kHas:
      return true;
    case Operator::kEqual:
      return value == *literal;
    case Operator::kNotEqual:
      return value != *literal;
    case Operator::kLess:
      return value < *literal;
    case Operator::kLessOrEqual:
      return value <= *literal;
    case Operator::kGreater:
      return value > *literal;
    case Operator::kGreaterOrEqual:
      return value >= *literal;
  }
  return false;
}

// The declared numbers of an enum.
class EnumNumbers {
 public:
  explicit EnumNumbers(const EnumDescriptor* type) {
    constexpr std::int32_t kManySmall = 1 << 14;
    for (int i = 0; type != nullptr && i < type->value_count(); ++i) {
      const std::int32_t number = type->value(i)->number();
      if (number < 0 || number >= kManySmall) {
        other_.push_back(number);
        continue;
      }
      const auto index = static_cast<std::size_t>(number);
      if (small_.size() <= index) small_.resize(index + 1);
      small_[index] = true;
    }
    std::sort(other_.begin(), other_.end());
  }

  bool Has(std::int32_t number) const {
    const auto index = static_cast<std::uint32_t>(number);
    return index < small_.size() ? small_[index]
                                 : std::binary_search(other_.begin(), other_.end(), number);
  }

 private:
  std::vector<bool> small_;
  std::vector<std::int32_t> other_;  // In order.
};

View::WireType WireTypeOf(const FieldDescriptor& field, bool packed) {
  if (packed) return View::kLengthDelimited;
  return static_cast<View::WireType>(WireFormat::WireTypeForFieldType(field.type()));
}

}  // namespace

// The values of a field for which a comparison is true.
class Matcher::Values {
 public:
  explicit Values(const Comparison& comparison) : op_(comparison.op), literal_(comparison.literal) {
    std::uint64_t number = 0;
    if (const auto* whole = std::get_if<std::int64_t>(&literal_)) number = Ordered(*whole);
    if (const auto* whole = std::get_if<std::uint64_t>(&literal_)) number = Ordered(*whole);
    // The numbers from `first_` on, `more_` of them besides it; or all others.
    constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
    switch (op_) {
      case Operator::kHas:
        more_ = kMost;
        break;
      case Operator::kNotEqual:
        others_ = true;
        [[fallthrough]];
      case Operator::kEqual:
        first_ = number;
        break;
      case Operator::kGreater:
        others_ = true;
        [[fallthrough]];
      case Operator::kLessOrEqual:
        more_ = number;
        break;
      case Operator::kLess:
        others_ = true;
        [[fallthrough]];
      case Operator::kGreaterOrEqual:
        first_ = number;
        more_ = kMost - number;
        break;
    }
  }

  bool Has(std::uint64_t ordered) const { return (ordered - first_ <= more_) != others_; }

  bool Has(double real) const { return Compare(op_, real, std::get_if<double>(&literal_)); }

  bool Has(std::string_view text) const {
    return Compare(op_, text, std::get_if<std::string>(&literal_));
  }

  // Whether it is true for the field where that is unset.
  bool HasDefaultOf(const FieldDescriptor& field) const {
    if (op_ == Operator::kHas) return false;
    switch (field.cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        return Has(Ordered(std::int64_t{field.default_value_int32()}));
      case FieldDescriptor::CPPTYPE_INT64:
        return Has(Ordered(std::int64_t{field.default_value_int64()}));
      case FieldDescriptor::CPPTYPE_UINT32:
        return Has(std::uint64_t{field.default_value_uint32()});
      case FieldDescriptor::CPPTYPE_UINT64:
        return Has(std::uint64_t{field.default_value_uint64()});
      case FieldDescriptor::CPPTYPE_BOOL:
        return Has(std::uint64_t{field.default_value_bool()});
      case FieldDescriptor::CPPTYPE_ENUM:
        return Has(Ordered(std::int64_t{field.default_value_enum()->number()}));
      case FieldDescriptor::CPPTYPE_FLOAT:
        return Has(double{field.default_value_float()});
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return Has(field.default_value_double());
      default:
        return Has(std::string_view(field.default_value_string()));
    }
  }

 private:
  Operator op_;
  Literal literal_;
  std::uint64_t first_ = 0;
  std::uint64_t more_ = 0;
  bool others_ = false;
};

// What is looked for in a message.
struct Matcher::Message {
  std::uint64_t numbers = 0;  // The bits of the fields' numbers, modulo 64.
  std::vector<Field> fields;
};

struct Matcher::Field {
  std::uint32_t tag = 0;
  FieldDescriptor::Type type = FieldDescriptor::TYPE_INT32;
  bool repeated = false;
  bool packed = false;  // The tag is that of packed elements.
  EnumNumbers enum_numbers;
  std::vector<std::size_t> comparisons;  // With this field itself.
  std::unique_ptr<Message> message;      // What is looked for in a sub-message, if anything.

  // Of elements of a repeated sub-message: the comparisons with fields that each element has one
  // of, and whether they are true for an unset one.
  struct OfElement {
    std::size_t comparison;
    bool unset;
  };
  std::vector<OfElement> of_element;

  Field(const FieldDescriptor& field, bool is_packed)
      : tag(View::MakeTag(static_cast<std::uint32_t>(field.number()),
                          WireTypeOf(field, is_packed))),
        type(field.type()),
        repeated(field.is_repeated()),
        packed(is_packed),
        enum_numbers(field.enum_type()) {}
};

Matcher::Matcher(const Expression& expression, int max_depth)
    : max_depth_(max_depth),
      nodes_(expression.nodes),
      message_(std::make_unique<Message>()),
      current_(expression.comparisons.size()),
      unset_(expression.comparisons.size()),
      any_(expression.comparisons.size()) {
  for (std::size_t i = 0; i < expression.comparisons.size(); ++i) {
    values_.emplace_back(expression.comparisons[i]);
    Add(expression.comparisons[i], i);
  }
}

Matcher::~Matcher() = default;

void Matcher::Add(const Comparison& comparison, std::size_t index) {
  const auto find = [](const FieldDescriptor& descriptor, bool packed, Message* message) {
    const Field wanted(descriptor, packed);
    for (Field& field : message->fields) {
      if (field.tag == wanted.tag) return &field;
    }
    message->numbers |= std::uint64_t{1} << (descriptor.number() & 63);
    return &message->fields.emplace_back(descriptor, packed);
  };

  const FieldDescriptor& last = *comparison.path.back();
  Message* message = message_.get();
  Field* element = nullptr;  // The innermost repeated sub-message on the way.
  for (std::size_t i = 0; i + 1 < comparison.path.size(); ++i) {
    Field* const step = find(*comparison.path[i], false, message);
    if (step->repeated) element = step;
    if (step->message == nullptr) step->message = std::make_unique<Message>();
    message = step->message.get();
  }
  find(last, false, message)->comparisons.push_back(index);
  if (last.is_packable()) find(last, true, message)->comparisons.push_back(index);
  if (last.is_repeated()) return;
  const bool unset = values_[index].HasDefaultOf(last);
  if (element != nullptr) {
    element->of_element.push_back({index, unset});
  } else {
    unset_[index] = static_cast<char>(unset);
  }
}

std::optional<bool> Matcher::Matches(std::string_view message) {
  for (std::size_t i = 0; i < unset_.size(); ++i) {
    current_[i] = unset_[i];
    any_[i] = 0;
  }
  if (message.size() > View::kMaxLength) return std::nullopt;
  if (!message.empty() && ReadMessage(*message_, message.data(), message.data() + message.size(),
                                      max_depth_) == nullptr) {
    return std::nullopt;
  }
  return IsTrue(nodes_.size() - 1);
}

// Skips fields whose numbers are not in the set, as far as that goes without looking for the end of
// the bytes in every step; the rest is for the caller.
inline const char* Matcher::SkipMost(std::uint64_t numbers, const char* p, const char* e) {
  constexpr std::ptrdiff_t kAhead = 16;  // More than a tag of two bytes and eight bytes behind it.
  while (e - p >= kAhead) {
    std::uint32_t tag = static_cast<unsigned char>(p[0]);
    const char* value = p + 1;
    if (tag >= 0x80) {
      const std::uint32_t second = static_cast<unsigned char>(p[1]);
      if (second >= 0x80) return p;
      tag = tag - 0x80 + (second << 7);
      ++value;
    }
    if ((numbers >> (tag >> 3 & 63) & 1) != 0 || tag < 8) return p;
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, value, sizeof bytes);
    if ((tag & 7) == View::kLengthDelimited) {
      const auto length = static_cast<std::ptrdiff_t>(bytes & 0xff);
      if (length >= 0x80 || length >= e - value) return p;
      p = value + 1 + length;
    } else if ((tag & 7) == View::kVarint) {
      // The highest bit is clear in the last byte of a number.
      const std::uint64_t last = ~bytes & 0x8080808080808080;
      if (last == 0) return p;
      p = value + __builtin_ctzll(last) / 8 + 1;
    } else if ((tag & 7) == View::kFixed64) {
      p = value + 8;
    } else if ((tag & 7) == View::kFixed32) {
      p = value + 4;
    } else {
      return p;
    }
  }
  return p;
}

const char* Matcher::ReadMessage(const Message& message, const char* p, const char* e,
                                 int depth_left) {
  while (true) {
    p = SkipMost(message.numbers, p, e);
    if (p == e) return p;
    std::uint32_t tag = 0;
    p = View::ReadTag(p, e, &tag);
    if (p == nullptr) return nullptr;
    const Field* wanted = nullptr;
    if ((message.numbers >> (View::FieldOf(tag) & 63) & 1) != 0) {
      for (const Field& field : message.fields) {
        if (field.tag == tag) wanted = &field;
      }
    }
    p = wanted == nullptr ? View::SkipValue(p, e, tag, depth_left)
                          : ReadField(*wanted, p, e, depth_left);
    if (p == nullptr) return nullptr;
  }
}

const char* Matcher::ReadField(const Field& field, const char* p, const char* e, int depth_left) {
  if (field.packed) {
    std::uint32_t length = 0;
    p = View::ReadLength(p, e, &length);
    if (p == nullptr) return nullptr;
    const char* const end = p + length;
    while (p != nullptr && p != end) p = ReadValue(field, p, end);
    return p;
  }
  return field.type == FieldDescriptor::TYPE_MESSAGE ? ReadSubMessage(field, p, e, depth_left)
                                                     : ReadValue(field, p, e);
}

template <typename Value>
void Matcher::Take(const Field& field, Value value) {
  for (const std::size_t i : field.comparisons) {
    const bool is_true = values_[i].Has(value);
    if (field.repeated) {
      any_[i] = static_cast<char>(any_[i] != 0 || is_true);
    } else {
      current_[i] = static_cast<char>(is_true);
    }
  }
}

const char* Matcher::ReadValue(const Field& field, const char* p, const char* e) {
  const auto fixed = [&](auto number, auto meaning) {
    p = View::ReadFixed(p, e, &number);
    if (p != nullptr) Take(field, meaning(number));
    return p;
  };
  const auto ordered = [](auto number) { return Ordered(std::int64_t{number}); };
  const auto unsigned_number = [](auto number) { return std::uint64_t{number}; };
  const auto real = [](auto number) { return double{number}; };

  switch (field.type) {
    case FieldDescriptor::TYPE_FIXED32:
      return fixed(std::uint32_t{}, unsigned_number);
    case FieldDescriptor::TYPE_FIXED64:
      return fixed(std::uint64_t{}, unsigned_number);
    case FieldDescriptor::TYPE_SFIXED32:
      return fixed(std::int32_t{}, ordered);
    case FieldDescriptor::TYPE_SFIXED64:
      return fixed(std::int64_t{}, ordered);
    case FieldDescriptor::TYPE_FLOAT:
      return fixed(float{}, real);
    case FieldDescriptor::TYPE_DOUBLE:
      return fixed(double{}, real);
    case FieldDescriptor::TYPE_STRING:
    case FieldDescriptor::TYPE_BYTES: {
      std::uint32_t length = 0;
      p = View::ReadLength(p, e, &length);
      if (p == nullptr) return nullptr;
      Take(field, std::string_view(p, length));
      return p + length;
    }
    default:
      break;
  }

  std::uint64_t bits = 0;
  p = View::ReadVarint(p, e, &bits);
  if (p == nullptr) return nullptr;
  const auto low = static_cast<std::uint32_t>(bits);
  switch (field.type) {
    case FieldDescriptor::TYPE_INT32:
      Take(field, ordered(static_cast<std::int32_t>(low)));
      break;
    case FieldDescriptor::TYPE_INT64:
      Take(field, ordered(static_cast<std::int64_t>(bits)));
      break;
    case FieldDescriptor::TYPE_SINT32:
      Take(field, ordered(View::DecodeZigZag32(low)));
      break;
    case FieldDescriptor::TYPE_SINT64:
      Take(field, ordered(View::DecodeZigZag64(bits)));
      break;
    case FieldDescriptor::TYPE_UINT32:
      Take(field, unsigned_number(low));
      break;
    case FieldDescriptor::TYPE_BOOL:
      Take(field, unsigned_number(std::uint32_t{bits != 0}));
      break;
    case FieldDescriptor::TYPE_ENUM:
      if (field.enum_numbers.Has(static_cast<std::int32_t>(low))) {
        Take(field, ordered(static_cast<std::int32_t>(low)));
      }
      break;
    default:
      Take(field, bits);
  }
  return p;
}

const char* Matcher::ReadSubMessage(const Field& field, const char* p, const char* e,
                                    int depth_left) {
  std::uint32_t length = 0;
  p = View::ReadLength(p, e, &length);
  if (p == nullptr) return nullptr;
  const char* const end = p + length;
  // Only "has" compares a message itself.
  Take(field, std::uint64_t{0});
  if (field.message == nullptr) return end;

  for (const auto& [comparison, unset] : field.of_element) {
    current_[comparison] = static_cast<char>(unset);
  }
  if (ReadMessage(*field.message, p, end, depth_left - 1) == nullptr) return nullptr;
  for (const auto& [comparison, unset] : field.of_element) {
    any_[comparison] = static_cast<char>(any_[comparison] != 0 || current_[comparison] != 0);
    current_[comparison] = 0;
  }
  return end;
}

bool Matcher::IsTrue(std::size_t index) const {
  const Expression::Node& node = nodes_[index];
  switch (node.kind) {
    case Expression::Node::kComparison:
      return current_[node.left] != 0 || any_[node.left] != 0;
    case Expression::Node::kNot:
      return !IsTrue(node.left);
    case Expression::Node::kAnd:
      return IsTrue(node.left) && IsTrue(node.right);
    case Expression::Node::kOr:
      return IsTrue(node.left) || IsTrue(node.right);
  }
  return false;
}

}  // namespace CmnSys::Tool
