// What keeps connections alive while nobody calls.

#ifndef CMNSYS_RPC_SRC_POLLER_H_
#define CMNSYS_RPC_SRC_POLLER_H_

#include <grpcpp/alarm.h>
#include <grpcpp/completion_queue.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "client/clock_watch.h"
#include "common/completion.h"

namespace CmnSys::Rpc {

// gRPC's connections only make progress, and only notice that they are lost, while a thread waits
// on a completion queue. This is that thread, one for all channels of the process.
//
// A blocking call waits on a queue of its own. gRPC lets one thread at a time look at the sockets,
// and when that is not the one that waits for the answer, the hand-over makes a small call half as
// long again. So this thread steps aside while blocking calls follow each other quickly.
class Poller {
 public:
  // The process's poller; it ends with its last user.
  static std::shared_ptr<Poller> Shared();

  Poller();
  ~Poller();  // The queue must not carry an operation any more.
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  // Completes tags, on the poller's thread.
  grpc::CompletionQueue* queue() { return &queue_; }
  bool OnThread() const { return std::this_thread::get_id() == thread_.get_id(); }

  ClockWatch* clock_watch() { return &clock_watch_; }

  // From Hold() to Release() it does not step aside.
  void Hold();
  void Release() { held_.fetch_sub(1); }

  // A blocking call that waits for its answer.
  class BlockingCall {
   public:
    explicit BlockingCall(Poller* poller) : poller_(poller) { poller_->Begin(); }
    ~BlockingCall() { poller_->blocked_.fetch_sub(1); }
    BlockingCall(const BlockingCall&) = delete;
    BlockingCall& operator=(const BlockingCall&) = delete;

   private:
    Poller* poller_;
  };

 private:
  void Begin();
  void OnKicked(bool /*ok*/) { kicked_.store(false); }
  void Run();
  // Whether blocking calls do the polling: one is waiting, or came since this was last asked.
  bool BlockingCallsPoll();

  grpc::CompletionQueue queue_;
  MemberTag<Poller, &Poller::OnKicked> kick_tag_{this};
  grpc::Alarm kick_;  // Makes the thread return from the queue.
  std::atomic<bool> kicked_{false};
  std::atomic<bool> polling_{false};
  std::atomic<int> held_{0};
  std::atomic<int> blocked_{0};
  std::atomic<std::chrono::steady_clock::rep> last_call_{0};
  std::chrono::steady_clock::rep seen_call_ = 0;

  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  ClockWatch clock_watch_;
  std::thread thread_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_POLLER_H_
