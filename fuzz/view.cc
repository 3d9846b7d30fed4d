// Bytes read in place, through views.
//
// Validate takes what the runtime parses and nothing else, views of what it takes tell no error,
// and every field, extension and unknown field is what the runtime made of it.

#include <algorithm>

#include "messages.h"
#include "views/comparer.h"
#include "views/mutation.h"

namespace CmnSys::Fuzz {
namespace {

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr || !Test::HasComparer(*split.prototype)) return;
  const std::string difference = Test::CompareWithParser(*split.prototype, split.content);
  Expect(difference.empty(), difference);
}

std::vector<std::string> Seeds() {
  std::vector<std::string> seeds = WireSeeds();
  const auto has_none = [](const std::string& seed) {
    return !Test::HasComparer(*SplitInput(seed).prototype);
  };
  seeds.erase(std::remove_if(seeds.begin(), seeds.end(), has_none), seeds.end());
  return seeds;
}

// Other messages, and other bytes for the same one.
std::string Mutate(std::string_view input, Random* random) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr || (*random)() % 2 == 0) return MutateWire(input, random);
  std::mt19937 other(static_cast<std::mt19937::result_type>((*random)()));
  return JoinInput(*split.prototype, Test::Mutate(std::string(split.content), &other));
}

const Registration kRegistration({"view", Run, Seeds, Mutate});

}  // namespace
}  // namespace CmnSys::Fuzz
