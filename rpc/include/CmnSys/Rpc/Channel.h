// The client's side: carries the calls of generated stubs to a server.

#ifndef CMNSYS_RPC_CHANNEL_H_
#define CMNSYS_RPC_CHANNEL_H_

#include <google/protobuf/message.h>
#include <google/protobuf/service.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Observer.h"
#include "CmnSys/Rpc/Security.h"
#include "CmnSys/Rpc/Status.h"
#include "CmnSys/Rpc/Subscription.h"

namespace CmnSys::Rpc {

class ChannelCore;

// Which server the calls of a channel with several servers go to: several addresses, or several
// that stand behind one name.
enum class LoadBalancing {
  // All go to one, the first that can be reached, as long as it can be reached; then to another.
  // What services with a memory need, such as a query that is continued.
  kPickFirst,
  // Each goes to the next of those that can be reached.
  kRoundRobin,
};

// What a Channel is made with; the values suit most.
struct ChannelOptions {
  // TLS with these files; without them the connection is plaintext.
  std::optional<TlsFiles> tls;
  Plaintext plaintext = Plaintext::kLoopbackOnly;
  // The name that the server's certificate must carry; the host part of the address when empty.
  // Only with TLS.
  std::string server_name;
  // See Channel::SetSessionToken.
  std::string session_token;
  LoadBalancing balancing = LoadBalancing::kPickFirst;
  // For calls that set none of their own; milliseconds::max() for none.
  std::chrono::milliseconds timeout{30'000};
  // How long one attempt to connect may take, TLS handshake included. Another address is tried as
  // well when one has not answered for 250 ms.
  std::chrono::milliseconds connect_timeout{5'000};
  // The longest pause between two attempts to connect to a server that cannot be reached; pauses
  // begin with 100 ms and grow. A server that has returned is found after at most this time and a
  // fifth more.
  std::chrono::milliseconds max_reconnect_pause{500};
  // While calls are in progress, a peer that sends nothing for so long is asked for a sign of life,
  // and without one the connection is given up 10 s later. At least 10 s.
  std::chrono::milliseconds keepalive{20'000};
  // Longest request and response, in serialized bytes.
  std::size_t max_message_bytes = std::size_t{64} << 20;
  // Is told how each call ends, and when connections and subscriptions begin and end.
  std::shared_ptr<Observer> observer;
};

// What a channel has done since it was created, and is doing. The numbers are read one after the
// other and need not fit each other while calls begin and end.
struct ChannelCounters {
  std::uint64_t calls = 0;         // Begun.
  std::uint64_t failed_calls = 0;  // Ended with another code than kOk.
  std::int64_t calls_in_progress = 0;
  std::int64_t subscriptions = 0;  // That servers have accepted and that have not ended.
  std::uint64_t messages = 0;      // Received by subscriptions.
  // Serialized requests, responses and messages, without headers.
  std::uint64_t sent_bytes = 0;
  std::uint64_t received_bytes = 0;
};

// A channel to one server, or to several that offer the same services.
//
// It connects when the first call is made and again whenever the connection is lost, also while
// nobody calls. A server that cannot be reached fails calls at once, unless they wait
// (ClientController::SetWaitForReady). LoadBalancing says where calls go when there are several
// servers. A call is tried at another one only while it is certain that none has seen it: nothing
// is carried out twice. ClientController::Address() and Peer() tell where a call went.
//
// Calls may be made from any thread at the same time. With a null closure CallMethod blocks until
// the call has ended. With a closure it returns at once, and the closure runs exactly once, on one
// of the channel's two completion threads, never inside CallMethod; a closure that blocks for long
// delays the other closures of the channel. Closures may make calls, blocking ones too, and may
// delete the channel. They must not throw.
//
// The controller should be a ClientController. Any other kind works with the channel's settings,
// and learns of a failure by SetFailed(); it cannot cancel.
class CMNSYSRPC_EXPORT Channel final : public google::protobuf::RpcChannel {
 public:
  // A channel to `address`: "host:port", "192.0.2.7:port", "[2001:db8::7]:port", or "unix:path" for
  // a Unix domain socket. "localhost" stands for both 127.0.0.1 and ::1, without asking a resolver
  // (RFC 6761). Does not block: names are resolved when the channel connects, and an unknown one
  // fails calls with kUnavailable. Throws std::invalid_argument when an option or address cannot be
  // used: a TLS file that cannot be read or does not fit the others, or plaintext to an IP address
  // of another machine without Plaintext::kAnywhere. Without that, a name that leads to another
  // machine is found out when the channel connects, and calls fail with kUnavailable.
  // Throws std::system_error when the system has no thread, memory or file descriptor left for TLS,
  // or no /proc.
  explicit Channel(const std::string& address, ChannelOptions options = {});
  explicit Channel(const std::vector<std::string>& addresses, ChannelOptions options = {});
  explicit Channel(std::initializer_list<const char*> addresses, ChannelOptions options = {});
  // Cancels the asynchronous calls in progress and returns when all their closures have run. Calls
  // that these closures make fail with kCancelled, and their closures are waited for as well: one
  // that repeats a failed call for ever makes this wait for ever. When one of the closures is what
  // deletes the channel, the others run after it on their own. No blocking call may be in progress
  // on another thread. Subscriptions go on. Not to be called by an Observer.
  ~Channel() override;
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // Makes a call; stubs call this. Throws std::invalid_argument when `controller` is null and
  // std::logic_error when it is a ClientController that serves another call. The messages and the
  // controller must stay until the call has ended. After a failure the response is empty.
  void CallMethod(const google::protobuf::MethodDescriptor* method,
                  google::protobuf::RpcController* controller,
                  const google::protobuf::Message* request, google::protobuf::Message* response,
                  google::protobuf::Closure* done) override;

  // Sends this token with every call that starts from now on, as the header "authorization: Bearer
  // <token>"; an empty token ends that. Calls with a token are refused on a plaintext connection,
  // so that it never travels in clear. Printable ASCII without blanks, at most 2,048 characters
  // (std::invalid_argument). Thread-safe.
  void SetSessionToken(const std::string& token);

  // What the channel has done and is doing, at any time. Thread-safe.
  ChannelCounters Counters() const;

  // Subscribes to the messages, of type Notification, that a Publisher of the server sends:
  //
  //   CmnSys::Rpc::SubscriptionHandlerOf<Notification> handler;
  //   handler.on_message = [](const Notification& notification) { ... };
  //   auto subscription = channel.Subscribe<Notification>("Example.Push/Subscribe", request,
  //   handler);
  //
  // `method` is "<service>/<method>"; `request` is what the publisher defines as subscription
  // request. Returns at once; the handler is called on a thread of the subscription's, possibly
  // before this has returned. The subscription may outlive the channel. Throws
  // std::invalid_argument for metadata that cannot be sent (see ClientController::AddMetadata).
  template <typename Notification, typename Request, typename HandlerRequest>
  std::unique_ptr<Subscription> Subscribe(
      const std::string& method, const Request& request,
      SubscriptionHandlerOf<Notification, HandlerRequest> handler, SubscribeOptions options = {}) {
    return Subscribe(method, request, Notification::default_instance(),
                     Untyped<Request>(std::move(handler)), std::move(options));
  }
  // The same for types that are known at run time only: `prototype` is an instance of the type of
  // the messages, which must live as long as the subscription (a default instance does).
  std::unique_ptr<Subscription> Subscribe(const std::string& method,
                                          const google::protobuf::Message& request,
                                          const google::protobuf::Message& prototype,
                                          SubscriptionHandler handler,
                                          SubscribeOptions options = {});

 private:
  std::shared_ptr<ChannelCore> core_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_CHANNEL_H_
