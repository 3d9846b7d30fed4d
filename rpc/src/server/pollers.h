// The threads that take what gRPC has done from its completion queue.

#ifndef CMNSYS_RPC_SRC_POLLERS_H_
#define CMNSYS_RPC_SRC_POLLERS_H_

#include <grpcpp/completion_queue.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "server/worker_pool.h"

namespace CmnSys::Rpc {

// Whether a piece of a service's code has been taking long lately: twice in short order.
class Pace {
 public:
  bool IsQuick() const { return caution_.load(std::memory_order_relaxed) == 0; }
  // Whether a run took long; the time of the next ones is taken without what the system's scheduler
  // took of it.
  bool IsSuspect() const { return suspicion_.load(std::memory_order_relaxed) != 0; }
  void Took(std::chrono::nanoseconds time);

 private:
  std::atomic<int> suspicion_{0};
  std::atomic<int> caution_{0};
};

// How long something takes on the calling thread.
class RunTime {
 public:
  // `exact` leaves out the time for which the thread could have run but did not, because the system
  // had others run; that costs more.
  explicit RunTime(bool exact);
  std::chrono::nanoseconds Elapsed() const;

 private:
  const bool exact_;
  const std::chrono::steady_clock::time_point begin_;
  std::chrono::nanoseconds cpu_{0};
  long waits_ = 0;
};

// One thread polls the queue as long as it keeps up: gRPC would wake each of several in turn, which
// costs more than what it takes off the first. When those that poll are busy nearly all the time
// another joins them, up to the number of cores. Another joins as well when they do not come back:
// gRPC reads on and on from a connection whose client sends as fast as it can.
//
// A service's code runs on the thread that polls when it is known to be quick and a worker would be
// free for it: handing it over costs more than small methods take. When it turns out to be slow,
// another thread takes over polling after about a millisecond and the first becomes a worker.
class Pollers {
 public:
  explicit Pollers(WorkerPool* workers) : workers_(workers) {}
  ~Pollers();  // Stops; the queue must have been shut down.
  Pollers(const Pollers&) = delete;
  Pollers& operator=(const Pollers&) = delete;

  void Start(grpc::CompletionQueue* queue);
  // Returns when the queue, which must have been shut down, is empty.
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

  // Polled by one thread at a time.
  struct Line {
    // When the thread that polls began to run a service's code; 0 while it does not.
    std::atomic<Clock::rep> since{0};
    std::atomic<std::uint64_t> events{0};
    std::atomic<bool> wanted{false};
    std::atomic<clockid_t> cpu_clock{CLOCK_REALTIME};  // Of the thread that polls.
    // With mutex_ held. Times are of the thread's CPU time.
    bool open = false;
    clockid_t seen_clock = CLOCK_REALTIME;
    std::uint64_t seen_events = 0;
    std::chrono::nanoseconds now{0};
    std::chrono::nanoseconds last_event{0};
    std::chrono::nanoseconds adjusted{0};  // When lines were last adjusted.
  };

  template <typename Task>
  static void RunTimed(Pace* pace, const Task& task) {
    const RunTime time(pace->IsSuspect());
    task();
    pace->Took(time.Elapsed());
  }

  bool TryBegin();
  void End();
  void Poll(Line* line);
  bool Next(Line* line, void** tag, bool* ok);
  void Guard();
  void WakeGuard();
  bool RelieveSlow();
  // With mutex_ held.
  void Open();
  // Whether anything was done.
  bool LookAtLines();
  void AdjustLines(Clock::duration period);

  WorkerPool* const workers_;
  grpc::CompletionQueue* queue_ = nullptr;
  int cores_ = 1;
  std::deque<Line> lines_;  // The first is always wanted.
  std::atomic<bool> guard_awake_{false};
  std::mutex mutex_;
  std::condition_variable changed_;
  int open_lines_ = 0;
  bool stuck_ = false;  // No line that polls comes back.
  bool stopping_ = false;
  std::thread guard_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_POLLERS_H_
