#ifndef CMNSYS_TESTS_RPC_LARGEST_ALLOCATION_H_
#define CMNSYS_TESTS_RPC_LARGEST_ALLOCATION_H_

#include <atomic>
#include <cstddef>

namespace CmnSys::Test {

// The most bytes that the program has asked operator new for at once since this was set to 0.
// Stays 0 under the sanitizers, which replace operator new themselves.
std::atomic<std::size_t>& LargestAllocation();

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_RPC_LARGEST_ALLOCATION_H_
