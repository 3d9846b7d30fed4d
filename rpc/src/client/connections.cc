#include "client/connections.h"

#include <grpc/grpc.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "common/grpc_log.h"

namespace CmnSys::Rpc {

namespace {

// How long an address may take to connect before the next is tried as well (RFC 8305, section 8).
constexpr std::chrono::milliseconds kStagger{250};

std::string Join(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

}  // namespace

// An endpoint whose connection is watched.
struct Connections::Watched final : public Tag {
  Watched(Connections* connections_, std::unique_ptr<Endpoint> endpoint_)
      : connections(connections_), address(endpoint_->address), endpoint(std::move(endpoint_)) {}

  Connections* const connections;
  const std::string address;
  std::unique_ptr<Endpoint> endpoint;  // Null when the connections are being deleted.
  grpc_connectivity_state state = GRPC_CHANNEL_IDLE;
  bool told_down = false;

 private:
  void Complete(bool /*ok*/) override { connections->Watch(this); }
};

Connections::Connections(const std::vector<std::string>& addresses, const ChannelOptions& options)
    : in_turn_(options.balancing == LoadBalancing::kRoundRobin),
      observer_(options.observer),
      names_(Join(addresses)),
      poller_(Poller::Shared()) {
  if (addresses.empty()) throw std::invalid_argument("a channel needs an address");
  if (!options.tls && !options.server_name.empty()) {
    throw std::invalid_argument("ChannelOptions::server_name needs TLS files");
  }
  SendGrpcLogTo(observer_);
  TlsFileSet::Tell tell;
  if (observer_ != nullptr) {
    tell = [observer = observer_](Event::Kind kind, const std::string& text) {
      Event event;
      event.kind = kind;
      event.text = text;
      observer->OnEvent(event);
    };
  }
  if (options.tls) tls_ = MakeClientTls(*options.tls, tell);
  for (const std::string& text : addresses) {
    const Address address = ParseAddress(text);
    if (!options.tls && options.plaintext != Plaintext::kAnywhere &&
        !IsLocal(address).value_or(true)) {
      throw PlaintextRefused(text);
    }
    for (const Address& real : Expand(address)) {
      endpoints_.push_back(
          std::make_unique<Watched>(this, std::make_unique<Endpoint>(text, real, options, tls_)));
    }
  }
  operations_ = static_cast<int>(endpoints_.size());
  for (const auto& watched : endpoints_) {
    poller_->clock_watch()->Add(watched->endpoint->channel);
    Watch(watched.get());
  }
}

Connections::~Connections() {
  poller_->Hold();
  std::unique_lock lock(mutex_);
  stopping_ = true;
  if (staggering_) stagger_.Cancel();
  // A channel without an owner shuts down, and that ends the watching.
  for (const auto& watched : endpoints_) {
    const std::unique_ptr<Endpoint> last = std::move(watched->endpoint);
  }
  no_operations_.wait(lock, [this] { return operations_ == 0; });
  poller_->Release();
}

void Connections::Watch(Watched* watched) {
  std::unique_lock lock(mutex_);
  if (stopping_) {
    if (--operations_ == 0) no_operations_.notify_all();
    return;
  }
  // Kept while it is used below, although the destructor may come meanwhile.
  const std::shared_ptr<grpc::Channel> channel = watched->endpoint->channel;
  const grpc_connectivity_state state = channel->GetState(false);
  const bool changed = state != watched->state;
  // It may have changed and come back since: those who wait must not miss that.
  if (changed || !waiters_.empty()) OnState(watched, state);
  watched->state = state;
  channel->NotifyOnStateChange(state, Never(), poller_->queue(), watched->Post());
  lock.unlock();
  if (changed && observer_ != nullptr) Tell(watched, state);
}

void Connections::OnState(Watched* watched, grpc_connectivity_state state) {
  switch (state) {
    case GRPC_CHANNEL_READY:
      watched->endpoint->was_connected = true;
      connecting_ = 0;
      WakeAll(true);
      break;
    case GRPC_CHANNEL_TRANSIENT_FAILURE:
      if (!waiters_.empty()) ConnectNext();
      if (AllDown()) WakeAll(false);
      break;
    case GRPC_CHANNEL_IDLE:
      // Its connection was lost.
      if (!waiters_.empty() || in_turn_) watched->endpoint->channel->GetState(true);
      break;
    default:
      break;
  }
}

void Connections::Tell(Watched* watched, grpc_connectivity_state state) {
  Event event;
  if (state == GRPC_CHANNEL_READY) {
    event.kind = Event::Kind::kConnected;
    watched->told_down = false;
  } else if (state != GRPC_CHANNEL_CONNECTING && !watched->told_down) {
    event.kind = Event::Kind::kDisconnected;
    watched->told_down = true;
  } else {
    return;
  }
  event.address = watched->address;
  observer_->OnEvent(event);
}

bool Connections::AllDown() const {
  return std::all_of(endpoints_.begin(), endpoints_.end(), [](const auto& watched) {
    return watched->endpoint->channel->GetState(false) == GRPC_CHANNEL_TRANSIENT_FAILURE;
  });
}

Connections::Choice Connections::Choose(std::size_t tried, Waiter* waiter) {
  const std::size_t count = endpoints_.size();
  if (!MayWait()) {
    return {tried == 0 ? endpoints_.front()->endpoint.get() : nullptr, tried != 0};
  }
  if (!in_turn_) {
    Endpoint* endpoint = endpoints_[current_]->endpoint.get();
    if (endpoint->Ready()) return {endpoint, false};
  }
  const std::lock_guard lock(mutex_);
  const std::size_t first = current_;
  for (std::size_t i = first; i < first + count; ++i) {
    Endpoint* endpoint = endpoints_[i % count]->endpoint.get();
    if (!endpoint->Ready()) continue;
    current_ = (in_turn_ ? i + 1 : i) % count;
    return {endpoint, false};
  }
  if (!waiter->wait_for_ready && (AllDown() || tried > count)) {
    // gRPC tells the reason when it is asked to send.
    if (tried >= count) return {nullptr, true};
    return {endpoints_[(first + tried) % count]->endpoint.get(), false};
  }
  waiter->alarm = std::make_unique<grpc::Alarm>();
  waiter->alarm->Set(waiter->queue, waiter->cancelled ? AtOnce() : waiter->deadline,
                     waiter->tag->Post());
  if (waiters_.empty()) connecting_ = 0;
  waiters_.insert(waiter);
  poller_->Hold();
  if (connecting_ == 0) ConnectNext();
  return {};
}

void Connections::End(Waiter* waiter) {
  const std::lock_guard lock(mutex_);
  if (waiters_.erase(waiter) != 0) poller_->Release();
}

void Connections::Cancel(Waiter* waiter) {
  const std::lock_guard lock(mutex_);
  waiter->cancelled = true;
  if (waiters_.count(waiter) != 0) waiter->alarm->Cancel();
}

void Connections::WakeAll(bool those_that_wait_for_ready) {
  for (Waiter* waiter : waiters_) {
    if (those_that_wait_for_ready || !waiter->wait_for_ready) waiter->alarm->Cancel();
  }
}

void Connections::ConnectNext() {
  const std::size_t count = endpoints_.size();
  while (connecting_ < count) {
    Watched* watched = endpoints_[(current_ + connecting_++) % count].get();
    const bool down = watched->endpoint->channel->GetState(true) == GRPC_CHANNEL_TRANSIENT_FAILURE;
    // Calls in turn want all connections; otherwise one that is down leaves it to the next.
    if (!down && !in_turn_) break;
  }
  if (connecting_ < count && !staggering_) {
    staggering_ = true;
    ++operations_;
    stagger_.Set(poller_->queue(), DeadlineAfter(kStagger), stagger_tag_.Post());
  }
}

void Connections::OnStagger(bool /*ok*/) {
  const std::lock_guard lock(mutex_);
  staggering_ = false;
  if (!stopping_ && !waiters_.empty()) ConnectNext();
  if (--operations_ == 0) no_operations_.notify_all();
}

}  // namespace CmnSys::Rpc
