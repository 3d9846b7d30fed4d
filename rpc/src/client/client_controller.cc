#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "CmnSys/Rpc/ClientController.h"
#include "client/client_controller_impl.h"

namespace CmnSys::Rpc {

namespace {

// Servers accept 8 KiB of headers; gRPC's own need a part of it.
constexpr std::size_t kMaxMetadataBytes = 4096;
// What HTTP/2 counts for a header besides its name and value (RFC 7540, section 6.5.2).
constexpr std::size_t kHeaderOverhead = 32;

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

bool IsNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
}

bool IsPrintable(char c) { return c >= ' ' && c <= '~'; }

}  // namespace

bool ClientController::Impl::SetCancel(std::function<void()> cancel) {
  const std::lock_guard lock(mutex_);
  if (cancelled_ && cancel) return false;
  cancel_ = std::move(cancel);
  return true;
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
  timeout.reset();
  wait_for_ready = false;
  metadata.clear();
  metadata_bytes = 0;
  outcome = {};
  address.clear();
  notifier.Reset();
  const std::lock_guard lock(mutex_);
  cancelled_ = false;
}

ClientController::ClientController() : impl_(std::make_unique<Impl>()) {}
ClientController::~ClientController() = default;

void ClientController::SetTimeout(std::chrono::milliseconds timeout) { impl_->timeout = timeout; }

void ClientController::SetWaitForReady(bool wait) { impl_->wait_for_ready = wait; }

void ClientController::AddMetadata(const std::string& name, const std::string& value) {
  if (name.empty() || !std::all_of(name.begin(), name.end(), IsNameCharacter)) {
    throw std::invalid_argument("metadata name \"" + name +
                                "\" is not made of a to z, 0 to 9, '_', '-' and '.'");
  }
  if (StartsWith(name, "grpc-") || name == "authorization") {
    throw std::invalid_argument("metadata name \"" + name + "\" is reserved");
  }
  if (!EndsWith(name, "-bin") && !std::all_of(value.begin(), value.end(), IsPrintable)) {
    throw std::invalid_argument("the value of metadata \"" + name +
                                "\" has other than printable ASCII characters; a name that ends "
                                "with \"-bin\" may carry any bytes");
  }
  const std::size_t bytes = impl_->metadata_bytes + name.size() + value.size() + kHeaderOverhead;
  if (bytes > kMaxMetadataBytes) {
    throw std::invalid_argument("with \"" + name + "\" the metadata of the call is " +
                                std::to_string(bytes) + " bytes long; the limit is " +
                                std::to_string(kMaxMetadataBytes));
  }
  impl_->metadata_bytes = bytes;
  impl_->metadata.emplace_back(name, value);
}

const Status& ClientController::Outcome() const { return impl_->outcome; }
const std::string& ClientController::Address() const { return impl_->address; }
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
