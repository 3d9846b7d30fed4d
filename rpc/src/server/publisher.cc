#include <algorithm>
#include <stdexcept>

#include "common/payload.h"
#include "server/publisher_impl.h"

namespace CmnSys::Rpc {

Subscriber::~Subscriber() = default;
Publisher::~Publisher() = default;

grpc::ByteBuffer PublisherImpl::Serialize(const google::protobuf::Message& message) const {
  grpc::ByteBuffer bytes;
  const Status status =
      SerializeMessage(message, "message", core_->options.max_message_bytes, &bytes);
  if (!status.Ok()) throw std::invalid_argument(status.text);
  return bytes;
}

std::size_t PublisherImpl::Publish(const google::protobuf::Message& message,
                                   const std::function<bool(const Subscriber&)>& wanted) {
  const grpc::ByteBuffer bytes = Serialize(message);
  const std::lock_guard publishing(publishing_);
  std::size_t count = 0;
  for (const auto& subscriber : Subscribers()) {
    if (wanted && !wanted(*subscriber)) continue;
    if (subscriber->Enqueue(bytes)) ++count;
  }
  return count;
}

void PublisherImpl::EndAll(const Status& status) {
  for (const auto& subscriber : Subscribers()) subscriber->EndWhenSent(status);
}

std::size_t PublisherImpl::SubscriberCount() const {
  const std::lock_guard lock(mutex_);
  return subscribers_.size();
}

void PublisherImpl::Add(const std::shared_ptr<SubscriberCall>& subscriber) {
  const std::lock_guard lock(mutex_);
  subscribers_.push_back(subscriber);
}

void PublisherImpl::Remove(const SubscriberCall* subscriber) {
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(subscribers_.begin(), subscribers_.end(),
                   [&](const auto& candidate) { return candidate.get() == subscriber; });
  if (found != subscribers_.end()) subscribers_.erase(found);
}

std::vector<std::shared_ptr<SubscriberCall>> PublisherImpl::Subscribers() const {
  const std::lock_guard lock(mutex_);
  return subscribers_;
}

}  // namespace CmnSys::Rpc
