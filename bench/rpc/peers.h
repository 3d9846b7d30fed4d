// A server and a client of the same services, by this library and by gRPC's own generated code. All
// four speak the same protocol, so that each client can call each server.

#ifndef CMNSYS_BENCH_RPC_PEERS_H_
#define CMNSYS_BENCH_RPC_PEERS_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"

namespace CmnSys::Bench {

using Pb::CmnSys::Notifications::Notification;
using Pb::CmnSys::QueriesResult::QueryResult;
namespace SvcQuery = Pb::Rpc::SvcQuery;

// What a call may take; a client that sets none is not what one would write.
constexpr std::chrono::seconds kCallTimeout{30};
// So many messages may wait for a subscriber; then publishing waits for it.
constexpr std::size_t kMostWaiting = 1000;

// Serves Query: Initiate answers with the query's gid, Continue with the result; and a stream of
// notifications.
class BenchServer {
 public:
  BenchServer() = default;
  virtual ~BenchServer() = default;
  BenchServer(const BenchServer&) = delete;
  BenchServer& operator=(const BenchServer&) = delete;

  virtual std::string Address() const = 0;
  virtual void Publish(const Notification& notification) = 0;
  // Ends the streams after what waits was sent.
  virtual void EndAll() = 0;
};

// With `certificates`, a folder, mutual TLS; plaintext when it is empty.
std::unique_ptr<BenchServer> StartOurs(const std::string& certificates, const QueryResult& result);
std::unique_ptr<BenchServer> StartNative(const std::string& certificates,
                                         const QueryResult& result);

// Used by any number of threads, over one connection.
class BenchClient {
 public:
  BenchClient() = default;
  virtual ~BenchClient() = default;
  BenchClient(const BenchClient&) = delete;
  BenchClient& operator=(const BenchClient&) = delete;

  // Throw std::runtime_error when the call fails.
  virtual void Initiate(const SvcQuery::InitiateReq& request, SvcQuery::InitiateRsp* response) = 0;
  virtual void Continue(const SvcQuery::ContinueReq& request, SvcQuery::ContinueRsp* response) = 0;

  // Subscribes and returns when the stream has ended. Calls `active` when the server has accepted.
  virtual void Receive(const std::function<void()>& active,
                       const std::function<void(const Notification&)>& received) = 0;
};

std::unique_ptr<BenchClient> ConnectOurs(const std::string& address,
                                         const std::string& certificates);
std::unique_ptr<BenchClient> ConnectNative(const std::string& address,
                                           const std::string& certificates);

}  // namespace CmnSys::Bench

#endif  // CMNSYS_BENCH_RPC_PEERS_H_
