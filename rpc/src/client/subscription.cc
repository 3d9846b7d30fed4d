#include "CmnSys/Rpc/Subscription.h"

#include <grpcpp/alarm.h>

#include <algorithm>
#include <random>
#include <utility>

#include "client/subscription_impl.h"
#include "common/payload.h"
#include "common/time.h"

namespace CmnSys::Rpc {

using google::protobuf::Message;

namespace {

constexpr std::chrono::milliseconds kFirstPause{100};

// Between 0.8 and 1.2 times as long, so that many clients do not come back at the same moment.
std::chrono::milliseconds Jittered(std::chrono::milliseconds pause) {
  thread_local std::minstd_rand random(std::random_device{}());
  return pause * std::uniform_int_distribution<int>(80, 120)(random) / 100;
}

}  // namespace

std::shared_ptr<Subscription::Impl> Subscription::Impl::Start(
    const std::shared_ptr<ChannelCore>& channel, const std::string& method, const Message& request,
    const Message& prototype, SubscriptionHandler handler, SubscribeOptions options) {
  auto impl = std::make_shared<Impl>();
  for (const auto& [name, value] : options.metadata) impl->metadata_.Add(name, value);
  impl->channel_ = channel;
  impl->method_ = method;
  impl->path_ = "/" + method;
  impl->request_.reset(request.New());
  impl->request_->CopyFrom(request);
  impl->prototype_ = &prototype;
  impl->handler_ = std::move(handler);
  impl->options_ = std::move(options);
  impl->thread_ = std::thread([impl] { impl->Run(); });
  return impl;
}

void Subscription::Impl::Run() {
  Status outcome = Attempt(options_.wait_for_ready);
  std::chrono::milliseconds pause = kFirstPause;
  while (options_.resubscribe && Renewable(outcome) && !Cancelled()) {
    if (!interrupted_ && handler_.on_interrupted) handler_.on_interrupted(outcome);
    interrupted_ = true;
    const auto longest = std::max(kFirstPause, channel_->options.max_reconnect_pause);
    if (active_ && Since(active_since_) > longest) pause = kFirstPause;
    if (!Pause(Jittered(pause))) {
      outcome = WasCancelled();
      break;
    }
    pause = std::min(longest, pause * 2);
    if (handler_.on_resubscribe) handler_.on_resubscribe(request_.get());
    outcome = Attempt(true);
  }
  if (handler_.on_end) handler_.on_end(outcome);
}

bool Subscription::Impl::Renewable(const Status& status) const {
  switch (status.code) {
    case StatusCode::kUnavailable:
    case StatusCode::kCancelled:
    case StatusCode::kResourceExhausted:
      return true;
    case StatusCode::kDeadlineExceeded:
      return options_.timeout.count() > 0;
    default:
      return false;
  }
}

Status Subscription::Impl::Attempt(bool wait_for_ready) {
  active_ = false;
  timed_out_ = false;
  if (options_.timeout.count() <= 0) {
    return {StatusCode::kDeadlineExceeded, path_ + " was not made: its timeout is zero"};
  }
  const Status token = channel_->CheckToken();
  if (!token.Ok()) return token;

  Connections& connections = channel_->connections();
  grpc::CompletionQueue queue;
  const auto deadline = DeadlineAfter(options_.timeout);
  waiter_.wait_for_ready = wait_for_ready;
  waiter_.deadline = deadline;
  waiter_.queue = &queue;
  waiter_.tag = &woken_;
  Status status;
  std::string unreachable;
  for (std::size_t tried = 0;;) {
    const Connections::Choice choice = connections.Choose(tried, &waiter_);
    if (choice.give_up) {
      status = {StatusCode::kUnavailable, unreachable};
      break;
    }
    if (choice.endpoint != nullptr) {
      bool never_sent = false;
      status = Receive(choice.endpoint, &queue, wait_for_ready, deadline, &never_sent);
      if (!never_sent) break;
      unreachable += (unreachable.empty() ? "" : "; ") + status.text;
      ++tried;
      continue;
    }
    const bool late = Wait(&queue, &woken_);
    connections.End(&waiter_);
    if (Cancelled()) {
      status = WasCancelled();
      break;
    }
    if (late) {
      status = {StatusCode::kDeadlineExceeded, NotConnected(path_, connections.names())};
      break;
    }
  }
  queue.Shutdown();
  void* tag = nullptr;
  bool ok = false;
  while (queue.Next(&tag, &ok)) continue;
  return status;
}

bool Subscription::Impl::Wait(grpc::CompletionQueue* queue, const Tag* operation) {
  void* tag = nullptr;
  bool ok = false;
  while (queue->Next(&tag, &ok)) {
    if (tag == operation) return ok;
    // Left over from a server that was tried before, or the timeout of this one.
    if (tag == &timeout_ && ok && !active_) {
      timed_out_ = true;
      const std::lock_guard lock(mutex_);
      if (context_ != nullptr) context_->TryCancel();
    }
  }
  return false;
}

Status Subscription::Impl::Receive(Endpoint* endpoint, grpc::CompletionQueue* queue,
                                   bool wait_for_ready, gpr_timespec deadline, bool* never_sent) {
  grpc::ByteBuffer request_bytes;
  const Status serialized =
      SerializeMessage(*request_, "request", channel_->options.max_message_bytes, &request_bytes);
  if (!serialized.Ok()) return serialized;
  const std::size_t request_size = request_bytes.Length();
  {
    auto context = std::make_unique<grpc::ClientContext>();
    channel_->PrepareContext(metadata_, wait_for_ready, Never(), context.get());
    const std::lock_guard lock(mutex_);
    context_ = std::move(context);
    if (cancelled_) context_->TryCancel();
  }
  grpc::Alarm timeout;
  timeout.Set(queue, deadline, timeout_.Post());
  // One operation at a time.
  auto stream = endpoint->stub.PrepareCall(context_.get(), path_, queue);
  stream->StartCall(operation_.Post());
  bool open = Wait(queue, &operation_);
  if (open) {
    stream->WriteLast(request_bytes, grpc::WriteOptions(), operation_.Post());
    open = Wait(queue, &operation_);
  }
  if (open) {
    channel_->counters.sent_bytes.fetch_add(request_size, std::memory_order_relaxed);
    stream->ReadInitialMetadata(operation_.Post());
    open = Wait(queue, &operation_);
  }
  if (open && context_->GetServerInitialMetadata().count(kSubscribedHeader) != 0) {
    timeout.Cancel();
    BecomeActive(*endpoint);
  }
  const std::unique_ptr<Message> message(prototype_->New());
  Status unreadable;
  while (open) {
    grpc::ByteBuffer bytes;
    stream->Read(&bytes, operation_.Post());
    open = Wait(queue, &operation_);
    if (!open) break;
    timeout.Cancel();
    if (!active_) BecomeActive(*endpoint);
    channel_->counters.messages.fetch_add(1, std::memory_order_relaxed);
    channel_->counters.received_bytes.fetch_add(bytes.Length(), std::memory_order_relaxed);
    message->Clear();
    unreadable = ParseMessage(&bytes, "message", message.get());
    if (!unreadable.Ok()) {
      unreadable.code = StatusCode::kInternal;
      context_->TryCancel();
      break;
    }
    if (handler_.on_message) handler_.on_message(*message);
  }
  grpc::Status status;
  stream->Finish(&status, operation_.Post());
  Wait(queue, &operation_);
  *never_sent = NeverSent(status, *context_, *endpoint);
  const bool cancelled = timed_out_ || Cancelled();
  Status outcome = unreadable.Ok() ? Outcome(status, *context_, path_, *endpoint, cancelled)
                                   : std::move(unreadable);
  if (timed_out_ && outcome.code == StatusCode::kCancelled) {
    outcome = {StatusCode::kDeadlineExceeded,
               MayBeSent(*context_, *endpoint)
                   ? path_ + " was not accepted in time by " + endpoint->address
                   : NotConnected(path_, endpoint->address)};
  }
  if (active_) {
    channel_->counters.subscriptions.fetch_sub(1, std::memory_order_relaxed);
    Tell(Event::Kind::kUnsubscribed, endpoint->address, outcome);
  }
  stream.reset();  // It lies in the context's memory.
  const std::lock_guard lock(mutex_);
  context_.reset();
  return outcome;
}

void Subscription::Impl::BecomeActive(const Endpoint& endpoint) {
  active_ = true;
  active_since_ = Clock::now();
  channel_->counters.subscriptions.fetch_add(1, std::memory_order_relaxed);
  Tell(Event::Kind::kSubscribed, endpoint.address, {});
  const auto& told = was_active_ ? handler_.on_resumed : handler_.on_active;
  was_active_ = true;
  interrupted_ = false;
  if (told) told();
}

void Subscription::Impl::Tell(Event::Kind kind, const std::string& address,
                              const Status& status) const {
  if (channel_->options.observer == nullptr) return;
  Event event;
  event.kind = kind;
  event.address = address;
  event.method = method_;
  event.status = status;
  channel_->options.observer->OnEvent(event);
}

bool Subscription::Impl::Pause(std::chrono::milliseconds pause) {
  std::unique_lock lock(mutex_);
  return !wake_.wait_for(lock, pause, [this] { return cancelled_; });
}

Status Subscription::Impl::WasCancelled() const {
  return {StatusCode::kCancelled, path_ + " was cancelled"};
}

bool Subscription::Impl::Cancelled() {
  const std::lock_guard lock(mutex_);
  return cancelled_;
}

void Subscription::Impl::Cancel() {
  {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    if (context_ != nullptr) context_->TryCancel();
  }
  wake_.notify_all();
  channel_->connections().Cancel(&waiter_);
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
