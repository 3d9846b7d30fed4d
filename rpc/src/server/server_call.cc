#include "server/server_call.h"

#include <grpc/grpc.h>

#include <string_view>
#include <utility>

#include "common/payload.h"

namespace CmnSys::Rpc {

namespace {

std::string_view AsText(const grpc::Slice& bytes) {
  return {reinterpret_cast<const char*>(bytes.begin()), bytes.size()};
}

}  // namespace

void ServerCall::Listen(const std::shared_ptr<ServerCore>& core, const UnaryMethod& method,
                        grpc::ServerCompletionQueue* queue) {
  auto* call = new ServerCall(core, method, queue);
  Transport* transport = call->transport_.get();
  const bool listening = core->gate.Pass([&] {
    transport->context.AsyncNotifyWhenDone(call->over_.Post());
    method.raw_service->RequestCall(method.index, &transport->context, &transport->stream, queue,
                                    &call->arrived_);
  });
  if (!listening) delete call;
}

ServerCall::ServerCall(std::shared_ptr<ServerCore> core, const UnaryMethod& method,
                       grpc::ServerCompletionQueue* queue)
    : core_(std::move(core)),
      method_(method),
      queue_(queue),
      transport_(std::make_unique<Transport>()) {}

ServerCall::~ServerCall() {
  if (arrived_once_) core_->EndStream();
  if (arrived_once_ && !method_.internal) {
    TellEnd();
    core_->calls.fetch_sub(1);
  }
}

void ServerCall::OnArrived(bool ok) {
  if (!ok) {
    // The server is shutting down; without an arrival there is no OnOver either.
    delete this;
    return;
  }
  begin_ = std::chrono::steady_clock::now();
  {
    const std::lock_guard lock(mutex_);
    arrived_once_ = true;
    core_->BeginStream(transport_->context);
  }
  Listen(core_, method_, queue_);
  if (method_.internal) {
    ReceiveRequest();
  } else if (core_->calls.fetch_add(1) >= core_->options.max_calls) {
    ++core_->calls_refused;
    RespondOnce({StatusCode::kResourceExhausted, "the server is busy with " +
                                                     std::to_string(core_->options.max_calls) +
                                                     " calls, its limit; try again later"});
  } else if (core_->Decides()) {
    core_->pollers.Run(&core_->authorize_pace, [this] { Admit(); });
  } else {
    ReceiveRequest();
  }
}

void ServerCall::Admit() {
  Status status{StatusCode::kCancelled, ""};
  std::shared_ptr<const grpc::AuthContext> peer;
  {
    const std::lock_guard lock(mutex_);
    if (transport_ != nullptr) peer = transport_->context.auth_context();
  }
  if (peer != nullptr) status = core_->Authorize(Info(), *peer);
  if (status.Ok()) {
    ReceiveRequest();
  } else {
    RespondOnce(std::move(status));
  }
}

void ServerCall::ReceiveRequest() {
  bool receiving = false;
  {
    const std::lock_guard lock(mutex_);
    if (transport_ != nullptr) {
      Ref();
      receiving_ = core_->requests.Begin(this);
      receiving = core_->gate.Pass(
          [this] { transport_->stream.Read(&transport_->request, request_received_.Post()); });
      if (!receiving) {
        core_->requests.End(*receiving_);
        receiving_.reset();
        Unref();
      }
    }
  }
  if (!receiving) RespondOnce({StatusCode::kCancelled, ""});
}

void ServerCall::OnRequest(bool ok) {
  bool too_much = false;
  {
    const std::lock_guard lock(mutex_);
    core_->requests.End(*receiving_);
    receiving_.reset();
    request_bytes_ = ok ? transport_->request.Length() : 0;
    if (method_.internal || core_->Buffer(request_bytes_)) {
      kept_request_bytes_ = method_.internal ? 0 : request_bytes_;
    } else {
      too_much = true;
      transport_->request.Clear();
    }
    FreeTransportWhenOver();
  }
  if (!ok) {
    RespondOnce({StatusCode::kInternal, "the call came without a request"});
  } else if (too_much) {
    ++core_->calls_refused;
    RespondOnce(TooMuchBuffered());
  } else if (method_.internal) {
    Serve();
  } else {
    core_->pollers.Run(method_.pace.get(), [this] { Serve(); });
  }
  Unref();
}

void ServerCall::Serve() {
  // The method's closure may be run, and give up the method's reference, before this returns.
  Ref();
  try {
    Status status = cancelled_ ? Status{StatusCode::kCancelled, ""} : ReadRequest();
    if (status.Ok()) {
      RunMethod();
    } else {
      RespondOnce(std::move(status));
    }
  } catch (...) {
    RespondOnce(CaughtException("method " + method_.name));
  }
  Unref();
}

Status ServerCall::ReadRequest() {
  grpc::ByteBuffer bytes;
  {
    const std::lock_guard lock(mutex_);
    if (transport_ == nullptr) return {StatusCode::kCancelled, ""};
    bytes.Swap(&transport_->request);
  }
  response_ = method_.response->New(&arena_);
  if (method_.in_place) {
    if (!bytes.TrySingleSlice(&request_in_place_).ok() &&
        !bytes.DumpToSingleSlice(&request_in_place_).ok()) {
      return {StatusCode::kInternal, "the request cannot be read"};
    }
    if (method_.in_place->is_valid(AsText(request_in_place_))) return {};
    return DoesNotParse("request", method_.request->GetTypeName(), request_in_place_.size());
  }
  request_ = method_.request->New(&arena_);
  return ParseMessage(&bytes, "request", request_);
}

void ServerCall::RunMethod() {
  if (method_.in_place) {
    method_.in_place->run(this, AsText(request_in_place_), response_, this);
  } else {
    method_.run(this, request_, response_, this);
  }
}

void ServerCall::EndSlow(const char* what, std::chrono::milliseconds limit) {
  const std::string text =
      std::string(what) + std::to_string(limit.count()) + " ms, the server's limit";
  too_slow_ = what;
  // Thread-safe, and does not complete anything on this thread.
  grpc_call_cancel_with_status(transport_->context.c_call(), GRPC_STATUS_DEADLINE_EXCEEDED,
                               text.c_str(), nullptr);
}

Status ServerCall::TooMuchBuffered() const {
  return {StatusCode::kResourceExhausted,
          "the server is busy with " + std::to_string(core_->options.max_buffered_bytes) +
              " bytes of requests and responses, its limit; try again later"};
}

void ServerCall::OnOver(bool /*ok*/) {
  google::protobuf::Closure* closure = nullptr;
  {
    const std::lock_guard lock(mutex_);
    cancelled_ = transport_->context.IsCancelled();
    over_on_wire_ = true;
    FreeTransportWhenOver();
  }
  if (cancelled_) closure = notifier_.Take();
  Notify(closure);
  Unref();
}

void ServerCall::OnResponseSent(bool /*ok*/) {
  {
    const std::lock_guard lock(mutex_);
    core_->responses.End(*sending_);
    sending_.reset();
    core_->Unbuffer(response_bytes_);
    FreeTransportWhenOver();
  }
  Unref();
}

void ServerCall::FreeTransportWhenOver() {
  // gRPC may still be telling of the arrival, on another thread, when the call is over.
  if (!over_on_wire_ || !arrived_once_ || sending_ || receiving_) return;
  if (!responded_ || core_->options.observer != nullptr) InfoLocked();
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

void ServerCall::NotifyOnCancel(google::protobuf::Closure* callback) {
  Notify(notifier_.Keep(callback));
}

void ServerCall::Notify(google::protobuf::Closure* closure) {
  if (closure == nullptr) return;
  Ref();
  const auto run = [this, closure] {
    try {
      closure->Run();
    } catch (...) {
      core_->Tell(Event::Kind::kLog, "", "", CaughtException("a NotifyOnCancel closure"));
    }
    Unref();
  };
  // A closure of a call that outlived its server runs here.
  if (!core_->notifiers.Post(run)) run();
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
  RespondOnce(std::move(status), &response);
}

void ServerCall::RespondOnce(Status status, grpc::ByteBuffer* response) {
  if (!responded_.exchange(true)) Respond(std::move(status), response);
}

void ServerCall::Respond(Status status, grpc::ByteBuffer* response) {
  arena_.Reset();
  request_in_place_ = grpc::Slice();
  core_->Unbuffer(kept_request_bytes_);
  const std::size_t bytes = status.Ok() && response != nullptr ? response->Length() : 0;
  if (status.Ok() && !method_.internal && !core_->Buffer(bytes)) {
    ++core_->calls_refused;
    status = TooMuchBuffered();
  } else if (!method_.internal) {
    response_bytes_ = bytes;
  }
  {
    const std::lock_guard lock(mutex_);
    outcome_ = status;
    bool sending = false;
    if (transport_ != nullptr && !cancelled_) {
      Ref();
      sending_ = core_->responses.Begin(this);
      sending = core_->gate.Pass([&] {
        if (status.Ok()) {
          transport_->stream.WriteAndFinish(*response, {}, grpc::Status::OK, response_sent_.Post());
        } else {
          transport_->stream.Finish(ToGrpc(status, core_->options.max_error_text_bytes),
                                    response_sent_.Post());
        }
      });
      if (!sending) {
        core_->responses.End(*sending_);
        sending_.reset();
        Unref();
      }
    }
    if (!sending) core_->Unbuffer(std::exchange(response_bytes_, 0));
  }
  Notify(notifier_.Take());
  Unref();
}

void ServerCall::TellEnd() {
  if (too_slow_ != nullptr) {
    outcome_ = {StatusCode::kDeadlineExceeded, "the client is too slow"};
  } else if (outcome_.Ok() && cancelled_) {
    outcome_ = {StatusCode::kCancelled, "the client is gone"};
  }
  ++core_->calls_ended;
  if (!outcome_.Ok()) ++core_->calls_failed;
  core_->request_bytes += request_bytes_;
  core_->response_bytes += response_bytes_;
  if (core_->options.observer == nullptr || !info_) return;
  core_->options.observer->OnCallEnd({"", *info_, outcome_,
                                      std::chrono::steady_clock::now() - begin_, request_bytes_,
                                      response_bytes_});
}

void ServerCall::Unref() {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

}  // namespace CmnSys::Rpc
