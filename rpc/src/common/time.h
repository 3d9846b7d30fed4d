// Durations that callers give, brought into the ranges that gRPC takes, and times to wait for.
// Those are of the monotonic clock: the wall clock may be set meanwhile.

#ifndef CMNSYS_RPC_SRC_TIME_H_
#define CMNSYS_RPC_SRC_TIME_H_

#include <grpc/support/time.h>

#include <algorithm>
#include <chrono>
#include <climits>

namespace CmnSys::Rpc {

// Milliseconds for one of gRPC's arguments: from 1 to INT_MAX, which it takes for "never".
inline int ToArgument(std::chrono::milliseconds duration) {
  return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(duration.count(), 1, INT_MAX));
}

inline gpr_timespec AtOnce() { return gpr_inf_past(GPR_CLOCK_MONOTONIC); }
inline gpr_timespec Never() { return gpr_inf_future(GPR_CLOCK_MONOTONIC); }

// So many milliseconds from now; at once when there are none, and never from a century on:
// system_clock, by which deadlines are told, ends in 2262.
inline gpr_timespec DeadlineAfter(std::chrono::milliseconds timeout) {
  constexpr std::chrono::hours kCentury{24 * 365 * 100};
  if (timeout.count() <= 0) return AtOnce();
  if (timeout >= kCentury) return Never();
  return gpr_time_add(gpr_now(GPR_CLOCK_MONOTONIC),
                      gpr_time_from_millis(timeout.count(), GPR_TIMESPAN));
}

// The whole milliseconds since a time. In nanoseconds, the longest limits that callers give could
// not be compared with it.
inline std::chrono::milliseconds Since(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               begin);
}

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_TIME_H_
