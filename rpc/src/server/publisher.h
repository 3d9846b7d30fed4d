// A publisher and its subscribers.

#ifndef CMNSYS_RPC_SRC_PUBLISHER_H_
#define CMNSYS_RPC_SRC_PUBLISHER_H_

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CmnSys/Rpc/Publisher.h"
#include "server/server_core.h"
#include "server/subscriber_call.h"

namespace CmnSys::Rpc {

class PublisherImpl final : public Publisher {
 public:
  PublisherImpl(std::shared_ptr<ServerCore> core, PublisherOptions publisher_options)
      : options(std::move(publisher_options)), core_(std::move(core)) {}

  using Publisher::Publish;
  std::size_t Publish(const google::protobuf::Message& message,
                      const std::function<bool(const Subscriber&)>& wanted,
                      std::chrono::milliseconds wait) override;
  std::size_t End(const Status& status,
                  const std::function<bool(const Subscriber&)>& which) override;
  std::size_t SubscriberCount() const override;
  std::size_t LongestQueue() const override;

  // Reserves room for a subscription until it is over; false when there are too many.
  bool Reserve();
  void Release() { --reserved_; }
  // Adds a client whose request is yet to come; fails when the publisher is closed.
  Status Add(const std::shared_ptr<SubscriberCall>& subscriber);
  // Its request has come: from now on it gets what is published.
  void Join(const SubscriberCall* subscriber);
  void Remove(const SubscriberCall* subscriber);
  // Ends all subscriptions, and those that come later.
  void Close(const Status& status);
  void DropStalled();
  // Drops those whose certificate has been revoked since they were admitted.
  void DropRevoked();

  const std::shared_ptr<ServerCore>& core() const { return core_; }
  std::string MethodName() const { return options.service + "/" + options.method; }
  // Throws std::invalid_argument.
  SubscriberCall::Bytes Serialize(const google::protobuf::Message& message) const;

  const PublisherOptions options;
  // One of the server's own: open to everybody and always quick.
  bool internal = false;
  RawService* raw_service = nullptr;
  int index = 0;

 private:
  using List = std::vector<std::shared_ptr<SubscriberCall>>;

  // Waits until what is published is within the server's limit, or drops those who keep it from
  // that.
  void MakeRoom(SubscriberCall::Clock::time_point deadline) const;
  List Subscribers() const;
  // Those whose request is yet to come included.
  List All() const;

  const std::shared_ptr<ServerCore> core_;
  std::atomic<int> reserved_{0};
  // Keeps the order of publishing the same for all subscribers.
  std::mutex publishing_;
  mutable std::mutex mutex_;
  List coming_;
  List subscribers_;
  std::optional<Status> closed_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_PUBLISHER_H_
