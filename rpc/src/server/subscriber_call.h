// One subscription on the server.

#ifndef CMNSYS_RPC_SRC_SUBSCRIBER_CALL_H_
#define CMNSYS_RPC_SRC_SUBSCRIBER_CALL_H_

#include <grpcpp/server_context.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "CmnSys/Rpc/Publisher.h"
#include "common/completion.h"
#include "server/server_core.h"

namespace CmnSys::Rpc {

class PublisherImpl;

// From waiting for the subscription until its end. It is kept by gRPC while an operation or the
// call is not over, and by the publisher's list.
class SubscriberCall final : public Subscriber,
                             public std::enable_shared_from_this<SubscriberCall> {
 public:
  using Clock = std::chrono::steady_clock;
  // A part of what the server keeps for subscribers.
  class Kept {
   public:
    Kept(ServerCore* core, std::size_t bytes) : core_(core), bytes_(bytes) {
      core_->published_bytes += bytes_;
    }
    Kept(Kept&& other) noexcept : core_(other.core_), bytes_(std::exchange(other.bytes_, 0)) {}
    Kept& operator=(Kept&& other) noexcept {
      std::swap(bytes_, other.bytes_);
      return *this;
    }
    ~Kept() { core_->published_bytes -= bytes_; }

   private:
    ServerCore* core_;
    std::size_t bytes_;
  };
  struct Published {
    Published(ServerCore* core, const grpc::ByteBuffer& message)
        : bytes(message), kept(core, bytes.Length()) {}

    grpc::ByteBuffer bytes;
    Kept kept;
  };
  using Bytes = std::shared_ptr<const Published>;

  // Waits for the next subscription; it then arranges for the one after it.
  static void Listen(PublisherImpl* publisher, grpc::ServerCompletionQueue* queue);

  SubscriberCall(PublisherImpl* publisher, grpc::ServerCompletionQueue* queue);
  ~SubscriberCall() override;

  const CallInfo& Info() const override { return *info_; }
  const google::protobuf::Message& Request() const override { return *request_; }
  void Send(const google::protobuf::Message& message) override;

  // Waits for room until `deadline`. False when the subscription is over or ends because its queue
  // is full.
  bool Enqueue(const Bytes& bytes, Clock::time_point deadline);
  // Waits until less is waiting, and drops the subscriber when that takes until `deadline`; false
  // when nothing waits.
  bool Shrink(Clock::time_point deadline);
  // Ends the subscription when everything that waits was sent; false when it is ending already.
  bool EndWhenSent(const Status& status);
  // Drops a subscriber that takes nothing of what waits, or does not complete its request.
  void DropWhenStalled();
  // Drops a subscriber whose certificate has been revoked since it was admitted.
  void DropWhenRevoked();
  std::size_t WaitingBytes() const;

 private:
  enum class State {
    kAsking,  // Not accepted yet: messages wait.
    kOpen,    // Messages are sent.
    kEnding,  // What waits is sent, then the outcome.
    kClosed,  // The outcome is being sent, or the call is over.
  };
  struct Waiting {
    Bytes message;
    std::size_t counted;  // Against the limit; 0 for first messages.
    Kept kept;
  };

  void OnArrived(bool ok);
  void OnRequest(bool ok);
  void OnOver(bool ok);
  void OnWritten(bool ok);
  void OnFinished(bool ok);

  // Runs a step of accepting on a worker, or here for a publisher of the server's own.
  void Step(void (SubscriberCall::*step)());
  void Admit();
  void Accept();
  Status Ask();
  void Answer(const Status& status);

  // With mutex_ held.
  bool HasRoom(std::size_t size) const;
  bool EnqueueLocked(const Bytes& bytes);
  void Advance();
  void Finish(const Status& status);
  void Drop(const Status& status);
  void DropForItsQueue();
  void Close(const Status& outcome);
  void LetGoWhenIdle(std::shared_ptr<SubscriberCall>* self);

  PublisherImpl* const publisher_;
  const std::shared_ptr<ServerCore> core_;
  grpc::ServerCompletionQueue* const queue_;
  MemberTag<SubscriberCall, &SubscriberCall::OnArrived> arrived_{this};
  MemberTag<SubscriberCall, &SubscriberCall::OnRequest> request_received_{this};
  MemberTag<SubscriberCall, &SubscriberCall::OnOver> over_{this};
  MemberTag<SubscriberCall, &SubscriberCall::OnWritten> written_{this};
  MemberTag<SubscriberCall, &SubscriberCall::OnFinished> finished_{this};

  grpc::ServerContext context_;
  RawStream stream_{&context_};
  grpc::ByteBuffer request_bytes_;
  std::optional<CallInfo> info_;
  std::unique_ptr<google::protobuf::Message> request_;

  mutable std::mutex mutex_;
  std::condition_variable room_;
  std::shared_ptr<SubscriberCall> self_;  // While gRPC needs it.
  State state_ = State::kAsking;
  Status outcome_;
  std::deque<Waiting> waiting_;
  std::size_t waiting_bytes_ = 0;
  std::size_t first_messages_ = 0;  // Sent by on_subscribe, at the head of the queue.
  Clock::time_point progress_;      // When the client last took something.
  bool arrived_once_ = false;
  bool accepted_ = false;
  bool asking_ = true;  // Not answered yet.
  bool reading_ = false;
  bool writing_ = false;
  bool finishing_ = false;
  bool over_on_wire_ = false;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_SUBSCRIBER_CALL_H_
