#ifndef CMNSYS_TESTS_RPC_ACCEPT_FAULT_H_
#define CMNSYS_TESTS_RPC_ACCEPT_FAULT_H_

#include <atomic>

namespace CmnSys::Test {

// While `error` is not 0, accept4() fails with it in this program.
struct AcceptFault {
  std::atomic<int> error{0};
  std::atomic<int> failures{0};
};
AcceptFault& TheAcceptFault();

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_RPC_ACCEPT_FAULT_H_
