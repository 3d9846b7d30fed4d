// Durations that callers give, brought into the ranges that gRPC takes.

#ifndef CMNSYS_RPC_SRC_TIME_H_
#define CMNSYS_RPC_SRC_TIME_H_

#include <algorithm>
#include <chrono>
#include <climits>

namespace CmnSys::Rpc {

// Milliseconds for one of gRPC's arguments: from 1 to INT_MAX, which it takes for "never".
inline int ToArgument(std::chrono::milliseconds duration) {
  return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(duration.count(), 1, INT_MAX));
}

// So many milliseconds from now, now for a negative number of them; time_point::max(), which gRPC
// takes for "never", when it is beyond all times.
inline std::chrono::system_clock::time_point DeadlineAfter(std::chrono::milliseconds timeout) {
  using std::chrono::system_clock;
  const auto now = system_clock::now();
  if (timeout.count() <= 0) return now;
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(system_clock::time_point::max() - now);
  return timeout >= left ? system_clock::time_point::max() : now + timeout;
}

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_TIME_H_
