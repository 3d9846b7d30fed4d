// What the calls of one server share. It lives until the last of them is gone, which can be after
// the server.

#ifndef CMNSYS_RPC_SRC_SERVER_CORE_H_
#define CMNSYS_RPC_SRC_SERVER_CORE_H_

#include <google/protobuf/message.h>
#include <google/protobuf/service.h>
#include <grpcpp/server_context.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "CmnSys/Rpc/Server.h"
#include "common/completion.h"
#include "common/tls.h"
#include "server/pollers.h"
#include "server/raw_service.h"
#include "server/time_limits.h"
#include "server/worker_pool.h"

namespace CmnSys::Rpc {

class ServerCall;

// A unary method that the server offers.
struct UnaryMethod {
  std::string service;
  std::string name;
  const google::protobuf::Message* request = nullptr;
  const google::protobuf::Message* response = nullptr;
  std::function<void(google::protobuf::RpcController*, const google::protobuf::Message*,
                     google::protobuf::Message*, google::protobuf::Closure*)>
      run;
  // Instead of `run`, where the request is read in place.
  std::optional<BytesMethod> in_place;
  // One of the server's own: open to everybody, outside the limits, and always quick.
  bool internal = false;
  RawService* raw_service = nullptr;
  int index = 0;
  std::unique_ptr<Pace> pace = std::make_unique<Pace>();
};

struct ServerCore {
  explicit ServerCore(ServerOptions server_options);

  // Adds to the bytes that the server keeps; false, and nothing is added, when that would exceed
  // the limit.
  bool Buffer(std::size_t bytes);
  void Unbuffer(std::size_t bytes) { buffered_bytes -= bytes; }

  void Tell(const Event& event) const {
    if (options.observer != nullptr) options.observer->OnEvent(event);
  }
  void Tell(Event::Kind kind, const std::string& peer, const std::string& text,
            const Status& status = {}) const;

  // Whether somebody decides about calls.
  bool Decides() const { return options.authorize || (tls != nullptr && tls->ChecksRevocation()); }
  // Whether a peer's certificate is on a revocation list: then the status says so.
  Status CheckRevoked(const CallInfo& info, const grpc::AuthContext& peer) const;
  // Decides about a call: by revocation lists and by ServerOptions::authorize. Throws nothing.
  Status Authorize(const CallInfo& info, const grpc::AuthContext& peer) const;

  // Counts a call or subscription of any kind, refused ones included, until it is over. A
  // connection that brings one when there are far too many is closed: its client does not take the
  // refusals, and has not acknowledged the limit of streams, which binds it only then.
  void BeginStream(const grpc::ServerContext& context);
  void EndStream() { --streams; }

  const ServerOptions options;
  // Closes the connection of a peer. Set before the first call.
  std::function<void(const std::string& peer)> close_connection;
  int most_streams = 0;             // Set before the first call.
  std::shared_ptr<TlsFileSet> tls;  // Null for plaintext. Set before the first call.
  std::deque<UnaryMethod> methods;
  OperationGate gate;
  // Runs the closures of NotifyOnCancel: a pool of its own, because service methods that wait for
  // a cancellation may occupy all workers.
  WorkerPool notifiers{1, 4};
  WorkerPool workers;
  Pollers pollers{&workers};
  Pace authorize_pace;
  TimeLimit<ServerCall> requests;   // Being received.
  TimeLimit<ServerCall> responses;  // Being sent.
  std::atomic<bool> stopping{false};

  std::atomic<int> streams{0};
  std::atomic<int> calls{0};
  std::atomic<std::size_t> buffered_bytes{0};
  std::atomic<std::size_t> published_bytes{0};
  std::atomic<int> connections{0};
  std::atomic<std::uint64_t> calls_ended{0};
  std::atomic<std::uint64_t> calls_failed{0};
  std::atomic<std::uint64_t> calls_refused{0};
  std::atomic<std::uint64_t> request_bytes{0};
  std::atomic<std::uint64_t> response_bytes{0};
  std::atomic<std::uint64_t> connections_accepted{0};
  std::atomic<std::uint64_t> connections_refused{0};
  std::atomic<std::uint64_t> messages_published{0};
  std::atomic<std::uint64_t> subscribers_dropped{0};
};

CallInfo MakeCallInfo(const std::string& service, const std::string& method,
                      const grpc::ServerContext& context);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_SERVER_CORE_H_
