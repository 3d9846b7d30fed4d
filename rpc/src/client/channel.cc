#include "CmnSys/Rpc/Channel.h"

#include <google/protobuf/descriptor.h>

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

Channel::Channel(const std::string& address, ChannelOptions options)
    : Channel(std::vector<std::string>{address}, std::move(options)) {}

Channel::Channel(const std::vector<std::string>& addresses, ChannelOptions options)
    : core_(std::make_shared<ChannelCore>(addresses, std::move(options))) {}

Channel::Channel(std::initializer_list<const char*> addresses, ChannelOptions options)
    : Channel(std::vector<std::string>(addresses.begin(), addresses.end()), std::move(options)) {}

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

ChannelCounters Channel::Counters() const {
  const auto& counters = core_->counters;
  return {counters.calls,         counters.failed_calls, counters.calls_in_progress,
          counters.subscriptions, counters.messages,     counters.sent_bytes,
          counters.received_bytes};
}

std::unique_ptr<Subscription> Channel::Subscribe(const std::string& method, const Message& request,
                                                 const Message& prototype,
                                                 SubscriptionHandler handler,
                                                 SubscribeOptions options) {
  return std::make_unique<Subscription>(Subscription::Impl::Start(
      core_, method, request, prototype, std::move(handler), std::move(options)));
}

}  // namespace CmnSys::Rpc
