#ifndef CMNSYS_RPC_SRC_SUBSCRIPTION_IMPL_H_
#define CMNSYS_RPC_SRC_SUBSCRIPTION_IMPL_H_

#include <grpc/support/time.h>
#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "CmnSys/Rpc/Subscription.h"
#include "client/channel_core.h"
#include "client/metadata.h"
#include "common/completion.h"

namespace CmnSys::Rpc {

// A subscription's state; its thread keeps it.
class Subscription::Impl {
 public:
  static std::shared_ptr<Impl> Start(const std::shared_ptr<ChannelCore>& channel,
                                     const std::string& method,
                                     const google::protobuf::Message& request,
                                     const google::protobuf::Message& prototype,
                                     SubscriptionHandler handler, SubscribeOptions options);

  void Cancel();
  // Cancels, and waits for the thread unless it is the caller.
  void Close();

 private:
  using Clock = std::chrono::steady_clock;

  // Only its address counts.
  struct Marker final : public Tag {
   private:
    void Complete(bool /*ok*/) override {}
  };

  void Run();
  // Subscribes once, at the first server that can be reached, until the end.
  Status Attempt(bool wait_for_ready);
  // Receives from one server until the end.
  Status Receive(Endpoint* endpoint, grpc::CompletionQueue* queue, bool wait_for_ready,
                 gpr_timespec deadline, bool* never_sent);
  void BecomeActive(const Endpoint& endpoint);
  void Tell(Event::Kind kind, const std::string& address, const Status& status) const;
  // Waits for the operation just started.
  bool Wait(grpc::CompletionQueue* queue, const Tag* operation);
  // False when the subscription was cancelled before or during the pause.
  bool Pause(std::chrono::milliseconds pause);
  bool Cancelled();
  Status WasCancelled() const;
  bool Renewable(const Status& status) const;

  std::shared_ptr<ChannelCore> channel_;
  std::string method_;
  std::string path_;
  std::unique_ptr<google::protobuf::Message> request_;
  const google::protobuf::Message* prototype_ = nullptr;
  SubscriptionHandler handler_;
  SubscribeOptions options_;
  Metadata metadata_;

  Connections::Waiter waiter_;
  Marker operation_;
  Marker woken_;
  Marker timeout_;
  bool timed_out_ = false;
  bool was_active_ = false;         // Ever.
  bool interrupted_ = false;        // on_interrupted was called.
  bool active_ = false;             // In this attempt,
  Clock::time_point active_since_;  // since then.

  std::mutex mutex_;  // Of cancelled_, and of changes of context_.
  bool cancelled_ = false;
  std::unique_ptr<grpc::ClientContext> context_;
  std::condition_variable wake_;
  std::thread thread_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_SUBSCRIPTION_IMPL_H_
