#include "server/worker_pool.h"

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

namespace CmnSys::Rpc {

namespace {

constexpr std::chrono::seconds kIdleTime{10};

thread_local const WorkerPool* current_pool = nullptr;

}  // namespace

WorkerPool::~WorkerPool() { Stop(); }

bool WorkerPool::OnWorker() const { return current_pool == this; }

void WorkerPool::Post(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    if (static_cast<int>(tasks_.size()) > idle_ && threads_ < most_) AddThread();
  }
  wake_.notify_one();
}

void WorkerPool::AddThread() {
  for (std::thread& thread : ended_) thread.join();
  ended_.clear();
  try {
    running_.emplace_back([this] { Work(); });
    ++threads_;
  } catch (const std::system_error&) {
    // The system has no more threads: the task waits for one of ours.
    if (threads_ == 0) throw;
  }
}

void WorkerPool::Work() {
  current_pool = this;
  std::unique_lock lock(mutex_);
  while (true) {
    if (!tasks_.empty()) {
      std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      task();
      task = nullptr;
      lock.lock();
      continue;
    }
    if (stopping_) break;
    ++idle_;
    const bool timeout = wake_.wait_for(lock, kIdleTime) == std::cv_status::timeout;
    --idle_;
    if (timeout && tasks_.empty() && threads_ > least_) break;
  }
  --threads_;
  const auto self = std::find_if(running_.begin(), running_.end(), [](const std::thread& thread) {
    return thread.get_id() == std::this_thread::get_id();
  });
  ended_.push_back(std::move(*self));
  running_.erase(self);
  all_ended_.notify_all();
}

void WorkerPool::Stop() {
  std::vector<std::thread> ended;
  {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    wake_.notify_all();
    all_ended_.wait(lock, [this] { return threads_ == 0; });
    ended.swap(ended_);
  }
  for (std::thread& thread : ended) thread.join();
}

}  // namespace CmnSys::Rpc
