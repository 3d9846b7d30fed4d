// The threads that take what gRPC has done from its completion queues.

#ifndef CMNSYS_RPC_SRC_POLLERS_H_
#define CMNSYS_RPC_SRC_POLLERS_H_

#include <grpcpp/completion_queue.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "server/worker_pool.h"

namespace CmnSys::Rpc {

// Whether a piece of a service's code has been taking long lately.
class Pace {
 public:
  bool IsQuick() const { return caution_.load(std::memory_order_relaxed) == 0; }
  void Took(std::chrono::nanoseconds time);

 private:
  std::atomic<int> caution_{0};
};

// One thread polls each queue. A service's code runs on that very thread when it is known to be
// quick and a worker would be free for it: handing it over costs more than small methods take. When
// it turns out to be slow, another thread takes over polling after about a millisecond and the
// first becomes a worker.
class Pollers {
 public:
  explicit Pollers(WorkerPool* workers) : workers_(workers) {}
  ~Pollers();  // Stops; the queues must have been shut down.
  Pollers(const Pollers&) = delete;
  Pollers& operator=(const Pollers&) = delete;

  void Start(const std::vector<grpc::CompletionQueue*>& queues);
  // Returns when the queues, which must have been shut down, are empty.
  void Stop();

  // Runs a service's code, on this thread or on a worker.
  template <typename Task>
  void Run(Pace* pace, Task task) {
    if (!pace->IsQuick() || !TryBegin()) {
      workers_->Post([pace, task] { RunTimed(pace, task); });
      return;
    }
    RunTimed(pace, task);
    End();
  }

 private:
  using Clock = std::chrono::steady_clock;

  struct Line {
    explicit Line(grpc::CompletionQueue* the_queue) : queue(the_queue) {}
    grpc::CompletionQueue* const queue;
    // When the thread that polls began to run a service's code; 0 while it does not.
    std::atomic<Clock::rep> since{0};
    std::atomic<std::uint64_t> runs{0};
  };

  template <typename Task>
  static void RunTimed(Pace* pace, const Task& task) {
    const Clock::time_point begin = Clock::now();
    task();
    pace->Took(Clock::now() - begin);
  }

  bool TryBegin();
  void End();
  void Poll(Line* line);
  void Guard();
  bool RelieveSlow();

  WorkerPool* const workers_;
  std::deque<Line> lines_;
  std::atomic<bool> guard_awake_{false};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t open_lines_ = 0;
  bool stopping_ = false;
  std::thread guard_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_POLLERS_H_
