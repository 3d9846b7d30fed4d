// gRPC's timers and a wall clock that is set back.

#ifndef CMNSYS_RPC_SRC_CLOCK_STEPS_H_
#define CMNSYS_RPC_SRC_CLOCK_STEPS_H_

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace CmnSys::Rpc {

// gRPC's thread for timers sleeps until a time of the wall clock. When that is set back meanwhile,
// the thread oversleeps by as much, and with it the deadlines of all calls of the process; so it is
// woken then, and reckons anew. Not thread-safe.
class ClockSteps {
 public:
  // How often to look.
  static constexpr std::chrono::milliseconds kPeriod{250};

  void Check();

 private:
  // The wall clock's lead over the monotonic one.
  static std::chrono::nanoseconds Lead();

  std::chrono::nanoseconds lead_ = Lead();
};

// A thread that looks.
class ClockWatch {
 public:
  ClockWatch() : thread_([this] { Run(); }) {}
  ~ClockWatch();
  ClockWatch(const ClockWatch&) = delete;
  ClockWatch& operator=(const ClockWatch&) = delete;

 private:
  void Run();

  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CLOCK_STEPS_H_
