// The threads that run service methods.

#ifndef CMNSYS_RPC_SRC_WORKER_POOL_H_
#define CMNSYS_RPC_SRC_WORKER_POOL_H_

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace CmnSys::Rpc {

// Runs tasks in the order in which they come, up to `most` at the same time. Threads are made while
// all are busy; the one that was busy last is woken first, so that those above `least` that are not
// needed stay idle and end.
class WorkerPool {
 public:
  WorkerPool(int least, int most) : least_(least), most_(most) {}
  ~WorkerPool();  // Stops.
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Queues a task; false, and nothing happens, after Stop().
  bool Post(std::function<void()> task);

  // Starts a task that waits for work and does not count as busy, at once, on a thread beyond
  // `most` if need be.
  void PostWaiting(std::function<void()> task);

  // For such a task that does a piece of work itself: true, until Leave(), when a thread would be
  // free to do it at once.
  bool TryEnter();
  void Leave();

  // Returns when all tasks are done and the threads have ended.
  void Stop();

  // Whether the caller is one of the pool's threads.
  bool OnWorker() const;

  struct Numbers {
    int threads = 0;
    int busy = 0;
    int queued = 0;
  };
  Numbers Count() const;

 private:
  struct Idle {
    std::condition_variable wake;
    bool woken = false;
  };

  void Work();
  // With mutex_ held.
  void NeedThread();
  void AddThread();
  bool WaitForWork(std::unique_lock<std::mutex>* lock);

  const int least_;
  const int most_;
  mutable std::mutex mutex_;
  std::deque<std::function<void()>> waiting_tasks_;
  std::deque<std::function<void()>> tasks_;
  int threads_ = 0;
  int busy_ = 0;
  std::vector<Idle*> idle_;  // The one that was busy last is the last.
  bool stopping_ = false;
  std::condition_variable all_ended_;
  std::vector<std::thread> ended_;  // To be joined.
  std::vector<std::thread> running_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_WORKER_POOL_H_
