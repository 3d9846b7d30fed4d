#include "pipeline/pipeline.h"

#include <pthread.h>

#include <condition_variable>
#include <csignal>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace CmnSys::Tool {
namespace {

// Messages nested as deep as the commands allow fit into it, whatever the system gives by default.
constexpr std::size_t kStackBytes = std::size_t{8} << 20;

extern "C" void* RunBody(void* body) {
  (*static_cast<std::function<void()>*>(body))();
  return nullptr;
}

// Starts a thread that takes no signals; returns false when the system has none to give.
bool StartThread(std::function<void()>* body, pthread_t* thread) {
  pthread_attr_t attributes;
  if (::pthread_attr_init(&attributes) != 0) return false;
  ::pthread_attr_setstacksize(&attributes, kStackBytes);
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, &before);
  const bool started = ::pthread_create(thread, &attributes, &RunBody, body) == 0;
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ::pthread_attr_destroy(&attributes);
  return started;
}

// Batches are numbered in the order of reading; each lies in the slot of its number modulo the
// number of slots. Those from written_ to read_ are on the way, and those from taken_ on wait for a
// worker.
class Pipeline {
 public:
  Pipeline(std::size_t workers, std::size_t max_bytes, const PipelineStages& stages)
      : max_bytes_(max_bytes), stages_(stages), slots_(PipelineSlots(workers)) {
    bodies_.reserve(workers + 1);
    threads_.reserve(workers + 1);
  }

  ~Pipeline() {
    bool reading = false;
    {
      const std::lock_guard lock(mutex_);
      stop_ = true;
      reading = reader_started_ && !ended_;
    }
    if (reading) stages_.interrupt();
    space_.notify_all();
    to_work_.notify_all();
    for (const pthread_t thread : threads_) ::pthread_join(thread, nullptr);
  }

  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  // Starts as many workers as there can be and then, if there are any, the reader.
  bool Start(std::size_t workers) {
    std::size_t started = 0;
    while (started < workers && StartThread([this, started] { Work(started); })) ++started;
    reader_started_ = started > 0 && StartThread([this] { Read(); });
    return reader_started_;
  }

  PipelineEnd Write() {
    std::unique_lock lock(mutex_);
    while (true) {
      to_write_.wait(lock, [this] { return written_ == read_ ? ended_ : At(written_).done; });
      if (written_ == read_) return PipelineEnd::kInput;
      lock.unlock();
      const bool more = stages_.write(written_ % slots_.size());
      lock.lock();
      if (!more) return PipelineEnd::kWriter;
      Slot& slot = At(written_);
      bytes_ -= slot.bytes;
      slot = {};
      ++written_;
      Wake(&space_, &lock);
    }
  }

 private:
  struct Slot {
    bool done = false;  // Waits to be written.
    std::size_t bytes = 0;
  };

  bool StartThread(std::function<void()> body) {
    bodies_.push_back(std::move(body));
    pthread_t thread = {};
    if (!Tool::StartThread(&bodies_.back(), &thread)) return false;
    threads_.push_back(thread);
    return true;
  }

  // The thread that is woken finds the mutex free, and need not sleep once more.
  static void Wake(std::condition_variable* waiting, std::unique_lock<std::mutex>* lock) {
    lock->unlock();
    waiting->notify_one();
    lock->lock();
  }

  Slot& At(std::size_t batch) { return slots_[batch % slots_.size()]; }

  void SetBytes(std::size_t batch) {
    Slot& slot = At(batch);
    bytes_ -= slot.bytes;
    slot.bytes = stages_.bytes(batch % slots_.size());
    bytes_ += slot.bytes;
  }

  void Read() {
    std::unique_lock lock(mutex_);
    while (true) {
      space_.wait(lock, [this] {
        const std::size_t on_the_way = read_ - written_;
        return stop_ || on_the_way == 0 || (on_the_way < slots_.size() && bytes_ < max_bytes_);
      });
      if (stop_) return;
      lock.unlock();
      const bool any = stages_.read(read_ % slots_.size());
      lock.lock();
      if (!any) break;
      SetBytes(read_);
      ++read_;
      Wake(&to_work_, &lock);
    }
    ended_ = true;
    to_work_.notify_all();
    to_write_.notify_one();
  }

  void Work(std::size_t worker) {
    std::unique_lock lock(mutex_);
    while (true) {
      to_work_.wait(lock, [this] { return stop_ || ended_ || taken_ != read_; });
      if (stop_ || taken_ == read_) return;
      const std::size_t batch = taken_++;
      lock.unlock();
      stages_.work(batch % slots_.size(), worker);
      lock.lock();
      SetBytes(batch);
      At(batch).done = true;
      if (batch == written_) Wake(&to_write_, &lock);
    }
  }

  const std::size_t max_bytes_;
  const PipelineStages& stages_;
  std::vector<std::function<void()>> bodies_;
  std::vector<pthread_t> threads_;
  bool reader_started_ = false;

  std::mutex mutex_;
  std::condition_variable space_;
  std::condition_variable to_work_;
  std::condition_variable to_write_;
  // Under the mutex. Only one thread changes each of the first three numbers but taken_, and reads
  // its own without the mutex.
  std::size_t read_ = 0;
  std::size_t taken_ = 0;
  std::size_t written_ = 0;
  std::vector<Slot> slots_;
  std::size_t bytes_ = 0;
  bool ended_ = false;
  bool stop_ = false;
};

}  // namespace

PipelineEnd RunPipeline(std::size_t workers, std::size_t max_bytes, const PipelineStages& stages) {
  Pipeline pipeline(workers, max_bytes, stages);
  if (!pipeline.Start(workers)) return PipelineEnd::kNotStarted;
  return pipeline.Write();
}

}  // namespace CmnSys::Tool
