#include "client/client_call.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <grpcpp/impl/client_unary_call.h>
#include <grpcpp/support/time.h>

#include <utility>

#include "CmnSys/Rpc/ClientController.h"
#include "client/leftover_queues.h"
#include "common/payload.h"

namespace CmnSys::Rpc {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;
using grpc::ByteBuffer;

namespace {

ClientController::Impl* SettingsOf(RpcController* controller) {
  auto* ours = dynamic_cast<ClientController*>(controller);
  return ours == nullptr ? nullptr : ours->impl();
}

// A longer request may fill the buffers of a connection, and is written as the peer takes it.
constexpr std::size_t kLongRequest = std::size_t{64} << 10;

}  // namespace

// What gRPC uses while it writes a long request. It does so until the connection has taken the
// request or is given up; the call may have ended by then.
class ClientCall::Writing final : public Tag {
 public:
  using Reader = grpc::ClientAsyncResponseReader<ByteBuffer>;

  static std::shared_ptr<Writing> Start(std::shared_ptr<grpc::ClientContext> context,
                                        std::unique_ptr<Reader> reader) {
    auto writing = std::make_shared<Writing>();
    writing->self_ = writing;
    writing->context_ = std::move(context);
    writing->reader_ = std::move(reader);
    writing->reader_->StartCall();
    writing->reader_->ReadInitialMetadata(writing->Post());
    return writing;
  }

  Reader* reader() { return reader_.get(); }
  // For the thread that completes the tag.
  bool InProgress() const { return self_ != nullptr; }

 private:
  void Complete(bool /*ok*/) override { const std::shared_ptr<Writing> last = std::move(self_); }

  std::shared_ptr<Writing> self_;
  std::shared_ptr<grpc::ClientContext> context_;
  std::unique_ptr<Reader> reader_;  // In the context's memory.
};

ClientCall::ClientCall(std::shared_ptr<ChannelCore> channel, const MethodDescriptor* method,
                       RpcController* controller, const Message* request, Message* response,
                       Closure* done)
    : channel_(std::move(channel)),
      method_(method),
      controller_(controller),
      settings_(SettingsOf(controller)),
      message_(request),
      response_message_(response),
      done_(done),
      begin_(std::chrono::steady_clock::now()),
      path_("/" + method->service()->full_name() + "/" + method->name()) {
  if (settings_ != nullptr) cancelled_early_ = !settings_->Begin([this] { Cancel(); });
  channel_->counters.calls.fetch_add(1, std::memory_order_relaxed);
  channel_->counters.calls_in_progress.fetch_add(1, std::memory_order_relaxed);
}

void ClientCall::Block() {
  bool going = Prepare();
  std::shared_ptr<grpc::CompletionQueue> queue;
  if (IsLong() || channel_->connections().MayWait()) {
    queue = std::make_shared<grpc::CompletionQueue>();
    queue_ = queue.get();
  }
  going = going && Advance();
  while (going) {
    bool ok = true;
    if (step_ == Step::kWaited) {
      ok = Wait();
    } else if (IsLong()) {
      const Poller::BlockingCall polling(channel_->connections().poller());
      ok = Wait();
    }
    going = !Ended(ok);
  }
  if (queue) {
    queue->Shutdown();
    if (writing_ == nullptr || !writing_->InProgress() || !DrainLater(queue)) {
      Drain(queue.get());
    }
  }
  Finish();
}

bool ClientCall::Wait() {
  void* tag = nullptr;
  bool ok = true;
  while (queue_->Next(&tag, &ok) && tag != static_cast<Tag*>(this)) Tag::CompletePosted(tag, ok);
  return ok;
}

bool ClientCall::IsLong() const { return request_bytes_ > kLongRequest; }

void ClientCall::Start(std::unique_ptr<ClientCall> owned) {
  ClientCall* call = owned.release();  // From here on the completion threads may delete it.
  call->queue_ = call->channel_->Add(call);
  if (call->Prepare() && call->Advance()) return;
  // The closure must not run inside the call that it reports about.
  call->step_ = Step::kFailed;
  call->alarm_.emplace();
  call->alarm_->Set(call->queue_, AtOnce(), call->Post());
}

void ClientCall::Cancel() {
  {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    if (context_ != nullptr) context_->TryCancel();
  }
  channel_->connections().Cancel(&waiter_);
}

bool ClientCall::Cancelled() {
  const std::lock_guard lock(mutex_);
  return cancelled_;
}

bool ClientCall::Prepare() {
  response_message_->Clear();
  const std::chrono::milliseconds timeout =
      settings_ != nullptr && settings_->timeout ? *settings_->timeout : channel_->options.timeout;
  if (channel_->Closing()) {
    outcome_ = {StatusCode::kCancelled, "the channel is being deleted"};
  } else if (cancelled_early_) {
    outcome_ = {StatusCode::kCancelled, path_ + " was cancelled before it was made"};
  } else if (timeout.count() <= 0) {
    outcome_ = {StatusCode::kDeadlineExceeded, path_ + " was not made: its timeout is zero"};
  } else {
    deadline_ = DeadlineAfter(timeout);
    outcome_ =
        SerializeMessage(*message_, "request", channel_->options.max_message_bytes, &request_);
    request_bytes_ = request_.Length();
    if (outcome_.Ok()) outcome_ = channel_->CheckToken();
  }
  return outcome_.Ok();
}

bool ClientCall::Advance() {
  waiter_.wait_for_ready = settings_ != nullptr && settings_->wait_for_ready;
  waiter_.deadline = deadline_;
  waiter_.queue = queue_;
  waiter_.tag = this;
  step_ = Step::kWaited;
  const Connections::Choice choice = channel_->connections().Choose(tried_, &waiter_);
  if (choice.give_up) {
    outcome_ = {StatusCode::kUnavailable, unreachable_};
    return false;
  }
  if (choice.endpoint == nullptr) return true;  // The call may have ended already.
  endpoint_ = choice.endpoint;
  step_ = Step::kReceived;
  Send();
  return true;
}

void ClientCall::Send() {
  static const Metadata kNone;
  auto context = std::make_shared<grpc::ClientContext>();
  channel_->PrepareContext(settings_ == nullptr ? kNone : settings_->metadata,
                           waiter_.wait_for_ready, deadline_, context.get());
  if (done_ == nullptr && !IsLong()) {
    SetContext(std::move(context));
    const Poller::BlockingCall polling(channel_->connections().poller());
    const grpc::internal::RpcMethod method(path_.c_str(), grpc::internal::RpcMethod::NORMAL_RPC);
    status_ = grpc::internal::BlockingUnaryCall<ByteBuffer, ByteBuffer, ByteBuffer, ByteBuffer>(
        endpoint_->channel.get(), method, context_.get(), request_, &response_);
    return;
  }
  reader_ = endpoint_->stub.PrepareUnaryCall(context.get(), path_, request_, queue_);
  SetContext(context);
  if (IsLong()) {
    // Apart from the rest, which would wait for it also when the call has ended otherwise.
    writing_ = Writing::Start(std::move(context), std::move(reader_));
    writing_->reader()->Finish(&response_, &status_, Post());
    return;
  }
  reader_->StartCall();
  reader_->Finish(&response_, &status_, Post());
}

void ClientCall::SetContext(std::shared_ptr<grpc::ClientContext> context) {
  const std::lock_guard lock(mutex_);
  context_ = std::move(context);
  if (cancelled_) context_->TryCancel();
}

bool ClientCall::Ended(bool ok) {
  switch (step_) {
    case Step::kFailed:
      return true;
    case Step::kReceived:
      return Received();
    case Step::kWaited:
      break;
  }
  channel_->connections().End(&waiter_);
  if (Cancelled()) {
    outcome_ = {StatusCode::kCancelled, path_ + " was cancelled"};
    return true;
  }
  if (ok) {
    outcome_ = {StatusCode::kDeadlineExceeded,
                NotConnected(path_, channel_->connections().names())};
    return true;
  }
  return !Advance();
}

bool ClientCall::Received() {
  const bool cancelled = !status_.ok() && Cancelled();
  outcome_ = Outcome(status_, *context_, path_, *endpoint_, cancelled);
  if (NeverSent(status_, *context_, *endpoint_)) {
    if (unreachable_.find(outcome_.text) == std::string::npos) {
      unreachable_ += (unreachable_.empty() ? "" : "; ") + outcome_.text;
    }
    ++tried_;
    return !Advance();
  }
  peer_ = Peer(*context_, *endpoint_);
  if (outcome_.Ok()) {
    response_bytes_ = response_.Length();
    outcome_ = ParseMessage(&response_, "response", response_message_);
    if (outcome_.code == StatusCode::kInvalidArgument) outcome_.code = StatusCode::kInternal;
  }
  return true;
}

void ClientCall::Finish() {
  auto& counters = channel_->counters;
  counters.calls_in_progress.fetch_sub(1, std::memory_order_relaxed);
  if (!outcome_.Ok()) counters.failed_calls.fetch_add(1, std::memory_order_relaxed);
  if (!peer_.empty()) {
    counters.sent_bytes.fetch_add(request_bytes_, std::memory_order_relaxed);
    counters.received_bytes.fetch_add(response_bytes_, std::memory_order_relaxed);
  }
  if (channel_->options.observer != nullptr) Report();
  if (settings_ != nullptr) {
    settings_->End(std::move(outcome_), endpoint_ == nullptr ? "" : endpoint_->address, peer_);
  } else if (!outcome_.Ok()) {
    controller_->SetFailed(outcome_.text);
  }
}

void ClientCall::Report() {
  CallInfo info;
  info.service = method_->service()->full_name();
  info.method = method_->name();
  info.peer = peer_;
  if (settings_ != nullptr) {
    const auto& entries = settings_->metadata.entries();
    info.metadata.insert(entries.begin(), entries.end());
  }
  const auto deadline = grpc::Timespec2Timepoint(deadline_);
  if (deadline != std::chrono::system_clock::time_point::max()) info.deadline = deadline;
  channel_->options.observer->OnCallEnd({endpoint_ == nullptr ? "" : endpoint_->address, info,
                                         outcome_, std::chrono::steady_clock::now() - begin_,
                                         peer_.empty() ? 0 : request_bytes_, response_bytes_});
}

void ClientCall::Complete(bool ok) {
  if (!Ended(ok)) return;
  const std::unique_ptr<ClientCall> self(this);
  Finish();
  done_->Run();
  channel_->Remove(this);
}

}  // namespace CmnSys::Rpc
