#include "largest_allocation.h"

#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> largest_allocation{0};

}  // namespace

std::atomic<std::size_t>& CmnSys::Test::LargestAllocation() { return largest_allocation; }

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
void* operator new(std::size_t size) {
  std::size_t largest = largest_allocation;
  while (size > largest && !largest_allocation.compare_exchange_weak(largest, size)) continue;
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
#endif
