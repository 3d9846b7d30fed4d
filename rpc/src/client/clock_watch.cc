#include "client/clock_watch.h"

#include <algorithm>
#include <chrono>

namespace CmnSys::Rpc {

namespace {

// One for all channels, about as long as the pauses that it replaces.
constexpr std::chrono::seconds kReconnectPause{1};

}  // namespace

ClockWatch::~ClockWatch() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void ClockWatch::Add(const std::shared_ptr<grpc::Channel>& channel) {
  const std::lock_guard lock(mutex_);
  channels_.erase(std::remove_if(channels_.begin(), channels_.end(),
                                 [](const auto& each) { return each.expired(); }),
                  channels_.end());
  channels_.push_back(channel);
}

void ClockWatch::Run() {
  std::chrono::steady_clock::time_point next;
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, ClockSteps::kPeriod, [this] { return stopping_; })) {
    const auto now = std::chrono::steady_clock::now();
    if (!steps_.Check() || now < next) continue;
    next = now + kReconnectPause;
    const auto channels = channels_;
    lock.unlock();
    for (const auto& each : channels) {
      // Also when it is connected: it may be to one of several IP addresses.
      if (const auto channel = each.lock()) {
        grpc::experimental::ChannelResetConnectionBackoff(channel.get());
      }
    }
    lock.lock();
  }
}

}  // namespace CmnSys::Rpc
