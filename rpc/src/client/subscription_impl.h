#ifndef CMNSYS_RPC_SRC_SUBSCRIPTION_IMPL_H_
#define CMNSYS_RPC_SRC_SUBSCRIPTION_IMPL_H_

#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/support/byte_buffer.h>

#include <memory>
#include <string>
#include <thread>

#include "CmnSys/Rpc/Subscription.h"
#include "client/channel_core.h"

namespace CmnSys::Rpc {

// A subscription's state; its thread keeps it.
class Subscription::Impl {
 public:
  static std::shared_ptr<Impl> Start(const std::shared_ptr<ChannelCore>& channel,
                                     const std::string& method,
                                     const google::protobuf::Message& request,
                                     const google::protobuf::Message& prototype,
                                     SubscriptionHandler handler);

  void Cancel() { context_.TryCancel(); }
  // Cancels, and waits for the thread unless it is the caller.
  void Close();

 private:
  void Run();
  Status Receive();
  // Waits for the operation just started.
  bool Wait();

  std::string path_;
  std::shared_ptr<ChannelTarget> target_;
  const google::protobuf::Message* prototype_ = nullptr;
  SubscriptionHandler handler_;
  Status early_failure_;
  grpc::ByteBuffer request_;
  grpc::ClientContext context_;
  grpc::CompletionQueue queue_;
  std::thread thread_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_SUBSCRIPTION_IMPL_H_
