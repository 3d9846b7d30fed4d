// What a fuzz target is, to libFuzzer and to the tests.
//
// Each target is a file of its own that registers itself. libFuzzer runs one target a program
// (libfuzzer.cc); the tests run all of them over the inputs that once failed (tests/fuzz/).

#ifndef CMNSYS_FUZZ_TARGET_H_
#define CMNSYS_FUZZ_TARGET_H_

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::Fuzz {

using Random = std::mt19937_64;

struct Target {
  std::string name;
  // Takes one input and ends the process, by Expect, when something is wrong.
  void (*run)(std::string_view input) = nullptr;
  // Inputs to begin with.
  std::vector<std::string> (*seeds)() = nullptr;
  // Another input like this one; empty when there is none. Null where changing bytes will do.
  std::string (*mutate)(std::string_view input, Random* random) = nullptr;
};

// Adds a target to those of the program.
struct Registration {
  explicit Registration(Target target);
};

const std::vector<Target>& Targets();

// Ends the process, with the text on standard error, unless the condition holds.
void Expect(bool condition, const std::string& text);

}  // namespace CmnSys::Fuzz

#endif  // CMNSYS_FUZZ_TARGET_H_
