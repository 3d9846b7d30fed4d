#include <grpc/grpc.h>

#include <exception>
#include <utility>

#include "common/payload.h"
#include "server/publisher_impl.h"

namespace CmnSys::Rpc {

void SubscriberCall::Listen(PublisherImpl* publisher, grpc::ServerCompletionQueue* queue) {
  const auto call = std::make_shared<SubscriberCall>(publisher, queue);
  call->self_ = call;
  const bool listening = publisher->core()->gate.Pass([&] {
    call->context_.AsyncNotifyWhenDone(call->over_.Post());
    publisher->raw_service->RequestCall(publisher->index, &call->context_, &call->request_bytes_,
                                        &call->writer_, queue, &call->arrived_);
  });
  if (!listening) call->self_.reset();
}

SubscriberCall::SubscriberCall(PublisherImpl* publisher, grpc::ServerCompletionQueue* queue)
    : publisher_(publisher), core_(publisher->core()), queue_(queue) {}

SubscriberCall::~SubscriberCall() = default;

void SubscriberCall::OnArrived(bool ok) {
  if (!ok) {
    const std::shared_ptr<SubscriberCall> last = std::move(self_);
    return;
  }
  Listen(publisher_, queue_);
  info_ = MakeCallInfo(publisher_->options.service, publisher_->options.method, context_);
  asking_ = true;
  core_->workers.Post([this] { Accept(); });
}

void SubscriberCall::Accept() {
  const Status status = Ask();
  std::shared_ptr<SubscriberCall> last;
  const std::lock_guard lock(mutex_);
  asking_ = false;
  if (!status.Ok() || over_on_wire_) publisher_->Remove(this);
  if (state_ == State::kAsking) {
    if (status.Ok()) {
      state_ = State::kOpen;
      // Tells the client that it is accepted, before the first message.
      context_.AddInitialMetadata(kSubscribedHeader, "1");
      writing_ = core_->gate.Pass([this] { writer_.SendInitialMetadata(written_.Post()); });
    } else {
      Finish(status);
    }
  } else if (state_ == State::kEnding) {
    Finish(status.Ok() ? outcome_ : status);
  }
  LetGoWhenIdle(&last);
}

Status SubscriberCall::Ask() {
  if (publisher_->authorize) {
    Status status = Authorize(core_->options, *info_);
    if (!status.Ok()) return status;
  }
  request_.reset(publisher_->options.request_prototype->New());
  Status status = ParseMessage(&request_bytes_, "request", request_.get());
  if (!status.Ok()) return status;
  publisher_->Add(shared_from_this());
  if (!publisher_->options.on_subscribe) return {};
  try {
    return publisher_->options.on_subscribe(*this);
  } catch (const std::exception& error) {
    return {StatusCode::kInternal, std::string("the subscription failed: ") + error.what()};
  }
}

void SubscriberCall::Send(const google::protobuf::Message& message) {
  const grpc::ByteBuffer bytes = publisher_->Serialize(message);
  const std::lock_guard lock(mutex_);
  if (state_ == State::kAsking) {
    waiting_.insert(waiting_.begin() + static_cast<std::ptrdiff_t>(first_messages_), bytes);
    waiting_bytes_ += bytes.Length();
    ++first_messages_;
  } else {
    EnqueueLocked(bytes);
  }
}

bool SubscriberCall::Enqueue(const grpc::ByteBuffer& bytes) {
  const std::lock_guard lock(mutex_);
  return EnqueueLocked(bytes);
}

bool SubscriberCall::EnqueueLocked(const grpc::ByteBuffer& bytes) {
  if (state_ != State::kAsking && state_ != State::kOpen) return false;
  const PublisherOptions& options = publisher_->options;
  if (waiting_.size() >= options.max_queued_messages ||
      waiting_bytes_ + bytes.Length() > options.max_queued_bytes) {
    Drop({StatusCode::kResourceExhausted,
          "the subscriber is too slow: " + std::to_string(waiting_.size()) + " messages with " +
              std::to_string(waiting_bytes_) + " bytes were waiting for it"});
    return false;
  }
  waiting_.push_back(bytes);
  waiting_bytes_ += bytes.Length();
  Advance();
  return true;
}

void SubscriberCall::EndWhenSent(const Status& status) {
  const std::lock_guard lock(mutex_);
  if (state_ != State::kAsking && state_ != State::kOpen) return;
  outcome_ = status;
  state_ = State::kEnding;
  if (!asking_) Advance();
}

void SubscriberCall::Advance() {
  if (writing_ || (state_ != State::kOpen && state_ != State::kEnding)) return;
  if (!waiting_.empty()) {
    grpc::ByteBuffer bytes;
    bytes.Swap(&waiting_.front());
    waiting_.pop_front();
    waiting_bytes_ -= bytes.Length();
    grpc::WriteOptions options;
    if (!waiting_.empty()) options.set_buffer_hint();
    writing_ = core_->gate.Pass([&] { writer_.Write(bytes, options, written_.Post()); });
  } else if (state_ == State::kEnding) {
    Finish(outcome_);
  }
}

void SubscriberCall::Finish(const Status& status) {
  state_ = State::kClosed;
  waiting_.clear();
  waiting_bytes_ = 0;
  if (over_on_wire_) return;
  finishing_ = core_->gate.Pass([&] {
    writer_.Finish(ToGrpc(status, core_->options.max_error_text_bytes), finished_.Post());
  });
}

void SubscriberCall::Drop(const Status& status) {
  if (!writing_ && !asking_) {
    Finish(status);
    return;
  }
  // A write that the client does not take cannot be overtaken by Finish(); cancelling the call with
  // a status sends that status at once.
  state_ = State::kClosed;
  waiting_.clear();
  waiting_bytes_ = 0;
  if (over_on_wire_) return;
  const grpc::Status cut = ToGrpc(status, core_->options.max_error_text_bytes);
  grpc_call_cancel_with_status(context_.c_call(), static_cast<grpc_status_code>(status.code),
                               cut.error_message().c_str(), nullptr);
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
  state_ = State::kClosed;
  waiting_.clear();
  waiting_bytes_ = 0;
  LetGoWhenIdle(&last);
}

void SubscriberCall::LetGoWhenIdle(std::shared_ptr<SubscriberCall>* self) {
  if (over_on_wire_ && !asking_ && !writing_ && !finishing_) *self = std::move(self_);
}

}  // namespace CmnSys::Rpc
