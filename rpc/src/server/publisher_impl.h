// A publisher and its subscribers.

#ifndef CMNSYS_RPC_SRC_PUBLISHER_IMPL_H_
#define CMNSYS_RPC_SRC_PUBLISHER_IMPL_H_

#include <grpcpp/server_context.h>
#include <grpcpp/support/async_stream.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "CmnSys/Rpc/Publisher.h"
#include "common/completion.h"
#include "server/server_core.h"

namespace CmnSys::Rpc {

class PublisherImpl;

// One subscription on the server, from waiting for it until its end. It is kept by gRPC while an
// operation or the call is not over, and by the publisher's list.
class SubscriberCall final : public Subscriber,
                             public std::enable_shared_from_this<SubscriberCall> {
 public:
  // Waits for the next subscription; it then arranges for the one after it.
  static void Listen(PublisherImpl* publisher, grpc::ServerCompletionQueue* queue);

  SubscriberCall(PublisherImpl* publisher, grpc::ServerCompletionQueue* queue);
  ~SubscriberCall() override;

  const CallInfo& Info() const override { return *info_; }
  const google::protobuf::Message& Request() const override { return *request_; }
  void Send(const google::protobuf::Message& message) override;

  // False when the subscription is over or ends because its queue is full.
  bool Enqueue(const grpc::ByteBuffer& bytes);
  // Ends the subscription when everything that waits was sent.
  void EndWhenSent(const Status& status);

 private:
  enum class State {
    kAsking,  // Not accepted yet: messages wait.
    kOpen,    // Messages are sent.
    kEnding,  // What waits is sent, then the outcome.
    kClosed,  // The outcome is being sent, or the call is over.
  };

  void OnArrived(bool ok);
  void OnOver(bool ok);
  void OnWritten(bool ok);
  void OnFinished(bool ok);

  void Accept();  // On a worker.
  Status Ask();

  // With mutex_ held.
  bool EnqueueLocked(const grpc::ByteBuffer& bytes);
  void Advance();
  void Finish(const Status& status);
  void Drop(const Status& status);
  void LetGoWhenIdle(std::shared_ptr<SubscriberCall>* self);

  PublisherImpl* const publisher_;
  const std::shared_ptr<ServerCore> core_;
  grpc::ServerCompletionQueue* const queue_;
  MemberTag<SubscriberCall, &SubscriberCall::OnArrived> arrived_{this};
  MemberTag<SubscriberCall, &SubscriberCall::OnOver> over_{this};
  MemberTag<SubscriberCall, &SubscriberCall::OnWritten> written_{this};
  MemberTag<SubscriberCall, &SubscriberCall::OnFinished> finished_{this};

  grpc::ServerContext context_;
  grpc::ServerAsyncWriter<grpc::ByteBuffer> writer_{&context_};
  grpc::ByteBuffer request_bytes_;
  std::optional<CallInfo> info_;
  std::unique_ptr<google::protobuf::Message> request_;

  std::mutex mutex_;
  std::shared_ptr<SubscriberCall> self_;  // While gRPC needs it.
  State state_ = State::kAsking;
  Status outcome_;
  std::deque<grpc::ByteBuffer> waiting_;
  std::size_t waiting_bytes_ = 0;
  std::size_t first_messages_ = 0;  // Sent by on_subscribe, at the head of the queue.
  bool asking_ = false;             // Accept() is running.
  bool writing_ = false;
  bool finishing_ = false;
  bool over_on_wire_ = false;
};

class PublisherImpl final : public Publisher {
 public:
  PublisherImpl(std::shared_ptr<ServerCore> core, PublisherOptions publisher_options)
      : options(std::move(publisher_options)), core_(std::move(core)) {}

  std::size_t Publish(const google::protobuf::Message& message,
                      const std::function<bool(const Subscriber&)>& wanted) override;
  void EndAll(const Status& status) override;
  std::size_t SubscriberCount() const override;

  void Add(const std::shared_ptr<SubscriberCall>& subscriber);
  void Remove(const SubscriberCall* subscriber);
  const std::shared_ptr<ServerCore>& core() const { return core_; }
  // Throws std::invalid_argument.
  grpc::ByteBuffer Serialize(const google::protobuf::Message& message) const;

  const PublisherOptions options;
  bool authorize = true;
  RawService* raw_service = nullptr;
  int index = 0;

 private:
  std::vector<std::shared_ptr<SubscriberCall>> Subscribers() const;

  const std::shared_ptr<ServerCore> core_;
  // Keeps the order of publishing the same for all subscribers.
  std::mutex publishing_;
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<SubscriberCall>> subscribers_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_PUBLISHER_IMPL_H_
