// The client's side: carries the calls of generated stubs to a server.

#ifndef CMNSYS_RPC_CHANNEL_H_
#define CMNSYS_RPC_CHANNEL_H_

#include <google/protobuf/message.h>
#include <google/protobuf/service.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Security.h"
#include "CmnSys/Rpc/Status.h"
#include "CmnSys/Rpc/Subscription.h"

namespace CmnSys::Rpc {

class ChannelCore;

struct ChannelOptions {
  // TLS with these files; without them the connection is plaintext.
  std::optional<TlsFiles> tls;
  Plaintext plaintext = Plaintext::kLoopbackOnly;
  // The name that the server's certificate must carry; the host part of the address when empty.
  std::string server_name;
  // See Channel::SetSessionToken.
  std::string session_token;
  // For calls that set none of their own; milliseconds::max() for none.
  std::chrono::milliseconds timeout{30'000};
  // How long one attempt to connect may take.
  std::chrono::milliseconds connect_timeout{5'000};
  // The longest pause between two attempts to connect to a server that cannot be reached; pauses
  // begin with 100 ms and grow.
  std::chrono::milliseconds max_reconnect_pause{5'000};
  // While calls are in progress, a peer that sends nothing for so long is asked for a sign of life,
  // and without one the connection is given up 10 s later. At least 10 s.
  std::chrono::milliseconds keepalive{20'000};
  // Longest request and response, in serialized bytes.
  std::size_t max_message_bytes = std::size_t{64} << 20;
};

// A channel to one server, or to several that offer the same services.
//
// It connects when the first call is made and again whenever the connection is lost. With several
// addresses calls go to them in turn; one that cannot be reached is passed over. A call is tried at
// another address only while it is certain that no server has seen it.
//
// Calls may be made from any thread at the same time. With a null closure CallMethod blocks until
// the call has ended. With a closure it returns at once, and the closure runs exactly once, on one
// of the channel's two completion threads, never inside CallMethod; a closure that blocks for long
// delays the other closures of the channel. Closures may make calls, blocking ones too, and may
// delete the channel.
//
// The controller should be a ClientController. Any other kind works with the channel's settings,
// and learns of a failure by SetFailed(); it cannot cancel.
class CMNSYSRPC_EXPORT Channel final : public google::protobuf::RpcChannel {
 public:
  // A channel to `address`: "host:port", "192.0.2.7:port" or "[2001:db8::7]:port". Does not wait
  // for a connection. Throws std::invalid_argument when an option or address cannot be used: a TLS
  // file that cannot be read or does not fit the others, or plaintext to another machine without
  // Plaintext::kAnywhere.
  explicit Channel(const std::string& address, ChannelOptions options = {});
  explicit Channel(const std::vector<std::string>& addresses, ChannelOptions options = {});
  // Cancels the asynchronous calls in progress and returns when all their closures have run. When
  // one of those closures is what deletes the channel, the others run after it on their own. No
  // blocking call may be in progress.
  ~Channel() override;
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // Makes a call; stubs call this. `controller` must not be null (std::invalid_argument). The
  // messages and the controller must stay until the call has ended. After a failure the response is
  // empty.
  void CallMethod(const google::protobuf::MethodDescriptor* method,
                  google::protobuf::RpcController* controller,
                  const google::protobuf::Message* request, google::protobuf::Message* response,
                  google::protobuf::Closure* done) override;

  // Sends this token with every call that starts from now on, as the header "authorization: Bearer
  // <token>"; an empty token ends that. Calls with a token are refused on a plaintext connection,
  // so that it never travels in clear. Printable ASCII without blanks, at most 2,048 characters
  // (std::invalid_argument). Thread-safe.
  void SetSessionToken(const std::string& token);

  // Subscribes to the messages that a Publisher of the server sends. `method` is
  // "<service>/<method>"; `request` is what the publisher's service defines as subscription
  // request; `prototype` is an instance of the type of the messages, which must live as long as the
  // subscription (a default instance does). See Subscription for when the handler is called. The
  // subscription may outlive the channel.
  std::unique_ptr<Subscription> Subscribe(const std::string& method,
                                          const google::protobuf::Message& request,
                                          const google::protobuf::Message& prototype,
                                          SubscriptionHandler handler);

 private:
  std::shared_ptr<ChannelCore> core_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_CHANNEL_H_
