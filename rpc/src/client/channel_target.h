// One address of a channel.

#ifndef CMNSYS_RPC_SRC_CHANNEL_TARGET_H_
#define CMNSYS_RPC_SRC_CHANNEL_TARGET_H_

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/support/status.h>

#include <chrono>
#include <memory>
#include <string>

#include "CmnSys/Rpc/Channel.h"

namespace CmnSys::Rpc {

struct ChannelTarget {
  // Throws std::invalid_argument.
  ChannelTarget(const std::string& text, const ChannelOptions& options);

  std::string address;  // As it was given.
  bool tls;
  std::shared_ptr<grpc::Channel> channel;
  grpc::GenericStub stub;
};

// A moment so many milliseconds from now; time_point::max() when it is beyond all times.
std::chrono::system_clock::time_point DeadlineAfter(std::chrono::milliseconds timeout);

// The outcome of a call, with a text that says what happened and where when it comes from gRPC and
// not from the server. `path` is the method's.
Status Outcome(const grpc::Status& status, const grpc::ClientContext& context,
               const std::string& path, const ChannelTarget& target);

// Whether it is certain that the call did not reach a server, so that it may be made again.
bool NeverSent(const grpc::Status& status);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CHANNEL_TARGET_H_
