#include "fixture.h"

#include <stdexcept>
#include <thread>

#include "support/process.h"

namespace CmnSys::Test {

namespace {

class FunctionClosure final : public Closure {
 public:
  explicit FunctionClosure(std::function<void()> function) : function_(std::move(function)) {}
  void Run() override {
    const std::unique_ptr<FunctionClosure> self(this);
    function_();
  }

 private:
  std::function<void()> function_;
};

Rpc::ServerOptions OnLoopback(Rpc::ServerOptions options) {
  if (options.addresses.empty()) options.addresses = {"127.0.0.1:0"};
  return options;
}

}  // namespace

Closure* NewClosure(std::function<void()> function) {
  return new FunctionClosure(std::move(function));
}

bool Eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(2));
  }
  return true;
}

QueryService::Method Echo() {
  return
      [](Rpc::ServerController*, const InitiateReq& request, InitiateRsp* response, Closure* done) {
        response->mutable_query_result()->mutable_gid()->CopyFrom(request.query().gid());
        response->set_b_continue(true);
        done->Run();
      };
}

QueryService::Method FailWith(const std::string& text) {
  return
      [text](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        controller->SetFailed(text);
        done->Run();
      };
}

QueryService::Method SeenInfo::Method() {
  return
      [this](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        {
          const std::lock_guard lock(mutex_);
          info_ = controller->Info();
        }
        done->Run();
      };
}

LoopbackServer::LoopbackServer(QueryService::Method initiate, Rpc::ServerOptions options)
    : service_(std::move(initiate)),
      server_(std::make_unique<Rpc::Server>(OnLoopback(std::move(options)))) {
  server_->Register(&service_);
  server_->Start();
}

Result Call(Rpc::Channel* channel, const InitiateReq& request, Rpc::ClientController* controller) {
  Rpc::ClientController own;
  if (controller == nullptr) controller = &own;
  Result result;
  Pb::Rpc::SvcQuery::Query_Stub(channel).Initiate(controller, &request, &result.response, nullptr);
  result.code = controller->Code();
  result.text = controller->ErrorText();
  EXPECT_EQ(controller->Failed(), result.code != StatusCode::kOk);
  return result;
}

Result CallWithTimeout(Rpc::Channel* channel, milliseconds timeout) {
  Rpc::ClientController controller;
  controller.SetTimeout(timeout);
  return Call(channel, {}, &controller);
}

InitiateReq RequestWith(const std::string& text) {
  InitiateReq request;
  request.mutable_query()->mutable_gid()->set_id(text);
  return request;
}

std::string TextIn(const InitiateRsp& response) { return response.query_result().gid().id(); }

Certificates::Certificates() {
  const ProcessResult made = Run({CMNSYS_EXAMPLES "/make-certificates.sh", folder_.path()});
  if (made.status != 0) throw std::runtime_error("no certificates: " + made.errors);
}

Rpc::TlsFiles Certificates::Files(const std::string& name) const {
  Rpc::TlsFiles files;
  files.ca_file = PathOf("ca.pem");
  files.certificate_file = PathOf(name + ".pem");
  files.key_file = PathOf(name + ".key");
  files.reload_interval = std::chrono::seconds(1);
  return files;
}

}  // namespace CmnSys::Test
