// The client's side of a stream of published messages.

#ifndef CMNSYS_RPC_SUBSCRIPTION_H_
#define CMNSYS_RPC_SUBSCRIPTION_H_

#include <google/protobuf/message.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

// What a subscription calls, on a thread of its own, one after the other. Each may be empty. None
// may throw. `Notification` is the type of the messages, `Request` that of the subscription request
// (needed for on_resubscribe only).
template <typename Notification, typename Request = google::protobuf::Message>
struct SubscriptionHandlerOf {
  // The server has accepted the subscription for the first time; nothing that it publishes from now
  // on is missed.
  std::function<void()> on_active;
  // A message arrived; the reference is valid during the call. A handler that is slower than the
  // publisher for long is dropped by the server with kResourceExhausted.
  std::function<void(const Notification& message)> on_message;
  // The subscription has ended, for the given reason; the last call, and made exactly once,
  // possibly before Channel::Subscribe has returned. Do not subscribe again in here: that repeats
  // as fast as a server refuses. Use SubscribeOptions::resubscribe.
  std::function<void(const Status& status)> on_end;

  // With SubscribeOptions::resubscribe: the subscription was lost, or could not begin, for the
  // given reason, and is being renewed. Called once until it is active again.
  std::function<void(const Status& status)> on_interrupted;
  // It is active again. What was published in between is missed, unless the server sends it in
  // answer to the request.
  std::function<void()> on_resumed;
  // Called before every renewal with the request of the last attempt, to be changed so that the
  // server goes on after what was seen.
  std::function<void(Request* request)> on_resubscribe;
};
using SubscriptionHandler = SubscriptionHandlerOf<google::protobuf::Message>;

struct SubscribeOptions {
  // How long it may take until the server has accepted, connecting included; then the subscription
  // ends with kDeadlineExceeded. Publishers of this library accept before their first message; of
  // others it may be the first message that tells. milliseconds::max() waits for ever, zero or less
  // fails at once.
  std::chrono::milliseconds timeout{30'000};
  // Waits for a connection, up to the timeout, when no server can be reached, instead of ending at
  // once with kUnavailable.
  bool wait_for_ready = false;
  // Sent along, names and values; see ClientController::AddMetadata.
  std::vector<std::pair<std::string, std::string>> metadata;
  // Renews the subscription by itself, until it is cancelled, whenever it ends because the server
  // cannot be reached, stops, did not answer in time, or dropped it as too slow (kUnavailable,
  // kDeadlineExceeded, kResourceExhausted, kCancelled). Other outcomes end it. Between two attempts
  // there is a pause, from 100 ms, growing up to ChannelOptions::max_reconnect_pause.
  bool resubscribe = false;
};

// A handler for messages of any type that calls one for a certain type.
template <typename Request, typename Notification, typename HandlerRequest>
SubscriptionHandler Untyped(SubscriptionHandlerOf<Notification, HandlerRequest> typed) {
  static_assert(std::is_base_of_v<HandlerRequest, Request>,
                "the handler is for another type of request");
  SubscriptionHandler handler;
  handler.on_active = std::move(typed.on_active);
  handler.on_end = std::move(typed.on_end);
  handler.on_interrupted = std::move(typed.on_interrupted);
  handler.on_resumed = std::move(typed.on_resumed);
  if (typed.on_message) {
    handler.on_message =
        [on_message = std::move(typed.on_message)](const google::protobuf::Message& message) {
          on_message(static_cast<const Notification&>(message));
        };
  }
  if (typed.on_resubscribe) {
    handler.on_resubscribe =
        [on_resubscribe = std::move(typed.on_resubscribe)](google::protobuf::Message* request) {
          on_resubscribe(static_cast<HandlerRequest*>(request));
        };
  }
  return handler;
}

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
