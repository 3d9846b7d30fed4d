// The server's side: offers protobuf services to clients.

#ifndef CMNSYS_RPC_SERVER_H_
#define CMNSYS_RPC_SERVER_H_

#include <google/protobuf/service.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CmnSys/Rpc/CallInfo.h"
#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Publisher.h"
#include "CmnSys/Rpc/Security.h"
#include "CmnSys/Rpc/ServerController.h"
#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

struct ServerOptions {
  // Where to listen: "host:port", "192.0.2.7:port" or "[::]:port" (which takes IPv4 too); port 0
  // stands for any free port.
  std::vector<std::string> addresses;
  // Mutual TLS with these files: every client must show a certificate that is signed by one of the
  // authorities in ca_file. Without them the server speaks plaintext.
  std::optional<TlsFiles> tls;
  Plaintext plaintext = Plaintext::kLoopbackOnly;

  // Decides about every call, and every subscription, before its request is parsed: kOk lets it
  // pass, anything else is the call's outcome. Empty lets everything pass. Called on a worker
  // thread, for several calls at the same time. Health checks are not asked about.
  std::function<Status(const CallInfo& call)> authorize;

  // Longest request and response, in serialized bytes.
  std::size_t max_message_bytes = std::size_t{64} << 20;
  // Calls in progress, over all connections; further ones fail with kResourceExhausted.
  int max_calls = 4096;
  // Longer failure texts are cut after a whole character, with "..." at the end; at most 2,500.
  std::size_t max_error_text_bytes = 2000;
  // How long a new connection may take for its TLS and HTTP/2 handshakes.
  std::chrono::milliseconds handshake_timeout{10'000};
  // See ChannelOptions::keepalive.
  std::chrono::milliseconds keepalive{20'000};
  // Threads that run service methods: so many stay, and more are made, up to the maximum, while all
  // are busy. Methods that wait for something should return and run their closure later.
  int workers = 16;
  int max_workers = 256;
  // Answers questions about the services by gRPC's server reflection, for tools such as grpcurl.
  bool reflection = false;
};

// A server of any number of services, over gRPC: method M of service S is called by the HTTP/2 path
// "/S/M", where S is the service's full name.
//
// Service methods are called on worker threads, several at a time, and must be thread-safe. A
// method runs its closure exactly once, on any thread, in the call or later; until then the
// controller and the messages are valid, and not any more afterwards. Messages live in an arena
// that is freed with the call. A method that throws fails its call with kInternal.
//
// The server also answers the standard service grpc.health.v1.Health.
class CMNSYSRPC_EXPORT Server {
 public:
  explicit Server(ServerOptions options);
  // Shuts down without grace. Ends the program with a message when it is called by a service method
  // of the server's own.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Offers a service, which must live as long as the server or, with SERVER_OWNS, is deleted by it.
  // Before Start(). Throws std::invalid_argument when a service of the same name is there already.
  enum Ownership { kCallerOwns, kServerOwns };
  void Register(google::protobuf::Service* service, Ownership ownership = kCallerOwns);

  // Offers a stream of messages. Before Start(). Throws std::invalid_argument when the names are
  // missing or taken. The publisher belongs to the server.
  Publisher* AddPublisher(PublisherOptions options);

  // Listens and serves; returns when clients can connect. Throws std::invalid_argument for options
  // that cannot be used and std::runtime_error when an address cannot be listened on. A server can
  // be started once.
  void Start();

  // The addresses that it listens on, as IP addresses with the real ports, in the order of the
  // options. Empty before Start().
  const std::vector<std::string>& Addresses() const;

  // What the health service answers, for one service or, with an empty name, for the server as a
  // whole; true for all after Start(). Throws std::invalid_argument for an unknown service.
  void SetServing(const std::string& service, bool serving);

  // Stops: takes no more calls, ends subscriptions with kUnavailable, waits up to `grace` for the
  // calls in progress and then cancels them, and returns when no service method is running any
  // more. A method that never returns makes it wait for ever; a closure that was not run yet may
  // still be run later, even when the server is gone, and does nothing then. Thread-safe; must not
  // be called from a service method or closure (std::logic_error).
  void Shutdown(std::chrono::milliseconds grace = std::chrono::milliseconds(5'000));

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SERVER_H_
