// The server's side of a stream of messages to subscribers.

#ifndef CMNSYS_RPC_PUBLISHER_H_
#define CMNSYS_RPC_PUBLISHER_H_

#include <google/protobuf/message.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "CmnSys/Rpc/CallInfo.h"
#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

// One client that is subscribed to a Publisher. Belongs to the server; valid only inside the
// functions that it is passed to.
class CMNSYSRPC_EXPORT Subscriber {
 public:
  virtual ~Subscriber();

  virtual const CallInfo& Info() const = 0;
  // The request that came with the subscription.
  virtual const google::protobuf::Message& Request() const = 0;
  // Queues a message for this subscriber alone. Inside on_subscribe it goes ahead of everything
  // that is published meanwhile.
  virtual void Send(const google::protobuf::Message& message) = 0;
};

struct PublisherOptions {
  // The gRPC method by which clients subscribe: a server-streaming method of a service that is not
  // registered otherwise, for example "Example.EventPush" and "Subscribe".
  std::string service;
  std::string method;
  // An instance of the type of the subscription request; must live as long as the server (a
  // default instance does).
  const google::protobuf::Message* request_prototype = nullptr;
  // Decides whether a client may subscribe, after ServerOptions::authorize, and can send it its
  // first messages; empty accepts everybody. Called on a worker thread, for several clients at the
  // same time. The subscriber gets everything that is published since the beginning of this call.
  std::function<Status(Subscriber& subscriber)> on_subscribe;
  // A subscriber that has so much waiting is dropped with kResourceExhausted.
  std::size_t max_queued_messages = 1000;
  std::size_t max_queued_bytes = std::size_t{16} << 20;
};

// A stream of messages, made by Server::AddPublisher, to any number of subscribers. Each has a
// queue of its own: one that is slow is dropped and the others miss nothing. Belongs to the server.
// All functions are thread-safe and do not block on the network.
class CMNSYSRPC_EXPORT Publisher {
 public:
  virtual ~Publisher();

  // Queues a message for every subscriber for which `wanted` is true, or for all when it is empty,
  // and returns their number. Subscribers get the messages of one thread in its order. `wanted`
  // must not call the publisher. Throws std::invalid_argument when the message lacks required
  // fields or is longer than the server's limit.
  virtual std::size_t Publish(const google::protobuf::Message& message,
                              const std::function<bool(const Subscriber&)>& wanted) = 0;
  std::size_t Publish(const google::protobuf::Message& message) {
    return Publish(message, nullptr);
  }

  // Ends all subscriptions with this status, each after what it has waiting was sent.
  virtual void EndAll(const Status& status) = 0;

  virtual std::size_t SubscriberCount() const = 0;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_PUBLISHER_H_
