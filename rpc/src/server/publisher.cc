#include "server/publisher.h"

#include <algorithm>
#include <stdexcept>

#include "common/payload.h"

namespace CmnSys::Rpc {

namespace {

template <typename List>
auto Find(List* list, const SubscriberCall* subscriber) {
  return std::find_if(list->begin(), list->end(),
                      [&](const auto& candidate) { return candidate.get() == subscriber; });
}

}  // namespace

Subscriber::~Subscriber() = default;
Publisher::~Publisher() = default;

SubscriberCall::Bytes PublisherImpl::Serialize(const google::protobuf::Message& message) const {
  grpc::ByteBuffer bytes;
  const Status status =
      SerializeMessage(message, "message", core_->options.max_message_bytes, &bytes);
  if (!status.Ok()) throw std::invalid_argument(status.text);
  return std::make_shared<const SubscriberCall::Published>(core_.get(), bytes);
}

std::size_t PublisherImpl::Publish(const google::protobuf::Message& message,
                                   const std::function<bool(const Subscriber&)>& wanted,
                                   std::chrono::milliseconds wait) {
  const SubscriberCall::Bytes bytes = Serialize(message);
  const auto longest = std::chrono::hours(24);
  const auto deadline =
      SubscriberCall::Clock::now() + std::clamp<std::chrono::milliseconds>(wait, {}, longest);
  const std::lock_guard publishing(publishing_);
  MakeRoom(deadline);
  std::size_t count = 0;
  for (const auto& subscriber : Subscribers()) {
    if (wanted && !wanted(*subscriber)) continue;
    if (subscriber->Enqueue(bytes, deadline)) ++count;
  }
  core_->messages_published += count;
  return count;
}

void PublisherImpl::MakeRoom(SubscriberCall::Clock::time_point deadline) const {
  while (core_->published_bytes > core_->options.max_published_bytes) {
    const List all = Subscribers();
    const auto longest = std::max_element(all.begin(), all.end(), [](const auto& a, const auto& b) {
      return a->WaitingBytes() < b->WaitingBytes();
    });
    if (longest == all.end() || !(*longest)->Shrink(deadline)) return;
  }
}

std::size_t PublisherImpl::End(const Status& status,
                               const std::function<bool(const Subscriber&)>& which) {
  std::size_t count = 0;
  for (const auto& subscriber : Subscribers()) {
    if (which && !which(*subscriber)) continue;
    if (subscriber->EndWhenSent(status)) ++count;
  }
  return count;
}

std::size_t PublisherImpl::SubscriberCount() const {
  const std::lock_guard lock(mutex_);
  return subscribers_.size();
}

std::size_t PublisherImpl::LongestQueue() const {
  std::size_t longest = 0;
  for (const auto& subscriber : Subscribers()) {
    longest = std::max(longest, subscriber->WaitingBytes());
  }
  return longest;
}

bool PublisherImpl::Reserve() {
  if (reserved_.fetch_add(1) < options.max_subscribers) return true;
  --reserved_;
  return false;
}

Status PublisherImpl::Add(const std::shared_ptr<SubscriberCall>& subscriber) {
  const std::lock_guard lock(mutex_);
  if (closed_) return *closed_;
  coming_.push_back(subscriber);
  return {};
}

void PublisherImpl::Join(const SubscriberCall* subscriber) {
  const std::lock_guard lock(mutex_);
  const auto found = Find(&coming_, subscriber);
  if (found == coming_.end()) return;
  subscribers_.push_back(std::move(*found));
  coming_.erase(found);
}

void PublisherImpl::Remove(const SubscriberCall* subscriber) {
  const std::lock_guard lock(mutex_);
  for (List* list : {&coming_, &subscribers_}) {
    const auto found = Find(list, subscriber);
    if (found != list->end()) list->erase(found);
  }
}

void PublisherImpl::Close(const Status& status) {
  {
    const std::lock_guard lock(mutex_);
    closed_ = status;
  }
  for (const auto& subscriber : All()) subscriber->EndWhenSent(status);
}

void PublisherImpl::DropStalled() {
  for (const auto& subscriber : All()) subscriber->DropWhenStalled();
}

void PublisherImpl::DropRevoked() {
  for (const auto& subscriber : All()) subscriber->DropWhenRevoked();
}

PublisherImpl::List PublisherImpl::Subscribers() const {
  const std::lock_guard lock(mutex_);
  return subscribers_;
}

PublisherImpl::List PublisherImpl::All() const {
  const std::lock_guard lock(mutex_);
  List all = coming_;
  all.insert(all.end(), subscribers_.begin(), subscribers_.end());
  return all;
}

}  // namespace CmnSys::Rpc
