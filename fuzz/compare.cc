// Two messages of a type, compared and measured as the commands diff and size do it.
//
// Equal messages have no differences and others have some, in every way of comparing that can tell
// them apart; shuffled elements are no difference where the order does not count; the sizes of the
// fields add up to that of the message. Time and memory grow as the messages do.

#include "CmnSys/Util/RandomMessage.h"
#include "analysis/diff.h"
#include "analysis/size.h"
#include "growth.h"
#include "messages.h"

namespace CmnSys::Fuzz {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

void Shuffle(Message* message, Random* random) {
  std::vector<const FieldDescriptor*> fields;
  const auto* reflection = message->GetReflection();
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    const bool is_message = field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    if (!field->is_repeated()) {
      if (is_message) Shuffle(reflection->MutableMessage(message, field), random);
      continue;
    }
    const int size = reflection->FieldSize(*message, field);
    for (int i = 0; i < size; ++i) {
      if (is_message) Shuffle(reflection->MutableRepeatedMessage(message, field, i), random);
      const auto count = static_cast<std::uint64_t>(i) + 1;
      reflection->SwapElements(message, field, static_cast<int>((*random)() % count), i);
    }
  }
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const auto left = split.New();
  if (!kWireForm.read(split.content, left.get())) return;
  Random random(split.content.size());
  const auto right = split.New();
  right->CopyFrom(*left);
  Shuffle(right.get(), &random);
  Tool::Comparison comparison;
  comparison.any_order = true;
  Expect(Tool::Differences(comparison, *left, *right).empty(), "the order does not count");

  MutateMessage(right.get(), &random);
  for (int ways = 0; ways < 8; ++ways) {
    comparison = {(ways & 1) != 0, (ways & 2) != 0, (ways & 4) != 0};
    Expect(Tool::Differences(comparison, *left, *left).empty(), "a message equals itself");
    const bool differ = !Tool::Differences(comparison, *left, *right).empty();
    Expect(differ == !Tool::Differences(comparison, *right, *left).empty(), "both ways are alike");
    if (ways == 0 && !differ) {
      // Every NaN equals every other, and fields that the type does not know have no order.
      Expect(left->ByteSizeLong() == right->ByteSizeLong(), "equal messages have one size");
    }
  }

  Tool::FieldSize all;
  Tool::AddFieldSizes(*left, &all);
  Expect(all.bytes == left->ByteSizeLong(), "the size is that of the message");
  std::uint64_t sum = 0;
  std::size_t left_out = 0;
  for (const auto& row : Tool::LargestFields(all, 1, 1 << 20, &left_out)) sum += row.bytes;
  Expect(sum == all.bytes && left_out == 0, "the fields add up to the message");

  ExpectLinear("comparing", split.content, 8 << 10, [&](const std::string& bytes) {
    const auto one = split.New();
    kWireForm.read(bytes, one.get());
    const auto other = split.New();
    other->CopyFrom(*one);
    Shuffle(other.get(), &random);
    for (const bool any_order : {false, true}) {
      Tool::Differences({any_order, any_order, false}, *one, *other);
    }
    Tool::FieldSize sizes;
    Tool::AddFieldSizes(*one, &sizes);
    std::size_t none = 0;
    Tool::LargestFields(sizes, 1, 1 << 20, &none);
  });
}

const Registration kRegistration({"compare", Run, WireSeeds, MutateWire});

}  // namespace
}  // namespace CmnSys::Fuzz
