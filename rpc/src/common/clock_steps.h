// gRPC's timers and a wall clock that is set back.

#ifndef CMNSYS_RPC_SRC_CLOCK_STEPS_H_
#define CMNSYS_RPC_SRC_CLOCK_STEPS_H_

#include <chrono>

namespace CmnSys::Rpc {

// gRPC's threads for timers sleep until a time of the wall clock. When that is set back meanwhile,
// they oversleep by as much. With the one thread the deadlines of all calls of the process would,
// so it is woken then, and reckons anew. With the other the pauses between attempts to connect do;
// it cannot be woken. Not thread-safe.
class ClockSteps {
 public:
  // How often to look.
  static constexpr std::chrono::milliseconds kPeriod{250};

  // Whether a thread may still oversleep.
  bool Check();

 private:
  // The wall clock's lead over the monotonic one.
  static std::chrono::nanoseconds Lead();

  std::chrono::nanoseconds lead_ = Lead();
  // When the wall clock is again where it was before it was set back.
  std::chrono::steady_clock::time_point made_up_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CLOCK_STEPS_H_
