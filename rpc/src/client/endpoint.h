// A server that a channel can call, and how its failures are told.

#ifndef CMNSYS_RPC_SRC_ENDPOINT_H_
#define CMNSYS_RPC_SRC_ENDPOINT_H_

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/support/status.h>

#include <atomic>
#include <memory>
#include <string>

#include "CmnSys/Rpc/Channel.h"
#include "common/address.h"
#include "common/tls.h"

namespace CmnSys::Rpc {

struct Endpoint {
  // `given` is the address as the channel's user wrote it, `real` the one to connect to.
  Endpoint(const std::string& given, const Address& real, const ChannelOptions& options,
           const ClientTls& client_tls);

  bool Ready() const { return channel->GetState(false) == GRPC_CHANNEL_READY; }

  const std::string address;
  const std::shared_ptr<const TlsFileSet> tls;  // Null for plaintext.
  const std::string target;                     // What gRPC is told.
  const std::shared_ptr<grpc::Channel> channel;
  grpc::GenericStub stub;
  mutable std::atomic<bool> was_connected{false};  // Ever; known from states and from calls.
};

// Whether it is certain that no server has seen the call, so that it may be made again. That does
// not rest on the status, which a server may have sent, but on where the call went.
bool NeverSent(const grpc::Status& status, const grpc::ClientContext& context,
               const Endpoint& endpoint);

// The peer's IP address and port, or "unix:" and the path of its socket; empty when the call was
// not sent.
std::string Peer(const grpc::ClientContext& context, const Endpoint& endpoint);

// Whether a call that was cancelled, or whose time is over, may have been sent: gRPC names the
// target as its peer in any case until an answer comes.
bool MayBeSent(const grpc::ClientContext& context, const Endpoint& endpoint);

// What is said when the time ends before there is a connection.
std::string NotConnected(const std::string& path, const std::string& addresses);

// The outcome of a call, with a text that says what happened and where when it comes from gRPC and
// not from the server. `path` is the method's; `cancelled` says whether this side has cancelled it.
Status Outcome(const grpc::Status& status, const grpc::ClientContext& context,
               const std::string& path, const Endpoint& endpoint, bool cancelled);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_ENDPOINT_H_
