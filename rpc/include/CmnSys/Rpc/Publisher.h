// The server's side of a stream of messages to subscribers.

#ifndef CMNSYS_RPC_PUBLISHER_H_
#define CMNSYS_RPC_PUBLISHER_H_

#include <google/protobuf/message.h>

#include <chrono>
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

  // Who subscribed, and with which metadata; valid as long as the subscriber.
  virtual const CallInfo& Info() const = 0;
  // The request that came with the subscription, an instance of the publisher's request type.
  virtual const google::protobuf::Message& Request() const = 0;
  // The same as the type that it has; any other is undefined behaviour.
  template <typename Type>
  const Type& RequestAs() const {
    return static_cast<const Type&>(Request());
  }
  // Queues a message for this subscriber alone. Inside on_subscribe it goes ahead of everything
  // that is published meanwhile and does not count against the limits. Throws std::invalid_argument
  // as Publish does.
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
  // first messages; empty accepts everybody, what it throws fails the subscription with kInternal.
  // Called on a worker thread, for several clients at the same time. The subscriber gets everything
  // that is published since the beginning of this call.
  std::function<Status(Subscriber& subscriber)> on_subscribe;
  // Further subscriptions fail with kResourceExhausted.
  int max_subscribers = 1000;
  // A subscriber is too slow, and dropped with kResourceExhausted, when a message would bring what
  // waits for it above so many bytes (64 a message are added), or when it takes nothing of it for
  // so long. A message is always admitted to an empty queue, whatever its size. For all
  // subscribers together see ServerOptions::max_published_bytes.
  std::size_t max_queued_bytes = std::size_t{16} << 20;
  std::chrono::milliseconds stall_timeout{30'000};
};

// A stream of messages, made by Server::AddPublisher, to any number of subscribers. Each has a
// queue of its own: one that is slow is dropped and the others miss nothing. Queues share the
// messages: one that waits for a hundred subscribers is in memory once. Belongs to the server. All
// functions are thread-safe, and none waits for the network but Publish when it is told to.
class CMNSYSRPC_EXPORT Publisher {
 public:
  virtual ~Publisher();

  // Queues a message for every subscriber for which `wanted` is true, or for all when it is empty,
  // and returns their number. Subscribers get the messages of one thread in its order. `wanted`
  // must not call the publisher. While a queue, or the server, is full it waits for room, up to
  // `wait` altogether, before the subscriber is dropped; other publishing waits meanwhile, too.
  // Throws std::invalid_argument when the message lacks required fields or is longer than the
  // server's limit; what `wanted` throws passes through.
  virtual std::size_t Publish(const google::protobuf::Message& message,
                              const std::function<bool(const Subscriber&)>& wanted,
                              std::chrono::milliseconds wait) = 0;
  // The same without waiting for room.
  std::size_t Publish(const google::protobuf::Message& message,
                      const std::function<bool(const Subscriber&)>& wanted = {}) {
    return Publish(message, wanted, std::chrono::milliseconds(0));
  }

  // Ends the subscriptions for which `which` is true, or all when it is empty, with this status,
  // each after what it has waiting was sent, first messages included. Returns their number. `which`
  // must not call the publisher.
  virtual std::size_t End(const Status& status,
                          const std::function<bool(const Subscriber&)>& which) = 0;
  // Ends all subscriptions so.
  void EndAll(const Status& status) { End(status, {}); }

  // How many are subscribed at the moment, each since on_subscribe is asked about it.
  virtual std::size_t SubscriberCount() const = 0;
  // The bytes that wait for the subscriber with the longest queue, as max_queued_bytes counts them:
  // a producer that slows down as it grows drops nobody.
  virtual std::size_t LongestQueue() const = 0;
};

// A publisher whose requests and messages have known types; made by Server::AddPublisher. Small, to
// be copied; valid as long as the server.
template <typename RequestType, typename MessageType>
class TypedPublisher {
 public:
  // For a publisher, not null, whose request_prototype is a RequestType.
  explicit TypedPublisher(Publisher* publisher) : publisher_(publisher) {}

  // See Publisher::Publish; `wanted` is asked with the request of each subscriber.
  std::size_t Publish(const MessageType& message,
                      const std::function<bool(const RequestType&)>& wanted = {},
                      std::chrono::milliseconds wait = std::chrono::milliseconds(0)) const {
    if (!wanted) return publisher_->Publish(message, {}, wait);
    return publisher_->Publish(
        message,
        [&wanted](const Subscriber& subscriber) {
          return wanted(subscriber.RequestAs<RequestType>());
        },
        wait);
  }

  // Everything else.
  Publisher* operator->() const { return publisher_; }

 private:
  Publisher* publisher_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_PUBLISHER_H_
