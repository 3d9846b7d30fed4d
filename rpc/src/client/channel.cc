#include "CmnSys/Rpc/Channel.h"

#include <google/protobuf/descriptor.h>
#include <grpc/grpc.h>
#include <grpcpp/security/credentials.h>

#include <algorithm>
#include <climits>
#include <stdexcept>
#include <utility>

#include "client/channel_core.h"
#include "client/client_call.h"
#include "client/subscription_impl.h"

namespace CmnSys::Rpc {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;

namespace {

constexpr int kCompletionThreads = 2;
constexpr std::size_t kMaxTokenBytes = 2048;

void CheckOptions(const ChannelOptions& options) {
  const auto check = [](bool good, const char* what) {
    if (!good) throw std::invalid_argument(std::string("ChannelOptions::") + what);
  };
  check(options.max_message_bytes >= 1 && options.max_message_bytes <= INT_MAX,
        "max_message_bytes must be from 1 to 2,147,483,647");
  check(options.connect_timeout.count() >= 1, "connect_timeout must be at least 1 ms");
  check(options.max_reconnect_pause.count() >= 1, "max_reconnect_pause must be at least 1 ms");
  check(options.keepalive >= std::chrono::seconds(10), "keepalive must be at least 10 s");
}

}  // namespace

ChannelCore::ChannelCore(const std::vector<std::string>& addresses, ChannelOptions channel_options)
    : options(std::move(channel_options)) {
  CheckOptions(options);
  if (addresses.empty()) throw std::invalid_argument("a channel needs an address");
  for (const std::string& address : addresses) {
    targets_.push_back(std::make_shared<ChannelTarget>(address, options));
  }
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

std::vector<ChannelTarget*> ChannelCore::TargetsInTurn() {
  std::vector<ChannelTarget*> targets;
  if (targets_.size() == 1) return {targets_.front().get()};
  const std::size_t first = turn_.fetch_add(1, std::memory_order_relaxed);
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    targets.push_back(targets_[(first + i) % targets_.size()].get());
  }
  std::stable_partition(targets.begin(), targets.end(), [](const ChannelTarget* target) {
    return target->channel->GetState(false) != GRPC_CHANNEL_TRANSIENT_FAILURE;
  });
  return targets;
}

std::shared_ptr<ChannelTarget> ChannelCore::NextTarget() {
  const ChannelTarget* next = TargetsInTurn().front();
  return *std::find_if(targets_.begin(), targets_.end(),
                       [&](const auto& target) { return target.get() == next; });
}

Status ChannelCore::CheckToken() {
  const std::lock_guard lock(token_mutex_);
  if (token_ == nullptr || options.tls) return {};
  return {StatusCode::kUnauthenticated,
          "the session token is not sent over a plaintext connection: use TLS, or no token"};
}

void ChannelCore::PrepareContext(const Metadata* metadata, bool wait_for_ready,
                                 std::chrono::system_clock::time_point deadline,
                                 grpc::ClientContext* context) {
  if (options.tls) {
    const std::lock_guard lock(token_mutex_);
    if (token_ != nullptr) context->set_credentials(token_);
  }
  if (metadata != nullptr) {
    for (const auto& [name, value] : *metadata) context->AddMetadata(name, value);
  }
  context->set_wait_for_ready(wait_for_ready);
  context->set_deadline(deadline);
}

void ChannelCore::StartThreads() {
  for (int i = 0; i < kCompletionThreads; ++i) {
    queues_.push_back(std::make_unique<grpc::CompletionQueue>());
    threads_.emplace_back(
        [self = shared_from_this(), queue = queues_.back().get()] { Drain(queue); });
  }
}

grpc::CompletionQueue* ChannelCore::Queue() {
  std::call_once(threads_started_, [this] { StartThreads(); });
  return queues_[queue_turn_.fetch_add(1, std::memory_order_relaxed) % queues_.size()].get();
}

void ChannelCore::Add(ClientCall* call) {
  const std::lock_guard lock(calls_mutex_);
  calls_.insert(call);
}

void ChannelCore::Remove(ClientCall* call) {
  const std::lock_guard lock(calls_mutex_);
  calls_.erase(call);
}

void ChannelCore::Close() {
  gate_.Close();
  {
    const std::lock_guard lock(calls_mutex_);
    for (ClientCall* call : calls_) call->Cancel();
  }
  for (const auto& queue : queues_) queue->Shutdown();
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

Channel::Channel(const std::string& address, ChannelOptions options)
    : Channel(std::vector<std::string>{address}, std::move(options)) {}

Channel::Channel(const std::vector<std::string>& addresses, ChannelOptions options)
    : core_(std::make_shared<ChannelCore>(addresses, std::move(options))) {}

Channel::~Channel() { core_->Close(); }

void Channel::CallMethod(const MethodDescriptor* method, RpcController* controller,
                         const Message* request, Message* response, Closure* done) {
  if (controller == nullptr) {
    throw std::invalid_argument("a call over a Channel needs a controller: " + method->full_name());
  }
  auto call = std::make_unique<ClientCall>(core_, method, controller, request, response, done);
  if (done == nullptr) {
    call->Block();
  } else {
    ClientCall::Start(std::move(call));
  }
}

void Channel::SetSessionToken(const std::string& token) { core_->SetSessionToken(token); }

std::unique_ptr<Subscription> Channel::Subscribe(const std::string& method, const Message& request,
                                                 const Message& prototype,
                                                 SubscriptionHandler handler) {
  return std::make_unique<Subscription>(
      Subscription::Impl::Start(core_, method, request, prototype, std::move(handler)));
}

}  // namespace CmnSys::Rpc
