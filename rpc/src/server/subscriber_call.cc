#include "server/subscriber_call.h"

#include <grpc/grpc.h>

#include <utility>

#include "common/payload.h"
#include "common/time.h"
#include "server/publisher.h"

namespace CmnSys::Rpc {

namespace {

// What a waiting message costs besides its bytes.
constexpr std::size_t kMessageOverhead = 64;

}  // namespace

void SubscriberCall::Listen(PublisherImpl* publisher, grpc::ServerCompletionQueue* queue) {
  const auto call = std::make_shared<SubscriberCall>(publisher, queue);
  call->self_ = call;
  const bool listening = publisher->core()->gate.Pass([&] {
    call->context_.AsyncNotifyWhenDone(call->over_.Post());
    publisher->raw_service->RequestCall(publisher->index, &call->context_, &call->stream_, queue,
                                        &call->arrived_);
  });
  if (!listening) call->self_.reset();
}

SubscriberCall::SubscriberCall(PublisherImpl* publisher, grpc::ServerCompletionQueue* queue)
    : publisher_(publisher), core_(publisher->core()), queue_(queue) {}

SubscriberCall::~SubscriberCall() {
  if (arrived_once_) core_->EndStream();
  if (info_) publisher_->Release();
}

void SubscriberCall::OnArrived(bool ok) {
  if (!ok) {
    const std::shared_ptr<SubscriberCall> last = std::move(self_);
    return;
  }
  arrived_once_ = true;
  core_->BeginStream(context_);
  Listen(publisher_, queue_);
  {
    const std::lock_guard lock(mutex_);
    progress_ = Clock::now();
  }
  if (!publisher_->Reserve()) {
    Answer({StatusCode::kResourceExhausted,
            "there are " + std::to_string(publisher_->options.max_subscribers) +
                " subscribers, the limit; try again later"});
    return;
  }
  info_ = MakeCallInfo(publisher_->options.service, publisher_->options.method, context_);
  Step(&SubscriberCall::Admit);
}

void SubscriberCall::Step(void (SubscriberCall::*step)()) {
  if (publisher_->internal) {
    (this->*step)();
  } else {
    core_->workers.Post([this, step] { (this->*step)(); });
  }
}

void SubscriberCall::Admit() {
  Status status = publisher_->Add(shared_from_this());
  if (status.Ok() && !publisher_->internal && core_->Decides()) {
    status = core_->Authorize(*info_, *context_.auth_context());
  }
  if (status.Ok()) {
    const std::lock_guard lock(mutex_);
    reading_ = state_ == State::kAsking && core_->gate.Pass([this] {
      stream_.Read(&request_bytes_, request_received_.Post());
    });
    if (reading_) return;
    status = outcome_.Ok() ? Status{StatusCode::kUnavailable, "the publisher has ended"} : outcome_;
  }
  Answer(status);
}

void SubscriberCall::OnRequest(bool ok) {
  {
    const std::lock_guard lock(mutex_);
    reading_ = false;
  }
  if (ok) {
    Step(&SubscriberCall::Accept);
  } else {
    Answer({StatusCode::kInternal, "the call came without a request"});
  }
}

void SubscriberCall::Accept() { Answer(Ask()); }

Status SubscriberCall::Ask() {
  std::unique_ptr<google::protobuf::Message> request(publisher_->options.request_prototype->New());
  const Status status = ParseMessage(&request_bytes_, "request", request.get());
  if (!status.Ok()) return status;
  {
    const std::lock_guard lock(mutex_);
    request_ = std::move(request);
  }
  publisher_->Join(this);
  if (!publisher_->options.on_subscribe) return {};
  try {
    return publisher_->options.on_subscribe(*this);
  } catch (...) {
    return CaughtException("the subscription");
  }
}

void SubscriberCall::Answer(const Status& status) {
  const std::shared_ptr<SubscriberCall> keep = shared_from_this();
  std::shared_ptr<SubscriberCall> last;
  {
    const std::lock_guard lock(mutex_);
    asking_ = false;
    if (!status.Ok() || over_on_wire_) publisher_->Remove(this);
    if (state_ == State::kAsking || state_ == State::kEnding) {
      if (status.Ok()) {
        if (state_ == State::kAsking) state_ = State::kOpen;
        accepted_ = true;
        // Tells the client that it is accepted, before the first message.
        context_.AddInitialMetadata(kSubscribedHeader, "1");
        progress_ = Clock::now();
        writing_ = core_->gate.Pass([this] { stream_.SendInitialMetadata(written_.Post()); });
      } else {
        Finish(status);
      }
    }
    LetGoWhenIdle(&last);
  }
  if (status.Ok() && core_->options.observer != nullptr && !publisher_->internal) {
    core_->Tell({Event::Kind::kSubscribed, info_->peer, publisher_->MethodName(), {}, ""});
  }
}

void SubscriberCall::Send(const google::protobuf::Message& message) {
  const Bytes bytes = publisher_->Serialize(message);
  const std::lock_guard lock(mutex_);
  if (asking_) {
    waiting_.insert(waiting_.begin() + static_cast<std::ptrdiff_t>(first_messages_),
                    {bytes, 0, {core_.get(), kMessageOverhead}});
    ++first_messages_;
  } else {
    EnqueueLocked(bytes);
  }
}

bool SubscriberCall::HasRoom(std::size_t size) const {
  return waiting_bytes_ == 0 || waiting_bytes_ + size <= publisher_->options.max_queued_bytes;
}

bool SubscriberCall::Enqueue(const Bytes& bytes, Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  const std::size_t size = bytes->bytes.Length() + kMessageOverhead;
  const auto decided = [&] {
    return HasRoom(size) || (state_ != State::kAsking && state_ != State::kOpen);
  };
  if (!decided()) room_.wait_until(lock, deadline, decided);
  return EnqueueLocked(bytes);
}

bool SubscriberCall::EnqueueLocked(const Bytes& bytes) {
  if (state_ != State::kAsking && state_ != State::kOpen) return false;
  const std::size_t size = bytes->bytes.Length() + kMessageOverhead;
  if (!HasRoom(size)) {
    DropForItsQueue();
    return false;
  }
  waiting_.push_back({bytes, size, {core_.get(), kMessageOverhead}});
  waiting_bytes_ += size;
  Advance();
  return true;
}

bool SubscriberCall::Shrink(Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  const std::size_t before = waiting_bytes_;
  if (before == 0) return false;
  if (!room_.wait_until(lock, deadline, [&] { return waiting_bytes_ < before; })) {
    DropForItsQueue();
  }
  return true;
}

bool SubscriberCall::EndWhenSent(const Status& status) {
  const std::lock_guard lock(mutex_);
  if (state_ != State::kAsking && state_ != State::kOpen) return false;
  outcome_ = status;
  state_ = State::kEnding;
  room_.notify_all();
  if (reading_) {
    Drop(status);  // A request that is not complete is not waited for.
  } else if (!asking_) {
    Advance();
  }
  return true;
}

void SubscriberCall::DropWhenStalled() {
  const std::lock_guard lock(mutex_);
  if (state_ == State::kClosed) return;
  const std::chrono::milliseconds idle = Since(progress_);
  if (reading_ && idle > core_->options.request_timeout) {
    Drop({StatusCode::kDeadlineExceeded, "the request did not arrive in time"});
  } else if (writing_ && idle > publisher_->options.stall_timeout) {
    const Status status{StatusCode::kResourceExhausted,
                        "the subscriber is too slow: it took nothing for " +
                            std::to_string(publisher_->options.stall_timeout.count()) + " ms"};
    Drop(state_ == State::kEnding ? outcome_ : status);
  }
}

void SubscriberCall::DropWhenRevoked() {
  const Status status = core_->CheckRevoked(*info_, *context_.auth_context());
  const std::lock_guard lock(mutex_);
  if (!status.Ok() && state_ != State::kClosed) Drop(status);
}

std::size_t SubscriberCall::WaitingBytes() const {
  const std::lock_guard lock(mutex_);
  return waiting_bytes_;
}

void SubscriberCall::Advance() {
  if (asking_ || writing_ || (state_ != State::kOpen && state_ != State::kEnding)) return;
  if (!waiting_.empty()) {
    const Bytes next = std::move(waiting_.front().message);
    waiting_bytes_ -= waiting_.front().counted;
    waiting_.pop_front();
    if (first_messages_ > 0) --first_messages_;
    room_.notify_all();
    grpc::WriteOptions options;
    if (!waiting_.empty()) options.set_buffer_hint();
    progress_ = Clock::now();
    writing_ = core_->gate.Pass([&] { stream_.Write(next->bytes, options, written_.Post()); });
  } else if (state_ == State::kEnding) {
    Finish(outcome_);
  }
}

void SubscriberCall::Close(const Status& outcome) {
  state_ = State::kClosed;
  outcome_ = outcome;
  waiting_.clear();
  waiting_bytes_ = 0;
  room_.notify_all();
}

void SubscriberCall::Finish(const Status& status) {
  Close(status);
  if (over_on_wire_) return;
  finishing_ = core_->gate.Pass([&] {
    stream_.Finish(ToGrpc(status, core_->options.max_error_text_bytes), finished_.Post());
  });
}

void SubscriberCall::Drop(const Status& status) {
  if (status.code == StatusCode::kResourceExhausted) {
    ++core_->subscribers_dropped;
    if (core_->options.observer != nullptr) {
      core_->Tell({Event::Kind::kSubscriberDropped, info_->peer, publisher_->MethodName(), status,
                   status.text});
    }
  }
  if (!writing_ && !asking_) {
    Finish(status);
    return;
  }
  // A write that the client does not take cannot be overtaken by Finish(); cancelling the call with
  // a status sends that status at once.
  Close(status);
  if (over_on_wire_) return;
  const grpc::Status cut = ToGrpc(status, core_->options.max_error_text_bytes);
  grpc_call_cancel_with_status(
      context_.c_call(),
      status.Ok() ? GRPC_STATUS_UNAVAILABLE : static_cast<grpc_status_code>(status.code),
      cut.error_message().c_str(), nullptr);
}

void SubscriberCall::DropForItsQueue() {
  Drop({StatusCode::kResourceExhausted,
        "the subscriber is too slow: " + std::to_string(waiting_.size()) + " messages with " +
            std::to_string(waiting_bytes_) + " bytes were waiting for it"});
}

void SubscriberCall::OnWritten(bool ok) {
  std::shared_ptr<SubscriberCall> last;
  const std::lock_guard lock(mutex_);
  writing_ = false;
  if (ok) Advance();  // Otherwise the call is over and OnOver comes.
  LetGoWhenIdle(&last);
}

void SubscriberCall::OnFinished(bool /*ok*/) {
  std::shared_ptr<SubscriberCall> last;
  const std::lock_guard lock(mutex_);
  finishing_ = false;
  LetGoWhenIdle(&last);
}

void SubscriberCall::OnOver(bool /*ok*/) {
  publisher_->Remove(this);
  std::shared_ptr<SubscriberCall> last;
  const std::lock_guard lock(mutex_);
  over_on_wire_ = true;
  if (state_ != State::kClosed) Close({StatusCode::kCancelled, "the client is gone"});
  if (accepted_ && core_->options.observer != nullptr && !publisher_->internal) {
    core_->Tell({Event::Kind::kUnsubscribed, info_->peer, publisher_->MethodName(), outcome_, ""});
  }
  LetGoWhenIdle(&last);
}

void SubscriberCall::LetGoWhenIdle(std::shared_ptr<SubscriberCall>* self) {
  if (over_on_wire_ && !asking_ && !reading_ && !writing_ && !finishing_) *self = std::move(self_);
}

}  // namespace CmnSys::Rpc
