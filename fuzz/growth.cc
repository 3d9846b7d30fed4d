#include "growth.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>

#include "target.h"

// Of the sanitizers' runtimes, sanitizer/allocator_interface.h; null without one.
extern "C" __attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*on_malloc)(const volatile void*, std::size_t), void (*on_free)(const volatile void*));

namespace CmnSys::Fuzz {

namespace {

constexpr std::size_t kFactor = 8;
constexpr std::uint64_t kSlack = 3;  // With it, what is quadratic still takes more.
constexpr std::size_t kOneIn = 64;
// Differences that only chance makes.
constexpr std::uint64_t kFewMicroseconds = 20'000;
constexpr std::uint64_t kFewBytes = 1 << 20;
constexpr int kAttempts = 3;

thread_local std::uint64_t allocated = 0;

struct Cost {
  std::uint64_t microseconds = 0;
  std::uint64_t bytes = 0;
};

std::uint64_t CpuMicroseconds() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<std::uint64_t>(time.tv_sec * 1'000'000 + time.tv_nsec / 1000);
}

Cost Measure(const std::function<void(const std::string&)>& work, const std::string& input) {
  const std::uint64_t bytes = allocated;
  const std::uint64_t start = CpuMicroseconds();
  work(input);
  return {CpuMicroseconds() - start, allocated - bytes};
}

std::string Repeated(std::string_view unit, std::size_t bytes) {
  std::string text;
  while (text.size() < bytes) text += unit;
  return text;
}

}  // namespace

void ExpectLinear(const std::string& what, std::string_view unit, std::size_t bytes,
                  const std::function<void(const std::string& input)>& work) {
  if (unit.empty() || std::hash<std::string_view>()(unit) % kOneIn != 0) return;
  [[maybe_unused]] static const bool counts = [] {
    if (__sanitizer_install_malloc_and_free_hooks == nullptr) return false;
    return __sanitizer_install_malloc_and_free_hooks(
               [](const volatile void*, std::size_t size) { allocated += size; },
               [](const volatile void*) {}) != 0;
  }();
  const std::string small = Repeated(unit, bytes);
  const std::string large = Repeated(small, kFactor * small.size());
  Cost one;
  Cost many;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    one = Measure(work, small);
    many = Measure(work, large);
    Expect(many.bytes <= kSlack * kFactor * one.bytes + kFewBytes,
           what + " " + std::to_string(large.size()) + " bytes asks for " +
               std::to_string(many.bytes) + " bytes, and for " + std::to_string(one.bytes) +
               " with an eighth");
    if (many.microseconds <= kSlack * kFactor * one.microseconds + kFewMicroseconds) return;
  }
  Expect(false, what + " " + std::to_string(large.size()) + " bytes takes " +
                    std::to_string(many.microseconds) + " us, and " +
                    std::to_string(one.microseconds) + " with an eighth");
}

}  // namespace CmnSys::Fuzz
