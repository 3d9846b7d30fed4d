#include "target.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace CmnSys::Fuzz {
namespace {

std::vector<Target>& MutableTargets() {
  static auto* const targets = new std::vector<Target>;
  return *targets;
}

}  // namespace

Registration::Registration(Target target) { MutableTargets().push_back(std::move(target)); }

const std::vector<Target>& Targets() { return MutableTargets(); }

void Expect(bool condition, const std::string& text) {
  if (condition) return;
  std::fprintf(stderr, "Not as expected: %s\n", text.c_str());
  std::abort();
}

}  // namespace CmnSys::Fuzz
