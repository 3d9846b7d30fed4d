// The client's side of a stream of published messages.

#ifndef CMNSYS_RPC_SUBSCRIPTION_H_
#define CMNSYS_RPC_SUBSCRIPTION_H_

#include <google/protobuf/message.h>

#include <functional>
#include <memory>

#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

// Called on the subscription's own thread, one after the other. Each may be empty. None may throw.
struct SubscriptionHandler {
  // The server has accepted the subscription; nothing that it publishes from now on is missed.
  std::function<void()> on_active;
  // A message arrived; the reference is valid during the call. A handler that is slower than the
  // publisher for long is dropped by the server with kResourceExhausted.
  std::function<void(const google::protobuf::Message&)> on_message;
  // The subscription has ended, for the given reason; the last call, and made exactly once. A lost
  // connection ends it with kUnavailable: subscribe again to go on.
  std::function<void(const Status&)> on_end;
};

// One subscription, made by Channel::Subscribe.
class CMNSYSRPC_EXPORT Subscription {
 public:
  // Ends the subscription and returns when its last handler call has returned. May be called from
  // inside a handler; then the remaining on_end call comes after it.
  ~Subscription();
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  // Ends the subscription with kCancelled. Does not wait for on_end. Thread-safe.
  void Cancel();

  class Impl;
  // For Channel.
  explicit Subscription(std::shared_ptr<Impl> impl);

 private:
  std::shared_ptr<Impl> impl_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SUBSCRIPTION_H_
