#include "server/server_call.h"

#include <exception>
#include <utility>

#include "common/payload.h"

namespace CmnSys::Rpc {

void ServerCall::Listen(const std::shared_ptr<ServerCore>& core, const UnaryMethod& method,
                        grpc::ServerCompletionQueue* queue) {
  auto* call = new ServerCall(core, method, queue);
  Transport* transport = call->transport_.get();
  const bool listening = core->gate.Pass([&] {
    transport->context.AsyncNotifyWhenDone(call->over_.Post());
    method.raw_service->RequestCall(method.index, &transport->context, &transport->request,
                                    &transport->writer, queue, &call->arrived_);
  });
  if (!listening) delete call;
}

ServerCall::ServerCall(std::shared_ptr<ServerCore> core, const UnaryMethod& method,
                       grpc::ServerCompletionQueue* queue)
    : core_(std::move(core)),
      method_(method),
      queue_(queue),
      transport_(std::make_unique<Transport>()) {}

void ServerCall::OnArrived(bool ok) {
  if (!ok) {
    // The server is shutting down; without an arrival there is no OnOver either.
    delete this;
    return;
  }
  references_ = 2;  // OnOver and the service method.
  Listen(core_, method_, queue_);
  if (core_->calls.fetch_add(1) >= core_->options.max_calls) {
    RespondOnce({StatusCode::kResourceExhausted, "the server is busy with " +
                                                     std::to_string(core_->options.max_calls) +
                                                     " calls, its limit; try again later"},
                nullptr);
    return;
  }
  core_->workers.Post([this] { Serve(); });
}

void ServerCall::Serve() {
  // The method's closure may be run, and give up the method's reference, before this returns.
  Ref();
  try {
    const Status status = cancelled_ ? Status{StatusCode::kCancelled, ""} : ReadRequest();
    if (status.Ok()) {
      method_.run(this, request_, response_, this);
    } else {
      RespondOnce(status, nullptr);
    }
  } catch (const std::exception& error) {
    RespondOnce(
        {StatusCode::kInternal, "method " + method_.name + " failed unexpectedly: " + error.what()},
        nullptr);
  }
  // The analyzer takes the reference that the method gave up for the last one.
  Unref();  // NOLINT(clang-analyzer-cplusplus.NewDelete)
}

Status ServerCall::ReadRequest() {
  if (method_.authorize && core_->options.authorize) {
    Status status = Authorize(core_->options, Info());
    if (!status.Ok()) return status;
  }
  request_ = method_.request->New(&arena_);
  response_ = method_.response->New(&arena_);
  grpc::ByteBuffer bytes;
  {
    const std::lock_guard lock(mutex_);
    if (transport_ == nullptr) return {StatusCode::kCancelled, ""};
    bytes.Swap(&transport_->request);
  }
  return ParseMessage(&bytes, "request", request_);
}

void ServerCall::OnOver(bool /*ok*/) {
  bool notify = false;
  {
    const std::lock_guard lock(mutex_);
    cancelled_ = transport_->context.IsCancelled();
    over_on_wire_ = true;
    notify = cancelled_ && !responded_;
    FreeTransportWhenOver();
  }
  if (notify) {
    core_->notifiers.Post([this] {
      notifier_.Fire();
      Unref();
    });
  } else {
    Unref();
  }
}

void ServerCall::OnResponseSent(bool /*ok*/) {
  {
    const std::lock_guard lock(mutex_);
    sending_ = false;
    FreeTransportWhenOver();
  }
  Unref();
}

void ServerCall::FreeTransportWhenOver() {
  if (!over_on_wire_ || sending_) return;
  if (!responded_) InfoLocked();
  transport_.reset();
}

const CallInfo& ServerCall::Info() const {
  const std::lock_guard lock(mutex_);
  return InfoLocked();
}

const CallInfo& ServerCall::InfoLocked() const {
  if (!info_) info_ = MakeCallInfo(method_.service, method_.name, transport_->context);
  return *info_;
}

void ServerCall::SetFailed(StatusCode code, const std::string& text) {
  const std::lock_guard lock(mutex_);
  failed_ = true;
  failure_ = {code == StatusCode::kOk ? StatusCode::kUnknown : code, text};
}

void ServerCall::SetFailed(const std::string& text) {
  // What the generated service classes say for a method that a service does not override.
  const bool unimplemented = text == "Method " + method_.name + "() not implemented.";
  SetFailed(unimplemented ? StatusCode::kUnimplemented : StatusCode::kUnknown, text);
}

bool ServerCall::Failed() const {
  const std::lock_guard lock(mutex_);
  return failed_;
}

std::string ServerCall::ErrorText() const {
  const std::lock_guard lock(mutex_);
  return failure_.text;
}

void ServerCall::Run() {
  Status status;
  {
    const std::lock_guard lock(mutex_);
    if (failed_) status = failure_;
  }
  grpc::ByteBuffer response;
  if (status.Ok() && !cancelled_) {
    status = SerializeMessage(*response_, "response", core_->options.max_message_bytes, &response);
    if (status.code == StatusCode::kInvalidArgument) status.code = StatusCode::kInternal;
  }
  RespondOnce(status, &response);
}

void ServerCall::RespondOnce(const Status& status, grpc::ByteBuffer* response) {
  if (!responded_.exchange(true)) Respond(status, response);
}

void ServerCall::Respond(const Status& status, grpc::ByteBuffer* response) {
  {
    const std::lock_guard lock(mutex_);
    if (transport_ != nullptr && !cancelled_) {
      Ref();
      sending_ = core_->gate.Pass([&] {
        if (status.Ok()) {
          transport_->writer.Finish(*response, grpc::Status::OK, response_sent_.Post());
        } else {
          transport_->writer.FinishWithError(ToGrpc(status, core_->options.max_error_text_bytes),
                                             response_sent_.Post());
        }
      });
      if (!sending_) Unref();
    }
  }
  core_->calls.fetch_sub(1);
  notifier_.Fire();
  Unref();
}

void ServerCall::Unref() {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

}  // namespace CmnSys::Rpc
