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

// Runs tasks in the order in which they come. Threads are made while all are busy, up to `most`;
// those above `least` end when they were idle for a while.
class WorkerPool {
 public:
  WorkerPool(int least, int most) : least_(least), most_(most) {}
  ~WorkerPool();  // Stops.
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Queues a task. Not after Stop().
  void Post(std::function<void()> task);

  // Returns when all tasks that were queued are done and the threads have ended.
  void Stop();

  // Whether the caller is one of the pool's threads.
  bool OnWorker() const;

 private:
  void Work();
  void AddThread();

  const int least_;
  const int most_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
  int threads_ = 0;
  int idle_ = 0;
  bool stopping_ = false;
  std::condition_variable all_ended_;
  std::vector<std::thread> ended_;  // To be joined.
  std::vector<std::thread> running_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_WORKER_POOL_H_
