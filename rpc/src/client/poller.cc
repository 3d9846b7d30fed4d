#include "client/poller.h"

#include "common/reserves.h"
#include "common/time.h"

namespace CmnSys::Rpc {

namespace {

// How long the thread stays aside after a blocking call, and how soon after another a blocking call
// must come to make it step aside.
constexpr std::chrono::milliseconds kAside{20};

}  // namespace

std::shared_ptr<Poller> Poller::Shared() {
  static std::mutex mutex;
  static std::weak_ptr<Poller> shared;
  const std::lock_guard lock(mutex);
  std::shared_ptr<Poller> poller = shared.lock();
  if (poller == nullptr) {
    ExpectReserves();
    poller = std::make_shared<Poller>();
    shared = poller;
  }
  return poller;
}

Poller::Poller() : thread_([this] { Run(); }) {}

Poller::~Poller() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  queue_.Shutdown();
  thread_.join();
}

void Poller::Hold() {
  if (held_.fetch_add(1) > 0 || polling_) return;
  const std::lock_guard lock(mutex_);
  wake_.notify_one();
}

void Poller::Begin() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const std::chrono::steady_clock::duration last(last_call_.exchange(now.count()));
  blocked_.fetch_add(1);
  if (polling_ && now - last < kAside && held_ == 0 && !kicked_.exchange(true)) {
    kick_.Set(&queue_, AtOnce(), kick_tag_.Post());
  }
}

bool Poller::BlockingCallsPoll() {
  const auto last = last_call_.load();
  const bool recent = last != seen_call_;
  seen_call_ = last;
  return held_ == 0 && (recent || blocked_ > 0);
}

void Poller::Run() {
  void* tag = nullptr;
  bool ok = false;
  while (true) {
    polling_ = true;
    if (BlockingCallsPoll()) {
      polling_ = false;
      std::unique_lock lock(mutex_);
      wake_.wait_for(lock, kAside, [this] { return stopping_ || held_ > 0; });
      if (stopping_) break;
      lock.unlock();
      // Completes what blocking calls have found for this queue.
      while (queue_.AsyncNext(&tag, &ok, AtOnce()) == grpc::CompletionQueue::GOT_EVENT) {
        Tag::CompletePosted(tag, ok);
      }
      continue;
    }
    if (!queue_.Next(&tag, &ok)) return;
    Tag::CompletePosted(tag, ok);
  }
  Drain(&queue_);
}

}  // namespace CmnSys::Rpc
