#include "common/clock_steps.h"

#include <algorithm>

// gRPC's own, in none of its public headers; null in a version that does not have it.
__attribute__((weak)) void grpc_kick_poller();

namespace CmnSys::Rpc {

bool ClockSteps::Check() {
  // Other than by chance between the two readings.
  static constexpr std::chrono::milliseconds kStep{10};
  const auto now = std::chrono::steady_clock::now();
  const std::chrono::nanoseconds step = Lead() - lead_;
  lead_ += step;
  if (std::chrono::abs(step) > kStep) {
    made_up_ = std::max(made_up_, now) - step;
    if (&grpc_kick_poller != nullptr) grpc_kick_poller();
  }
  return now < made_up_;
}

std::chrono::nanoseconds ClockSteps::Lead() {
  return std::chrono::system_clock::now().time_since_epoch() -
         std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace CmnSys::Rpc
