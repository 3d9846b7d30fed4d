#include <stdexcept>
#include <utility>

#include "CmnSys/Rpc/ClientController.h"
#include "client/client_controller_impl.h"

namespace CmnSys::Rpc {

bool ClientController::Impl::Begin(std::function<void()> cancel) {
  const std::lock_guard lock(mutex_);
  if (in_call_) throw std::logic_error("the ClientController serves another call already");
  in_call_ = true;
  cancel_ = std::move(cancel);
  return !cancelled_;
}

void ClientController::Impl::End(Status how, const std::string& where, const std::string& who) {
  {
    const std::lock_guard lock(mutex_);
    in_call_ = false;
    cancel_ = nullptr;
  }
  outcome = std::move(how);
  address = where;
  peer = who;
  notifier.Fire();
}

void ClientController::Impl::StartCancel() {
  {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    if (cancel_) cancel_();
  }
  notifier.Fire();
}

bool ClientController::Impl::IsCanceled() const {
  const std::lock_guard lock(mutex_);
  return cancelled_;
}

void ClientController::Impl::Reset() {
  const std::lock_guard lock(mutex_);
  if (in_call_) throw std::logic_error("a ClientController is not reset during its call");
  cancelled_ = false;
  timeout.reset();
  wait_for_ready = false;
  metadata = {};
  outcome = {};
  address.clear();
  peer.clear();
  notifier.Reset();
}

ClientController::ClientController() : impl_(std::make_unique<Impl>()) {}
ClientController::~ClientController() = default;

void ClientController::SetTimeout(std::chrono::milliseconds timeout) { impl_->timeout = timeout; }

void ClientController::SetWaitForReady(bool wait) { impl_->wait_for_ready = wait; }

void ClientController::AddMetadata(const std::string& name, const std::string& value) {
  impl_->metadata.Add(name, value);
}

const Status& ClientController::Outcome() const { return impl_->outcome; }
const std::string& ClientController::Address() const { return impl_->address; }
const std::string& ClientController::Peer() const { return impl_->peer; }
void ClientController::Reset() { impl_->Reset(); }
bool ClientController::Failed() const { return !impl_->outcome.Ok(); }
std::string ClientController::ErrorText() const { return impl_->outcome.text; }
void ClientController::StartCancel() { impl_->StartCancel(); }

void ClientController::SetFailed(const std::string& reason) {
  impl_->outcome = {StatusCode::kUnknown, reason};
}

bool ClientController::IsCanceled() const { return impl_->IsCanceled(); }

void ClientController::NotifyOnCancel(google::protobuf::Closure* callback) {
  impl_->notifier.Set(callback);
}

}  // namespace CmnSys::Rpc
