// What the tests of rpc/ share: a query service whose Initiate is a function of the test's, a
// server for it on loopback, and short ways to call it.

#ifndef CMNSYS_TESTS_RPC_FIXTURE_H_
#define CMNSYS_TESTS_RPC_FIXTURE_H_

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>

#include "CmnSys/Rpc/Channel.h"
#include "CmnSys/Rpc/ClientController.h"
#include "CmnSys/Rpc/Server.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"
#include "support/files.h"

namespace CmnSys::Rpc {

// For failure messages of the tests.
inline void PrintTo(StatusCode code, std::ostream* out) { *out << StatusCodeName(code); }

}  // namespace CmnSys::Rpc

namespace CmnSys::Test {

using google::protobuf::Closure;
using Pb::Rpc::SvcQuery::InitiateReq;
using Pb::Rpc::SvcQuery::InitiateRsp;
using Rpc::StatusCode;
using std::chrono::milliseconds;

// A closure that runs a function and deletes itself.
Closure* NewClosure(std::function<void()> function);

// Something that happens once and can be waited for; Wait() is false when it takes too long.
class Signal {
 public:
  void Set() { promise_.set_value(); }
  bool Wait() { return future_.wait_for(std::chrono::seconds(30)) == std::future_status::ready; }
  bool IsSet() const { return future_.wait_for(milliseconds(0)) == std::future_status::ready; }

 private:
  std::promise<void> promise_;
  std::shared_future<void> future_ = promise_.get_future().share();
};

// Waits until a condition holds; false when it takes too long.
bool Eventually(const std::function<bool()>& condition);

class QueryService : public Pb::Rpc::SvcQuery::Query {
 public:
  using Method = std::function<void(Rpc::ServerController* controller, const InitiateReq& request,
                                    InitiateRsp* response, Closure* done)>;
  // Continue and Abort are not implemented.
  explicit QueryService(Method initiate) : initiate_(std::move(initiate)) {}

  void Initiate(google::protobuf::RpcController* controller, const InitiateReq* request,
                InitiateRsp* response, Closure* done) override {
    initiate_(dynamic_cast<Rpc::ServerController*>(controller), *request, response, done);
  }

 private:
  Method initiate_;
};

// Answers at once, with the request's query in the response.
QueryService::Method Echo();
// Fails at once.
QueryService::Method FailWith(const std::string& text);

// What the last call's controller said of it.
class SeenInfo {
 public:
  // Notes it and answers at once.
  QueryService::Method Method();
  Rpc::CallInfo Get() const {
    const std::lock_guard lock(mutex_);
    return info_;
  }

 private:
  mutable std::mutex mutex_;
  Rpc::CallInfo info_;
};

// A server with a query service on any free port of 127.0.0.1.
class LoopbackServer {
 public:
  explicit LoopbackServer(QueryService::Method initiate, Rpc::ServerOptions options = {});

  Rpc::Server& operator*() { return *server_; }
  Rpc::Server* operator->() { return server_.get(); }
  std::string address() const { return server_->Addresses().front(); }

 private:
  QueryService service_;
  std::unique_ptr<Rpc::Server> server_;
};

struct Result {
  StatusCode code = StatusCode::kOk;
  std::string text;
  InitiateRsp response;
};

// Calls Initiate and waits. With a controller its settings are used.
Result Call(Rpc::Channel* channel, const InitiateReq& request = {},
            Rpc::ClientController* controller = nullptr);
Result CallWithTimeout(Rpc::Channel* channel, milliseconds timeout);

// A request that carries this text.
InitiateReq RequestWith(const std::string& text);
std::string TextIn(const InitiateRsp& response);

// The files that examples/make-certificates.sh makes.
class Certificates {
 public:
  Certificates();

  Rpc::TlsFiles Server() const { return Files("server"); }
  Rpc::TlsFiles Client() const { return Files("client"); }
  std::string PathOf(const std::string& name) const { return folder_.PathOf(name); }

 private:
  Rpc::TlsFiles Files(const std::string& name) const;

  TemporaryFolder folder_;
};

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_RPC_FIXTURE_H_
