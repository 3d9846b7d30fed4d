#include "filter/expression.h"

#include <utility>

#include "CmnSys/Util/Schema.h"
#include "filter/lexer.h"
#include "filter/literal.h"
#include "io/failure.h"
#include "text/field_path.h"
#include "text/name_search.h"

namespace CmnSys::Tool {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

const char kConditionHelp[] =
    "The condition of --where:\n"
    "  PATH = VALUE         also != < <= > >=\n"
    "  has PATH             is the field set?\n"
    "  not C, C and C, C or C, (C)\n"
    "                       not binds closest, or least\n"
    "A path is made of field names with dots between; an extension's name, or its last parts, "
    "stands in brackets. Values are numbers, names or numbers of enum values, true, false, and "
    "text "
    "in quotes with the escapes of the text format.\n"
    "\n"
    "An unset field compares as its default. In a repeated field any element may be the one, also "
    "for !=; \"not PATH = VALUE\" is true when none is. Text and bytes are ordered by their "
    "bytes; NaN compares like no number.";

namespace {

class Parser {
 public:
  Parser(std::string_view condition, const Descriptor& type)
      : condition_(condition), tokens_(Tokens(condition)) {
    expression_.type = &type;
  }

  Expression Parse() {
    if (Peek().kind == TokenKind::kEnd) Fail("the condition is empty");
    Or();
    if (Peek().kind != TokenKind::kEnd) {
      Fail("\"and\", \"or\" or the end of the condition is expected here");
    }
    return std::move(expression_);
  }

 private:
  const Token& Peek() const { return tokens_[at_]; }

  bool Is(TokenKind kind, std::string_view text) const {
    return Peek().kind == kind && Peek().text == text;
  }

  bool Take(TokenKind kind, std::string_view text) {
    if (!Is(kind, text)) return false;
    ++at_;
    return true;
  }

  [[noreturn]] void Fail(const std::string& what) { FailAt(condition_, Peek().offset, what); }

  std::size_t Add(Expression::Node::Kind kind, std::size_t left, std::size_t right) {
    expression_.nodes.push_back({kind, left, right});
    return expression_.nodes.size() - 1;
  }

  // Each adds what it reads and returns the index of its node.
  std::size_t Or() {
    std::size_t left = And();
    while (Take(TokenKind::kName, "or")) left = Add(Expression::Node::kOr, left, And());
    return left;
  }

  std::size_t And() {
    std::size_t left = Not();
    while (Take(TokenKind::kName, "and")) left = Add(Expression::Node::kAnd, left, Not());
    return left;
  }

  std::size_t Not() {
    if (depth_ == kMaxParentheses) {
      Fail("\"not\" and parentheses stand more than " + std::to_string(kMaxParentheses) +
           " deep in one another");
    }
    ++depth_;
    std::size_t node = 0;
    if (Take(TokenKind::kName, "not")) {
      node = Add(Expression::Node::kNot, Not(), 0);
    } else if (Take(TokenKind::kSymbol, "(")) {
      node = Or();
      if (!Take(TokenKind::kSymbol, ")")) Fail("\"and\", \"or\" or \")\" is expected here");
    } else {
      node = Condition();
    }
    --depth_;
    return node;
  }

  std::size_t Condition() {
    Comparison comparison;
    if (expression_.comparisons.size() == kMaxComparisons) {
      Fail("there are more than " + std::to_string(kMaxComparisons) + " comparisons");
    }
    const bool has = Take(TokenKind::kName, "has");
    comparison.path = Path();
    const FieldDescriptor& field = *comparison.path.back();
    if (!has) {
      comparison.op = ComparisonOperator(field);
      if (Peek().kind == TokenKind::kEnd) Fail("a value is expected here");
      comparison.literal = ParseLiteral(condition_, Peek(), field, comparison.op);
      ++at_;
    }
    expression_.comparisons.push_back(std::move(comparison));
    return Add(Expression::Node::kComparison, expression_.comparisons.size() - 1, 0);
  }

  Operator ComparisonOperator(const FieldDescriptor& field) {
    static constexpr std::pair<std::string_view, Operator> kOperators[] = {
        {"=", Operator::kEqual},   {"!=", Operator::kNotEqual},
        {"<", Operator::kLess},    {"<=", Operator::kLessOrEqual},
        {">", Operator::kGreater}, {">=", Operator::kGreaterOrEqual}};
    if (field.cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      Fail(Util::FieldName(field) + " is a message: compare one of its fields (" +
           Util::FieldName(field) + ".NAME), or write \"has\" in front");
    }
    for (const auto& [text, op] : kOperators) {
      if (Take(TokenKind::kSymbol, text)) return op;
    }
    Fail("one of = != < <= > >= is expected here; \"has\" in front asks whether a field is set");
  }

  std::vector<const FieldDescriptor*> Path() {
    std::vector<const FieldDescriptor*> path;
    const Descriptor* type = expression_.type;
    do {
      if (type == nullptr) {
        Fail(Util::FieldName(*path.back()) + " is of type " + path.back()->type_name() +
             ", which has no fields");
      }
      if (path.size() == kMaxPathSteps) {
        Fail("a path has more than " + std::to_string(kMaxPathSteps) + " steps");
      }
      path.push_back(Step(*type));
      type = path.back()->message_type();
    } while (Take(TokenKind::kSymbol, "."));
    return path;
  }

  const FieldDescriptor* Step(const Descriptor& type) {
    if (Is(TokenKind::kSymbol, "[")) return Extension(type);
    if (Peek().kind != TokenKind::kName) {
      Fail("the name of a field of " + type.full_name() + " is expected here");
    }
    const FieldDescriptor* const field = type.FindFieldByName(Peek().text);
    if (field == nullptr) FailUnknown(type);
    if (field->type() == FieldDescriptor::TYPE_GROUP || field->real_containing_oneof() != nullptr) {
      Fail(field->full_name() + " is a group or in a oneof, which conditions cannot look into");
    }
    ++at_;
    return field;
  }

  [[noreturn]] void FailUnknown(const Descriptor& type) {
    const std::string& name = Peek().text;
    const std::string what = type.full_name() + " has no field \"" + name + "\"";
    std::vector<std::string> names;
    for (const FieldDescriptor* extension : Extensions(type)) {
      names.push_back(extension->full_name());
    }
    if (!Util::MatchingNames(names, name).empty()) {
      Fail(what + "; an extension stands in brackets: [" + name + "]");
    }
    names.clear();
    for (int i = 0; i < type.field_count(); ++i) names.push_back(type.field(i)->name());
    Fail(what + NearestText(Util::NearestNames(names, name)));
  }

  const FieldDescriptor* Extension(const Descriptor& type) {
    ++at_;
    const std::size_t start = Peek().offset;
    std::string name;
    while (Peek().kind == TokenKind::kName || Is(TokenKind::kSymbol, ".")) {
      name += tokens_[at_++].text;
    }
    if (name.empty()) Fail("the name of an extension of " + type.full_name() + " is expected here");
    if (!Take(TokenKind::kSymbol, "]")) Fail("\"]\" is expected here");

    const std::vector<const FieldDescriptor*> extensions = Extensions(type);
    std::vector<std::string> names;
    for (const FieldDescriptor* extension : extensions) names.push_back(extension->full_name());
    const std::vector<std::string> matching = Util::MatchingNames(names, name);
    if (matching.size() == 1) {
      return type.file()->pool()->FindExtensionByName(matching.front());
    }
    std::string what = "[" + name + "] may be any of";
    for (const std::string& match : matching) what += (match == matching[0] ? " " : ", ") + match;
    if (matching.empty()) {
      what = type.full_name() + " has no extension [" + name + "]" +
             NearestText(Util::NearestNames(names, name));
    }
    FailAt(condition_, start, what);
  }

  static std::vector<const FieldDescriptor*> Extensions(const Descriptor& type) {
    Util::SchemaFiles();  // Sees to it that all extensions are known.
    std::vector<const FieldDescriptor*> extensions;
    type.file()->pool()->FindAllExtensions(&type, &extensions);
    return extensions;
  }

  std::string_view condition_;
  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  int depth_ = 0;
  Expression expression_;
};

}  // namespace

Expression ParseExpression(std::string_view condition, const Descriptor& type) {
  return Parser(condition, type).Parse();
}

}  // namespace CmnSys::Tool
