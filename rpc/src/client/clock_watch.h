// Channels and a wall clock that is set back.

#ifndef CMNSYS_RPC_SRC_CLOCK_WATCH_H_
#define CMNSYS_RPC_SRC_CLOCK_WATCH_H_

#include <grpcpp/channel.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "common/clock_steps.h"

namespace CmnSys::Rpc {

// A thread that watches the clock. As long as gRPC's pauses between attempts to connect may be held
// up, it has the channels connect without them.
class ClockWatch {
 public:
  ClockWatch() : thread_([this] { Run(); }) {}
  ~ClockWatch();
  ClockWatch(const ClockWatch&) = delete;
  ClockWatch& operator=(const ClockWatch&) = delete;

  // For as long as the channel lives.
  void Add(const std::shared_ptr<grpc::Channel>& channel);

 private:
  void Run();

  ClockSteps steps_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopping_ = false;
  std::vector<std::weak_ptr<grpc::Channel>> channels_;
  std::thread thread_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CLOCK_WATCH_H_
