// Bytes read in place, through views.
//
// Validate takes what the runtime parses and nothing else, views of what it takes tell no error,
// and every field, extension and unknown field is what the runtime made of it.

#include "messages.h"
#include "views/comparer.h"
#include "views/mutation.h"

namespace CmnSys::Fuzz {
namespace {

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const std::string difference = Test::CompareWithParser(*split.prototype, split.content);
  Expect(difference.empty(), difference);
}

// Other messages, and other bytes for the same one.
std::string Mutate(std::string_view input, Random* random) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr || (*random)() % 2 == 0) return MutateWire(input, random);
  std::mt19937 other(static_cast<std::mt19937::result_type>((*random)()));
  return JoinInput(*split.prototype, Test::Mutate(std::string(split.content), &other));
}

const Registration kRegistration({"view", Run, WireSeeds, Mutate});

}  // namespace
}  // namespace CmnSys::Fuzz
