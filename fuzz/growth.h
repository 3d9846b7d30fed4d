// What work costs as its input grows.

#ifndef CMNSYS_FUZZ_GROWTH_H_
#define CMNSYS_FUZZ_GROWTH_H_

#include <functional>
#include <string>
#include <string_view>

namespace CmnSys::Fuzz {

// Ends the process, by Expect, when the work takes much more than eight times the CPU time, or asks
// for much more than eight times the memory, for eight times the input. The inputs are `unit` again
// and again, about `bytes` long and eight times that. Costs too small to compare pass. Memory is
// counted where a sanitizer counts it.
//
// Costs many runs of a target, so that only some of the inputs (decided by their bytes, for a
// failure to come again) are tried.
void ExpectLinear(const std::string& what, std::string_view unit, std::size_t bytes,
                  const std::function<void(const std::string& input)>& work);

}  // namespace CmnSys::Fuzz

#endif  // CMNSYS_FUZZ_GROWTH_H_
