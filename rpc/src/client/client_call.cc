#include "client/client_call.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <utility>

#include "CmnSys/Rpc/ClientController.h"
#include "common/payload.h"

namespace CmnSys::Rpc {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;

namespace {

ClientController::Impl* SettingsOf(RpcController* controller) {
  auto* ours = dynamic_cast<ClientController*>(controller);
  return ours == nullptr ? nullptr : ours->impl();
}

Status ChannelClosing() { return {StatusCode::kCancelled, "the channel is being deleted"}; }

}  // namespace

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
      path_("/" + method->service()->full_name() + "/" + method->name()) {}

void ClientCall::Block() {
  if (Prepare()) {
    grpc::CompletionQueue queue;
    queue_ = &queue;
    do {
      Send(&queue);
      void* tag = nullptr;
      bool ok = false;
      queue.Next(&tag, &ok);
    } while (!Received());
    queue.Shutdown();
    Drain(&queue);
  }
  Finish();
}

void ClientCall::Start(std::unique_ptr<ClientCall> owned) {
  const std::shared_ptr<ChannelCore> channel = owned->channel_;
  const bool prepared = owned->Prepare();
  ClientCall* call = owned.release();  // From here on the completion threads may delete it.
  const bool posted = channel->gate().Pass([&] {
    call->queue_ = channel->Queue();
    channel->Add(call);
    if (prepared) {
      call->Send(call->queue_);
    } else {
      // The closure must not run inside the call that it reports about.
      call->alarm_.Set(call->queue_, std::chrono::system_clock::now(), call->Post());
    }
  });
  if (posted) return;
  owned.reset(call);
  call->outcome_ = ChannelClosing();
  call->Finish();
  call->done_->Run();
}

void ClientCall::Cancel() {
  const std::lock_guard lock(mutex_);
  cancelled_ = true;
  if (context_ != nullptr) context_->TryCancel();
}

bool ClientCall::Prepare() {
  const auto fail = [this](Status status) {
    outcome_ = std::move(status);
    failed_early_ = true;
    return false;
  };
  response_message_->Clear();
  const std::chrono::milliseconds timeout =
      settings_ != nullptr && settings_->timeout ? *settings_->timeout : channel_->options.timeout;
  deadline_ = DeadlineAfter(timeout);
  if (settings_ != nullptr && !settings_->SetCancel([this] { Cancel(); })) {
    return fail({StatusCode::kCancelled, path_ + " was cancelled before it was made"});
  }
  if (timeout.count() <= 0) {
    return fail({StatusCode::kDeadlineExceeded, path_ + " was not made: its timeout is zero"});
  }
  Status status =
      SerializeMessage(*message_, "request", channel_->options.max_message_bytes, &request_);
  if (!status.Ok()) return fail(std::move(status));
  status = channel_->CheckToken();
  if (!status.Ok()) return fail(std::move(status));
  targets_ = channel_->TargetsInTurn();
  return true;
}

void ClientCall::Send(grpc::CompletionQueue* queue) {
  auto context = std::make_unique<grpc::ClientContext>();
  channel_->PrepareContext(settings_ == nullptr ? nullptr : &settings_->metadata,
                           settings_ != nullptr && settings_->wait_for_ready, deadline_,
                           context.get());
  auto reader = targets_[attempt_]->stub.PrepareUnaryCall(context.get(), path_, request_, queue);
  {
    const std::lock_guard lock(mutex_);
    reader_ = std::move(reader);
    context_ = std::move(context);
    if (cancelled_) context_->TryCancel();
  }
  reader_->StartCall();
  reader_->Finish(&response_, &status_, Post());
}

bool ClientCall::Received() {
  ChannelTarget* target = targets_[attempt_];
  if (NeverSent(status_) && attempt_ + 1 < targets_.size()) {
    ++attempt_;
    return false;
  }
  if (settings_ != nullptr) settings_->address = target->address;
  outcome_ = Outcome(status_, *context_, path_, *target);
  if (outcome_.Ok()) {
    outcome_ = ParseMessage(&response_, "response", response_message_);
    if (outcome_.code == StatusCode::kInvalidArgument) outcome_.code = StatusCode::kInternal;
  }
  return true;
}

void ClientCall::Finish() {
  if (settings_ == nullptr) {
    if (!outcome_.Ok()) controller_->SetFailed(outcome_.text);
    return;
  }
  settings_->SetCancel(nullptr);
  settings_->outcome = std::move(outcome_);
  settings_->notifier.Fire();
}

void ClientCall::Complete(bool /*ok*/) {
  if (!failed_early_ && !Received()) {
    const bool posted = channel_->gate().Pass([this] { Send(queue_); });
    if (posted) return;
    outcome_ = ChannelClosing();
  }
  const std::unique_ptr<ClientCall> self(this);
  channel_->Remove(this);
  Finish();
  done_->Run();
}

}  // namespace CmnSys::Rpc
