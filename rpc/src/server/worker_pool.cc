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

bool WorkerPool::Post(std::function<void()> task) {
  const std::lock_guard lock(mutex_);
  if (stopping_) return false;
  tasks_.push_back(std::move(task));
  if (busy_ < most_) NeedThread();
  return true;
}

void WorkerPool::PostWaiting(std::function<void()> task) {
  const std::lock_guard lock(mutex_);
  waiting_tasks_.push_back(std::move(task));
  NeedThread();
}

bool WorkerPool::TryEnter() {
  const std::lock_guard lock(mutex_);
  if (busy_ >= most_ || !tasks_.empty()) return false;
  ++busy_;
  return true;
}

void WorkerPool::Leave() {
  const std::lock_guard lock(mutex_);
  --busy_;
  if (!tasks_.empty()) NeedThread();
}

void WorkerPool::NeedThread() {
  if (idle_.empty()) {
    AddThread();
    return;
  }
  Idle* idle = idle_.back();
  idle_.pop_back();
  idle->woken = true;
  idle->wake.notify_one();
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
    std::deque<std::function<void()>>* from = nullptr;
    if (!waiting_tasks_.empty()) {
      from = &waiting_tasks_;
    } else if (!tasks_.empty() && busy_ < most_) {
      from = &tasks_;
    }
    if (from != nullptr) {
      std::function<void()> task = std::move(from->front());
      from->pop_front();
      const int weight = from == &tasks_ ? 1 : 0;
      busy_ += weight;
      lock.unlock();
      task();
      task = nullptr;
      lock.lock();
      busy_ -= weight;
    } else if ((stopping_ && tasks_.empty()) || !WaitForWork(&lock)) {
      break;
    }
  }
  --threads_;
  const auto self = std::find_if(running_.begin(), running_.end(), [](const std::thread& thread) {
    return thread.get_id() == std::this_thread::get_id();
  });
  ended_.push_back(std::move(*self));
  running_.erase(self);
  all_ended_.notify_all();
}

bool WorkerPool::WaitForWork(std::unique_lock<std::mutex>* lock) {
  Idle self;
  idle_.push_back(&self);
  while (!self.wake.wait_for(*lock, kIdleTime, [&] { return self.woken; })) {
    if (threads_ > least_) {
      idle_.erase(std::find(idle_.begin(), idle_.end(), &self));
      return false;
    }
  }
  return true;
}

void WorkerPool::Stop() {
  std::vector<std::thread> ended;
  {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    while (!idle_.empty()) NeedThread();
    all_ended_.wait(lock, [this] { return threads_ == 0; });
    ended.swap(ended_);
  }
  for (std::thread& thread : ended) thread.join();
}

WorkerPool::Numbers WorkerPool::Count() const {
  const std::lock_guard lock(mutex_);
  return {threads_, busy_, static_cast<int>(tasks_.size())};
}

}  // namespace CmnSys::Rpc
