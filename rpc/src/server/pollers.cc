#include "server/pollers.h"

#include <algorithm>

#include "common/completion.h"

namespace CmnSys::Rpc {

namespace {

// A service's code that takes longer is slow.
constexpr std::chrono::milliseconds kSlow{1};
// So many quick runs in a row make slow code quick again.
constexpr int kCaution = 64;
// So many milliseconds without a run let the guard sleep.
constexpr int kGuardRests = 100;

}  // namespace

// What the calling thread polls; null when it does not, or not any more.
static thread_local void* polled_line = nullptr;
static thread_local std::chrono::steady_clock::rep began = 0;

void Pace::Took(std::chrono::nanoseconds time) {
  const int caution = caution_.load(std::memory_order_relaxed);
  if (time > kSlow) {
    caution_.store(kCaution, std::memory_order_relaxed);
  } else if (caution > 0) {
    caution_.store(caution - 1, std::memory_order_relaxed);
  }
}

Pollers::~Pollers() { Stop(); }

void Pollers::Start(const std::vector<grpc::CompletionQueue*>& queues) {
  for (grpc::CompletionQueue* queue : queues) lines_.emplace_back(queue);
  open_lines_ = lines_.size();
  guard_ = std::thread([this] { Guard(); });
  for (Line& line : lines_) workers_->PostWaiting([this, &line] { Poll(&line); });
}

void Pollers::Stop() {
  if (!guard_.joinable()) return;
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return open_lines_ == 0; });
    stopping_ = true;
    changed_.notify_all();
  }
  guard_.join();
}

void Pollers::Poll(Line* line) {
  polled_line = line;
  void* tag = nullptr;
  bool ok = false;
  while (polled_line != nullptr && line->queue->Next(&tag, &ok)) Tag::CompletePosted(tag, ok);
  if (polled_line == nullptr) return;  // Another thread polls.
  polled_line = nullptr;
  const std::lock_guard lock(mutex_);
  --open_lines_;
  changed_.notify_all();
}

bool Pollers::TryBegin() {
  auto* line = static_cast<Line*>(polled_line);
  if (line == nullptr || began != 0 || !workers_->TryEnter()) return false;
  began = Clock::now().time_since_epoch().count();
  line->since = began;
  ++line->runs;
  if (!guard_awake_) {
    const std::lock_guard lock(mutex_);
    guard_awake_ = true;
    changed_.notify_all();
  }
  return true;
}

void Pollers::End() {
  auto* line = static_cast<Line*>(polled_line);
  if (!line->since.compare_exchange_strong(began, 0)) polled_line = nullptr;
  began = 0;
  workers_->Leave();
}

bool Pollers::RelieveSlow() {
  bool running = false;
  const Clock::rep latest = (Clock::now() - kSlow).time_since_epoch().count();
  for (Line& line : lines_) {
    Clock::rep since = line.since;
    running = running || since != 0;
    if (since != 0 && since < latest && line.since.compare_exchange_strong(since, 0)) {
      workers_->PostWaiting([this, &line] { Poll(&line); });
    }
  }
  return running;
}

void Pollers::Guard() {
  std::unique_lock lock(mutex_);
  std::uint64_t seen_runs = 0;
  int quiet = 0;
  while (!stopping_) {
    std::uint64_t runs = 0;
    for (const Line& line : lines_) runs += line.runs;
    const bool active = RelieveSlow() || runs != seen_runs;
    seen_runs = runs;
    quiet = active ? 0 : quiet + 1;
    if (quiet <= kGuardRests) {
      changed_.wait_for(lock, kSlow);
      continue;
    }
    // A run that does not see the flag cleared is seen here.
    guard_awake_ = false;
    if (RelieveSlow()) continue;
    changed_.wait(lock, [this] { return guard_awake_ || stopping_; });
    quiet = 0;
  }
}

}  // namespace CmnSys::Rpc
