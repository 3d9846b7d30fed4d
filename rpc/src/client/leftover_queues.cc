#include "client/leftover_queues.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "common/completion.h"
#include "common/time.h"

namespace CmnSys::Rpc {

namespace {

// How often the queues are looked at.
constexpr std::chrono::milliseconds kLookPeriod{20};

using Queues = std::vector<std::shared_ptr<grpc::CompletionQueue>>;

struct Leftovers {
  std::mutex mutex;
  Queues added;
  bool running = false;
};

// Never destroyed: the thread may run until the very end of the process.
Leftovers& All() {
  static auto* all = new Leftovers;
  return *all;
}

// Whether the queue is empty, and will be.
bool IsDone(const std::shared_ptr<grpc::CompletionQueue>& queue) {
  void* tag = nullptr;
  bool ok = false;
  while (true) {
    switch (queue->AsyncNext(&tag, &ok, AtOnce())) {
      case grpc::CompletionQueue::GOT_EVENT:
        Tag::CompletePosted(tag, ok);
        break;
      case grpc::CompletionQueue::TIMEOUT:
        return false;
      case grpc::CompletionQueue::SHUTDOWN:
        return true;
    }
  }
}

void Run() {
  Leftovers& all = All();
  Queues queues;
  while (true) {
    {
      const std::lock_guard lock(all.mutex);
      for (auto& queue : all.added) queues.push_back(std::move(queue));
      all.added.clear();
      if (queues.empty()) {
        all.running = false;
        return;
      }
    }
    queues.erase(std::remove_if(queues.begin(), queues.end(), IsDone), queues.end());
    std::this_thread::sleep_for(kLookPeriod);
  }
}

}  // namespace

bool DrainLater(std::shared_ptr<grpc::CompletionQueue> queue) {
  Leftovers& all = All();
  const std::lock_guard lock(all.mutex);
  if (!all.running) {
    try {
      std::thread(Run).detach();
    } catch (const std::system_error&) {
      return false;
    }
    all.running = true;
  }
  all.added.push_back(std::move(queue));
  return true;
}

}  // namespace CmnSys::Rpc
