#include "CmnSys/Rpc/Subscription.h"

#include <chrono>
#include <utility>

#include "client/subscription_impl.h"
#include "common/completion.h"
#include "common/payload.h"

namespace CmnSys::Rpc {

using google::protobuf::Message;

std::shared_ptr<Subscription::Impl> Subscription::Impl::Start(
    const std::shared_ptr<ChannelCore>& channel, const std::string& method, const Message& request,
    const Message& prototype, SubscriptionHandler handler) {
  auto impl = std::make_shared<Impl>();
  impl->path_ = "/" + method;
  impl->target_ = channel->NextTarget();
  impl->prototype_ = &prototype;
  impl->handler_ = std::move(handler);
  impl->early_failure_ =
      SerializeMessage(request, "request", channel->options.max_message_bytes, &impl->request_);
  if (impl->early_failure_.Ok()) {
    impl->early_failure_ = channel->CheckToken();
  }
  channel->PrepareContext(nullptr, false, std::chrono::system_clock::time_point::max(),
                          &impl->context_);
  impl->thread_ = std::thread([impl] { impl->Run(); });
  return impl;
}

void Subscription::Impl::Run() {
  const Status outcome = early_failure_.Ok() ? Receive() : early_failure_;
  queue_.Shutdown();
  void* tag = nullptr;
  bool ok = false;
  while (queue_.Next(&tag, &ok)) continue;
  if (handler_.on_end) handler_.on_end(outcome);
}

bool Subscription::Impl::Wait() {
  void* tag = nullptr;
  bool ok = false;
  return queue_.Next(&tag, &ok) && ok;
}

Status Subscription::Impl::Receive() {
  // One operation at a time, so that the tags need not tell them apart.
  const auto stream = target_->stub.PrepareCall(&context_, path_, &queue_);
  stream->StartCall(nullptr);
  bool open = Wait();
  if (open) {
    stream->WriteLast(request_, grpc::WriteOptions(), nullptr);
    open = Wait();
  }
  if (open) {
    stream->ReadInitialMetadata(nullptr);
    open = Wait();
  }
  bool active = open && context_.GetServerInitialMetadata().count(kSubscribedHeader) != 0;
  if (active && handler_.on_active) handler_.on_active();
  const std::unique_ptr<Message> message(prototype_->New());
  Status unreadable;
  while (open) {
    grpc::ByteBuffer bytes;
    stream->Read(&bytes, nullptr);
    open = Wait();
    if (!open) break;
    if (!active && handler_.on_active) handler_.on_active();
    active = true;
    message->Clear();
    unreadable = ParseMessage(&bytes, "message", message.get());
    if (!unreadable.Ok()) {
      unreadable.code = StatusCode::kInternal;
      context_.TryCancel();
      break;
    }
    if (handler_.on_message) handler_.on_message(*message);
  }
  grpc::Status status;
  stream->Finish(&status, nullptr);
  Wait();
  return unreadable.Ok() ? Outcome(status, context_, path_, *target_) : unreadable;
}

void Subscription::Impl::Close() {
  Cancel();
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

Subscription::Subscription(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
Subscription::~Subscription() { impl_->Close(); }
void Subscription::Cancel() { impl_->Cancel(); }

}  // namespace CmnSys::Rpc
