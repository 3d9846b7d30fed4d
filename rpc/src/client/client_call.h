// One unary call of a client.

#ifndef CMNSYS_RPC_SRC_CLIENT_CALL_H_
#define CMNSYS_RPC_SRC_CLIENT_CALL_H_

#include <google/protobuf/service.h>
#include <grpcpp/alarm.h>
#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/support/async_unary_call.h>
#include <grpcpp/support/byte_buffer.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "client/channel_core.h"
#include "client/client_controller_impl.h"
#include "common/completion.h"
#include "common/time.h"

namespace CmnSys::Rpc {

class ClientCall final : private Tag {
 public:
  // Throws std::logic_error when the controller serves another call.
  ClientCall(std::shared_ptr<ChannelCore> channel, const google::protobuf::MethodDescriptor* method,
             google::protobuf::RpcController* controller, const google::protobuf::Message* request,
             google::protobuf::Message* response, google::protobuf::Closure* done);

  // Makes the call and waits for its end.
  void Block();

  // Makes a call with a closure, which runs when it has ended.
  static void Start(std::unique_ptr<ClientCall> call);

  // Thread-safe, until the call has ended.
  void Cancel();

 private:
  class Writing;

  // What the next completion of the tag means.
  enum class Step { kFailed, kWaited, kReceived };

  // Checks and serializes; false when the call has failed.
  bool Prepare();
  // Sends the request, or waits for a connection; false when the call has failed.
  bool Advance();
  // With a closure the tag completes when the call has ended; without one it waits for that.
  void Send();
  // Waits for the tag.
  bool Wait();
  void SetContext(std::shared_ptr<grpc::ClientContext> context);
  // What to do when the tag completes: returns true when the call has ended.
  bool Ended(bool ok);
  bool Received();
  void Finish();
  void Report();
  bool Cancelled();
  bool IsLong() const;
  void Complete(bool ok) override;

  const std::shared_ptr<ChannelCore> channel_;
  const google::protobuf::MethodDescriptor* const method_;
  google::protobuf::RpcController* const controller_;
  ClientController::Impl* const settings_;  // Null for a controller of another kind.
  const google::protobuf::Message* const message_;
  google::protobuf::Message* const response_message_;
  google::protobuf::Closure* const done_;

  const std::chrono::steady_clock::time_point begin_;
  bool cancelled_early_ = false;
  const std::string path_;
  gpr_timespec deadline_ = Never();
  grpc::CompletionQueue* queue_ = nullptr;
  Step step_ = Step::kFailed;
  grpc::ByteBuffer request_;
  std::size_t request_bytes_ = 0;
  std::size_t response_bytes_ = 0;
  Connections::Waiter waiter_;
  Endpoint* endpoint_ = nullptr;
  std::size_t tried_ = 0;
  std::string unreachable_;  // Why addresses that were tried could not be reached.
  Status outcome_;
  std::string peer_;
  std::optional<grpc::Alarm> alarm_;  // Of a call that failed before it was sent.

  std::mutex mutex_;  // Of cancelled_, and of changes of context_.
  bool cancelled_ = false;
  std::shared_ptr<grpc::ClientContext> context_;
  std::unique_ptr<grpc::ClientAsyncResponseReader<grpc::ByteBuffer>> reader_;
  std::shared_ptr<Writing> writing_;  // Of a long request.
  grpc::ByteBuffer response_;
  grpc::Status status_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CLIENT_CALL_H_
