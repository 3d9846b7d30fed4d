// The server's side: offers protobuf services to clients.

#ifndef CMNSYS_RPC_SERVER_H_
#define CMNSYS_RPC_SERVER_H_

#include <google/protobuf/service.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CmnSys/Rpc/CallInfo.h"
#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Observer.h"
#include "CmnSys/Rpc/Publisher.h"
#include "CmnSys/Rpc/Security.h"
#include "CmnSys/Rpc/ServerController.h"
#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

// What a Server is made with. Limits are those of docs/rpc.md and suit a machine with 4 GB.
struct ServerOptions {
  // Where to listen: "host:port", "192.0.2.7:port", "[::]:port" (which takes IPv4 too) or
  // "unix:path"; port 0 stands for any free port. A name stands for all its addresses, localhost
  // for both loopback addresses whatever the hosts file says.
  std::vector<std::string> addresses;
  // Mutual TLS with these files: every client must show a certificate that is signed by one of the
  // authorities in ca_file. Without them the server speaks plaintext.
  std::optional<TlsFiles> tls;
  Plaintext plaintext = Plaintext::kLoopbackOnly;

  // Decides about every call, and every subscription, before its request is received: kOk lets it
  // pass, anything else is the call's outcome; what it throws fails the call with kInternal. Empty
  // lets everything pass. Called on threads of the server, for several calls at the same time.
  // Health checks and reflection are not asked about.
  std::function<Status(const CallInfo& call)> authorize;
  // Is told of calls, connections, subscriptions and TLS files; empty for nobody.
  std::shared_ptr<Observer> observer;

  // Longest request and response, in serialized bytes.
  std::size_t max_message_bytes = std::size_t{64} << 20;
  // Calls in progress over all connections, each from its arrival until its response was sent;
  // further ones fail with kResourceExhausted. Subscriptions have limits of their own, and health
  // checks none.
  int max_calls = 4096;
  // Calls and subscriptions in progress on one connection; a client of this library lets further
  // ones wait.
  int max_streams_per_connection = 1024;
  // Connections in all and of one client, that is of one IPv4 address or one IPv6 network of 64
  // bits; further ones are closed at once. A connection over a Unix domain socket counts for the
  // first alone.
  int max_connections = 1000;
  int max_connections_per_client = 256;
  // Serialized bytes of what the server keeps: what has arrived of requests that are not complete,
  // and as much again of requests being served with responses not yet sent. A call that would
  // exceed it fails with kResourceExhausted, unless it is the only one.
  std::size_t max_buffered_bytes = std::size_t{256} << 20;
  // Bytes of published messages that wait for subscribers, of all publishers together: a message
  // that waits for several counts once, and 64 for each of them. Beyond it the subscribers with the
  // most waiting are dropped as too slow.
  std::size_t max_published_bytes = std::size_t{1} << 30;
  // How long a call's request may take to arrive, and its response to be received; then the call
  // ends with kDeadlineExceeded.
  std::chrono::milliseconds request_timeout{60'000};
  std::chrono::milliseconds response_timeout{60'000};
  // Longer failure texts are cut after a whole character, with "..." at the end; at most 2,500.
  std::size_t max_error_text_bytes = 2000;
  // How long a new connection may take for its TLS and HTTP/2 handshakes.
  std::chrono::milliseconds handshake_timeout{10'000};
  // A peer that sends nothing for so long is asked for a sign of life, with calls or without, and
  // when none comes within keepalive_timeout the connection is closed. At least 1 s.
  std::chrono::milliseconds keepalive{20'000};
  std::chrono::milliseconds keepalive_timeout{10'000};
  // A connection without calls for so long is closed.
  std::chrono::milliseconds max_connection_idle = std::chrono::milliseconds::max();
  // A connection that is so old takes no more calls, has 10 s to end those in progress, and is
  // closed. Limits how long a connection outlives the certificates that it was made with. Ends
  // subscriptions, too.
  std::chrono::milliseconds max_connection_age = std::chrono::milliseconds::max();
  // Threads that run service methods: more are made, up to the maximum, while all are busy; those
  // above `workers` end when they are idle. Methods that wait for something should return and run
  // their closure later.
  int workers = 16;
  int max_workers = 256;
  // Answers questions about the services by gRPC's server reflection, as grpc.reflection.v1 and as
  // v1alpha, for tools such as grpcurl. Open to everybody who can connect: `authorize` is not
  // asked. At most 64 calls of it are answered at a time; one ends when its client asks nothing
  // for `request_timeout`, or takes no answer for `response_timeout`.
  bool reflection = false;
};

// A method that gets the bytes of its request instead of a message.
struct BytesMethod {
  std::string service;  // The full name of a registered service.
  std::string method;
  // The types that the method has in that service.
  const google::protobuf::Descriptor* request = nullptr;
  const google::protobuf::Descriptor* response = nullptr;
  // Whether the bytes are a request; others fail the call with kInvalidArgument.
  std::function<bool(std::string_view request)> is_valid;
  // As the method of a service: the bytes, too, are valid until `done` is run.
  std::function<void(ServerController* controller, std::string_view request,
                     google::protobuf::Message* response, google::protobuf::Closure* done)>
      run;
};

// What a server has done and is doing. The totals count from its construction.
struct ServerCounters {
  std::uint64_t calls_ended = 0;    // Those that failed included.
  std::uint64_t calls_failed = 0;   // Every other outcome than kOk, also that of a service.
  std::uint64_t calls_refused = 0;  // By max_calls or max_buffered_bytes; counted as failed, too.
  std::uint64_t request_bytes = 0;
  std::uint64_t response_bytes = 0;
  std::uint64_t connections_accepted = 0;
  std::uint64_t connections_refused = 0;
  std::uint64_t messages_published = 0;  // Each once for every subscriber.
  std::uint64_t subscribers_dropped = 0;
  int calls = 0;        // In progress.
  int connections = 0;  // Open, up to a second late.
  int subscribers = 0;
  int workers = 0;                  // Threads.
  int busy_workers = 0;             // Those that run a method at the moment.
  int queued_calls = 0;             // Waiting for a worker.
  std::size_t buffered_bytes = 0;   // See ServerOptions::max_buffered_bytes; the second kind.
  std::size_t published_bytes = 0;  // See ServerOptions::max_published_bytes.
};

// A server of any number of services, over gRPC: method M of service S is called by the HTTP/2 path
// "/S/M", where S is the service's full name.
//
// Service methods are called on threads of the server, several at a time, and must be thread-safe.
// A method runs its closure exactly once, on any thread, in the call or later; until then the
// controller and the messages are valid, and not any more afterwards. Messages live in an arena
// that is freed then. A method that throws, whatever it is, fails its call with kInternal; it
// must not have handed its closure on to others by then, who would run it after its end.
//
// The server also answers the standard service grpc.health.v1.Health, also when it is too busy for
// anything else.
class CMNSYSRPC_EXPORT Server {
 public:
  // A server that does nothing yet: Start() looks at the options. No service is needed to start it.
  explicit Server(ServerOptions options);
  // Shuts down without grace. Ends the program with a message when it is called by a service method
  // of the server's own.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Offers a service, which must live as long as the server or, with kServerOwns, is deleted by it.
  // Before Start(). Throws std::invalid_argument for null, or when a service of the same name is
  // there already, and std::logic_error after Start().
  enum Ownership { kCallerOwns, kServerOwns };
  void Register(google::protobuf::Service* service, Ownership ownership = kCallerOwns);

  // Serves a method of a registered service by a function that reads the request in place, so that
  // it is never parsed; the service's own function is not called any more. AddViewMethod of
  // "CmnSys/Rpc/ViewMethod.h" does so with generated views. Before Start() (std::logic_error).
  // Throws std::invalid_argument when the server has no such service or method, the types are not
  // the method's, or a function is missing.
  void AddBytesMethod(BytesMethod method);

  // Offers a stream of messages. Before Start() (std::logic_error). Several methods of one service
  // name may be publishers. Throws std::invalid_argument when names are missing, or taken by a
  // service or another publisher. The publisher belongs to the server.
  Publisher* AddPublisher(PublisherOptions options);
  // The same for given types of request and message; fills names and prototype in the options.
  template <typename Request, typename Message>
  TypedPublisher<Request, Message> AddPublisher(std::string service, std::string method,
                                                PublisherOptions options = {}) {
    options.service = std::move(service);
    options.method = std::move(method);
    options.request_prototype = &Request::default_instance();
    return TypedPublisher<Request, Message>(AddPublisher(std::move(options)));
  }

  // Listens and serves; returns when clients can connect. Throws std::invalid_argument for options
  // that cannot be used and std::runtime_error when an address cannot be listened on; it may be
  // called again then. Throws std::logic_error when the server was started or shut down already.
  void Start();

  // The addresses that it listens on, as IP addresses with the real ports, in the order of the
  // options; more than there when a name has several. Empty before Start().
  const std::vector<std::string>& Addresses() const;

  // What the health service answers, for one service or, with an empty name, for the server as a
  // whole; true for all at first. Throws std::invalid_argument for an unknown service. Thread-safe,
  // before Start() and after.
  void SetServing(const std::string& service, bool serving);

  // What the server has done and is doing, at any time. Thread-safe.
  ServerCounters Counters() const;

  // Stops: takes no more calls, ends subscriptions with kUnavailable, waits up to `grace` for the
  // calls in progress and then cancels them, and returns when no service method is running any
  // more. Subscriptions do not prolong the wait by more than a second, nor do clients that take
  // nothing of what is being written to them. A negative grace counts as none. A method that never
  // returns makes it wait for ever; a closure that was not run yet may still be run later, even
  // when the server is gone, and does nothing then. Thread-safe: a second call waits for the end as
  // well, and can shorten the grace of the first. Must not be called from a service method or
  // NotifyOnCancel closure (std::logic_error).
  void Shutdown(std::chrono::milliseconds grace = std::chrono::milliseconds(5'000));

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SERVER_H_
