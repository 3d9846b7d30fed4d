// What the calls of one server share. It lives until the last of them is gone, which can be after
// the server.

#ifndef CMNSYS_RPC_SRC_SERVER_CORE_H_
#define CMNSYS_RPC_SRC_SERVER_CORE_H_

#include <google/protobuf/message.h>
#include <google/protobuf/service.h>
#include <grpcpp/server_context.h>

#include <atomic>
#include <deque>
#include <functional>
#include <string>
#include <utility>

#include "CmnSys/Rpc/Server.h"
#include "common/completion.h"
#include "server/raw_service.h"
#include "server/worker_pool.h"

namespace CmnSys::Rpc {

// A unary method that the server offers.
struct UnaryMethod {
  std::string service;
  std::string name;
  const google::protobuf::Message* request = nullptr;
  const google::protobuf::Message* response = nullptr;
  std::function<void(google::protobuf::RpcController*, const google::protobuf::Message*,
                     google::protobuf::Message*, google::protobuf::Closure*)>
      run;
  bool authorize = true;
  RawService* raw_service = nullptr;
  int index = 0;
};

struct ServerCore {
  explicit ServerCore(ServerOptions server_options)
      : options(std::move(server_options)), workers(options.workers, options.max_workers) {}

  const ServerOptions options;
  std::deque<UnaryMethod> methods;
  OperationGate gate;
  WorkerPool workers;
  // Runs the closures of NotifyOnCancel: a pool of its own, because service methods that wait for
  // a cancellation may occupy all workers.
  WorkerPool notifiers{1, 4};
  std::atomic<int> calls{0};
};

CallInfo MakeCallInfo(const std::string& service, const std::string& method,
                      const grpc::ServerContext& context);

// Asks ServerOptions::authorize; an exception refuses.
Status Authorize(const ServerOptions& options, const CallInfo& info);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_SERVER_CORE_H_
