// A filter's condition, understood for one message type.

#ifndef CMNSYS_TOOLS_FILTER_EXPRESSION_H_
#define CMNSYS_TOOLS_FILTER_EXPRESSION_H_

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace CmnSys::Tool {

enum class Operator { kHas, kEqual, kNotEqual, kLess, kLessOrEqual, kGreater, kGreaterOrEqual };

// The value that a field is compared with, of the field's own kind: signed numbers and enums as
// int64_t, unsigned ones and bool as uint64_t, float and double as double (of a float field the
// nearest float), strings and bytes as std::string; nothing for kHas.
using Literal = std::variant<std::monostate, std::int64_t, std::uint64_t, double, std::string>;

// "PATH OPERATOR LITERAL" or "has PATH".
struct Comparison {
  std::vector<const google::protobuf::FieldDescriptor*> path;  // From the message to the field.
  Operator op = Operator::kHas;
  Literal literal;
};

struct Expression {
  struct Node {
    enum Kind { kComparison, kNot, kAnd, kOr };
    Kind kind = kComparison;
    std::size_t left = 0;   // Of kComparison an index into `comparisons`, else one into `nodes`.
    std::size_t right = 0;  // Of kAnd and kOr.
  };

  const google::protobuf::Descriptor* type = nullptr;
  std::vector<Comparison> comparisons;
  std::vector<Node> nodes;  // The last one is the whole.
};

// Limits of a condition.
constexpr std::size_t kMaxComparisons = 1000;
constexpr int kMaxParentheses = 100;  // Also "not", one in the other.
constexpr std::size_t kMaxPathSteps = 100;

// Reads a condition on messages of `type`. Throws Failure that shows where it is not understood.
Expression ParseExpression(std::string_view condition, const google::protobuf::Descriptor& type);

// Of "condition", for help texts.
extern const char kConditionHelp[];

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FILTER_EXPRESSION_H_
