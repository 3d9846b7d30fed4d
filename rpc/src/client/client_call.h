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
#include <string>

#include "client/channel_core.h"
#include "client/client_controller_impl.h"
#include "common/completion.h"

namespace CmnSys::Rpc {

class ClientCall final : private Tag {
 public:
  ClientCall(std::shared_ptr<ChannelCore> channel, const google::protobuf::MethodDescriptor* method,
             google::protobuf::RpcController* controller, const google::protobuf::Message* request,
             google::protobuf::Message* response, google::protobuf::Closure* done);

  // Makes the call and waits for its end.
  void Block();

  // Makes a call with a closure, which runs when it has ended.
  static void Start(std::unique_ptr<ClientCall> owned);

  // Thread-safe, until the call has ended.
  void Cancel();

 private:
  // Checks and serializes; false when the call has failed already.
  bool Prepare();
  // Sends the request to the next address.
  void Send(grpc::CompletionQueue* queue);
  // Whether the call has ended; otherwise it goes to another address.
  bool Received();
  void Finish();
  void Complete(bool ok) override;

  const std::shared_ptr<ChannelCore> channel_;
  const google::protobuf::MethodDescriptor* const method_;
  google::protobuf::RpcController* const controller_;
  ClientController::Impl* const settings_;  // Null for a controller of another kind.
  const google::protobuf::Message* const message_;
  google::protobuf::Message* const response_message_;
  google::protobuf::Closure* const done_;

  std::string path_;
  std::chrono::system_clock::time_point deadline_;
  grpc::ByteBuffer request_;
  std::vector<ChannelTarget*> targets_;  // In the order in which they are tried.
  std::size_t attempt_ = 0;
  Status outcome_;

  std::mutex mutex_;  // Of cancelled_, and of changes of context_.
  bool cancelled_ = false;
  std::unique_ptr<grpc::ClientContext> context_;
  std::unique_ptr<grpc::ClientAsyncResponseReader<grpc::ByteBuffer>> reader_;
  grpc::ByteBuffer response_;
  grpc::Status status_;
  bool failed_early_ = false;
  grpc::CompletionQueue* queue_ = nullptr;
  grpc::Alarm alarm_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CLIENT_CALL_H_
