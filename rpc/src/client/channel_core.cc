#include "client/channel_core.h"

#include <grpcpp/security/credentials.h>

#include <algorithm>
#include <climits>
#include <stdexcept>
#include <utility>

#include "client/client_call.h"
#include "common/completion.h"

namespace CmnSys::Rpc {

namespace {

constexpr int kCompletionThreads = 2;
constexpr std::size_t kMaxTokenBytes = 2048;

ChannelOptions Checked(ChannelOptions options) {
  const auto check = [](bool good, const char* what) {
    if (!good) throw std::invalid_argument(std::string("ChannelOptions::") + what);
  };
  check(options.max_message_bytes >= 1 && options.max_message_bytes <= INT_MAX,
        "max_message_bytes must be from 1 to 2,147,483,647");
  check(options.connect_timeout.count() >= 1, "connect_timeout must be at least 1 ms");
  check(options.max_reconnect_pause.count() >= 1, "max_reconnect_pause must be at least 1 ms");
  check(options.keepalive >= std::chrono::seconds(10), "keepalive must be at least 10 s");
  return options;
}

}  // namespace

ChannelCore::ChannelCore(const std::vector<std::string>& addresses, ChannelOptions channel_options)
    : options(Checked(std::move(channel_options))), connections_(addresses, options) {
  SetSessionToken(options.session_token);
}

void ChannelCore::SetSessionToken(const std::string& token) {
  const bool good =
      token.size() <= kMaxTokenBytes &&
      std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c <= '~'; });
  if (!good) {
    throw std::invalid_argument(
        "a session token is made of at most 2,048 printable ASCII characters without blanks");
  }
  const std::lock_guard lock(token_mutex_);
  token_ = token.empty() ? nullptr : grpc::AccessTokenCredentials(token);
}

Status ChannelCore::CheckToken() {
  if (options.tls) return {};
  const std::lock_guard lock(token_mutex_);
  if (token_ == nullptr) return {};
  return {StatusCode::kUnauthenticated,
          "the session token is not sent over a plaintext connection: use TLS, or no token"};
}

void ChannelCore::PrepareContext(const Metadata& metadata, bool wait_for_ready,
                                 gpr_timespec deadline, grpc::ClientContext* context) {
  if (options.tls) {
    const std::lock_guard lock(token_mutex_);
    if (token_ != nullptr) context->set_credentials(token_);
  }
  for (const auto& [name, value] : metadata.entries()) context->AddMetadata(name, value);
  context->set_wait_for_ready(wait_for_ready);
  context->set_deadline(deadline);
}

grpc::CompletionQueue* ChannelCore::Add(ClientCall* call) {
  const std::lock_guard lock(calls_mutex_);
  while (queues_.size() < kCompletionThreads) {
    // A queue without a thread would never complete a call.
    auto queue = std::make_unique<grpc::CompletionQueue>();
    threads_.emplace_back([self = shared_from_this(), queue = queue.get()] { Drain(queue); });
    queues_.push_back(std::move(queue));
  }
  calls_.insert(call);
  return queues_[turn_++ % queues_.size()].get();
}

void ChannelCore::Remove(ClientCall* call) {
  const std::lock_guard lock(calls_mutex_);
  calls_.erase(call);
  if (closing_ && calls_.empty()) ShutdownQueues();
}

void ChannelCore::ShutdownQueues() {
  for (const auto& queue : queues_) queue->Shutdown();
}

void ChannelCore::Close() {
  {
    const std::lock_guard lock(calls_mutex_);
    closing_ = true;
    for (ClientCall* call : calls_) call->Cancel();
    if (calls_.empty()) ShutdownQueues();
  }
  const bool inside = std::any_of(threads_.begin(), threads_.end(), [](const std::thread& thread) {
    return thread.get_id() == std::this_thread::get_id();
  });
  for (std::thread& thread : threads_) {
    if (inside) {
      thread.detach();
    } else {
      thread.join();
    }
  }
  threads_.clear();
}

}  // namespace CmnSys::Rpc
