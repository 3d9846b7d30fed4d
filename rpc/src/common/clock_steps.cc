#include "common/clock_steps.h"

// gRPC's own, in none of its public headers; null in a version that does not have it.
__attribute__((weak)) void grpc_kick_poller();

namespace CmnSys::Rpc {

void ClockSteps::Check() {
  // Other than by chance between the two readings.
  static constexpr std::chrono::milliseconds kStep{10};
  const std::chrono::nanoseconds before = lead_;
  lead_ = Lead();
  if (lead_ < before - kStep && &grpc_kick_poller != nullptr) grpc_kick_poller();
}

std::chrono::nanoseconds ClockSteps::Lead() {
  return std::chrono::system_clock::now().time_since_epoch() -
         std::chrono::steady_clock::now().time_since_epoch();
}

ClockWatch::~ClockWatch() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void ClockWatch::Run() {
  ClockSteps steps;
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, ClockSteps::kPeriod, [this] { return stopping_; })) {
    steps.Check();
  }
}

}  // namespace CmnSys::Rpc
