// Conditions on messages, tried on their wire bytes.
//
// A condition is understood or refused with its place. What the runtime parses is never malformed,
// and the bytes that it then writes give the same answer; "not" gives the other one.

#include "filter/expression.h"
#include "filter/matcher.h"
#include "io/failure.h"
#include "messages.h"

namespace CmnSys::Fuzz {
namespace {

// The message's type and a line end, the condition and another one, the bytes.
void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const std::size_t end = split.content.find('\n');
  if (end == split.content.npos) return;
  const std::string condition(split.content.substr(0, end));
  const std::string bytes(split.content.substr(end + 1));
  const auto& type = *split.prototype->GetDescriptor();

  Tool::Expression expression;
  try {
    expression = Tool::ParseExpression(condition, type);
  } catch (const Tool::Failure& failure) {
    const std::string_view text = failure.what();
    Expect(text.find("--where, column ") == 0 && text.back() == '^', "a refusal shows the place");
    return;
  }
  Tool::Matcher matcher(expression);
  const auto result = matcher.Matches(bytes);
  Expect(matcher.Matches(bytes) == result, "the same bytes give the same answer");

  Tool::Expression opposite = expression;
  opposite.nodes.push_back({Tool::Expression::Node::kNot, expression.nodes.size() - 1, 0});
  const auto other = Tool::Matcher(opposite).Matches(bytes);
  Expect(other.has_value() == result.has_value() && (!result || *other != *result),
         "\"not\" gives the other answer");

  const auto message = split.New();
  if (!message->ParseFromString(bytes)) return;
  Expect(result.has_value(), "what the runtime parses is well-formed");
  Expect(matcher.Matches(Bytes(*message)) == result, "the bytes that it writes mean the same");
}

// A condition on one of the fields of each message.
std::vector<std::string> Seeds() {
  std::vector<std::string> seeds;
  for (const std::string& seed : WireSeeds()) {
    const TypedInput split = SplitInput(seed);
    const auto& type = *split.prototype->GetDescriptor();
    if (type.field_count() == 0) continue;
    const auto& field = *type.field(static_cast<int>(seeds.size()) % type.field_count());
    std::string condition = "not has " + field.name() + " or " + field.name();
    switch (field.cpp_type()) {
      case google::protobuf::FieldDescriptor::CPPTYPE_MESSAGE:
        condition = "has " + field.name();
        break;
      case google::protobuf::FieldDescriptor::CPPTYPE_STRING:
        condition += " > '\\101'";
        break;
      case google::protobuf::FieldDescriptor::CPPTYPE_BOOL:
        condition += " = true";
        break;
      default:
        condition += " <= 1";
    }
    seeds.push_back(JoinInput(*split.prototype, condition + "\n" + std::string(split.content)));
  }
  return seeds;
}

const Registration kRegistration({"filter", Run, Seeds});

}  // namespace
}  // namespace CmnSys::Fuzz
