#include <future>
#include <optional>
#include <stdexcept>
#include <utility>

#include "CmnSys/Rpc/Channel.h"
#include "CmnSys/Rpc/ClientController.h"
#include "CmnSys/Rpc/Server.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "rpc/peers.h"

namespace CmnSys::Bench {

namespace {

using google::protobuf::Closure;
using google::protobuf::RpcController;
using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;

// About what a notification counts in the queue of a subscriber.
constexpr std::size_t kQueuedBytes = 512;

std::optional<Rpc::TlsFiles> Tls(const std::string& certificates, const std::string& who) {
  if (certificates.empty()) return std::nullopt;
  const std::string path = certificates + "/" + who;
  return Rpc::TlsFiles{certificates + "/ca.pem", path + ".pem", path + ".key"};
}

class QueryService final : public SvcQuery::Query {
 public:
  explicit QueryService(QueryResult result) : result_(std::move(result)) {}

  void Initiate(RpcController* /*controller*/, const SvcQuery::InitiateReq* request,
                SvcQuery::InitiateRsp* response, Closure* done) override {
    *response->mutable_query_result()->mutable_gid() = request->query().gid();
    response->set_b_continue(true);
    done->Run();
  }

  void Continue(RpcController* /*controller*/, const SvcQuery::ContinueReq* /*request*/,
                SvcQuery::ContinueRsp* response, Closure* done) override {
    *response->mutable_query_result() = result_;
    done->Run();
  }

 private:
  const QueryResult result_;
};

class OurServer final : public BenchServer {
 public:
  OurServer(const std::string& certificates, const QueryResult& result)
      : query_(result), server_(Options(certificates)) {
    server_.Register(&query_);
    Rpc::PublisherOptions options;
    options.max_queued_bytes = kMostWaiting * kQueuedBytes;
    publisher_.emplace(server_.AddPublisher<EventNotificationSubscribeReq, Notification>(
        "CmnSys.Bench.Push", "Subscribe", options));
    server_.Start();
  }

  std::string Address() const override { return server_.Addresses().front(); }

  void Publish(const Notification& notification) override {
    publisher_->Publish(notification, {}, kCallTimeout);
  }

  void EndAll() override { (*publisher_)->EndAll({}); }

 private:
  static Rpc::ServerOptions Options(const std::string& certificates) {
    Rpc::ServerOptions options;
    options.addresses = {"127.0.0.1:0"};
    options.tls = Tls(certificates, "server");
    return options;
  }

  QueryService query_;
  Rpc::Server server_;
  std::optional<Rpc::TypedPublisher<EventNotificationSubscribeReq, Notification>> publisher_;
};

class OurClient final : public BenchClient {
 public:
  OurClient(const std::string& address, const std::string& certificates)
      : channel_(address, Options(certificates)) {}

  void Initiate(const SvcQuery::InitiateReq& request, SvcQuery::InitiateRsp* response) override {
    Rpc::ClientController controller;
    controller.SetTimeout(kCallTimeout);
    stub_.Initiate(&controller, &request, response, nullptr);
    if (controller.Failed()) throw std::runtime_error(controller.ErrorText());
  }

  void Continue(const SvcQuery::ContinueReq& request, SvcQuery::ContinueRsp* response) override {
    Rpc::ClientController controller;
    controller.SetTimeout(kCallTimeout);
    stub_.Continue(&controller, &request, response, nullptr);
    if (controller.Failed()) throw std::runtime_error(controller.ErrorText());
  }

  void Receive(const std::function<void()>& active,
               const std::function<void(const Notification&)>& received) override {
    std::promise<Rpc::Status> ended;
    Rpc::SubscriptionHandlerOf<Notification> handler;
    handler.on_active = active;
    handler.on_message = received;
    handler.on_end = [&](const Rpc::Status& status) { ended.set_value(status); };
    const auto subscription = channel_.Subscribe<Notification>(
        "CmnSys.Bench.Push/Subscribe", EventNotificationSubscribeReq(), handler);
    const Rpc::Status status = ended.get_future().get();
    if (!status.Ok()) throw std::runtime_error(status.text);
  }

 private:
  static Rpc::ChannelOptions Options(const std::string& certificates) {
    Rpc::ChannelOptions options;
    options.tls = Tls(certificates, "client");
    return options;
  }

  Rpc::Channel channel_;
  SvcQuery::Query_Stub stub_{&channel_};
};

}  // namespace

std::unique_ptr<BenchServer> StartOurs(const std::string& certificates, const QueryResult& result) {
  return std::make_unique<OurServer>(certificates, result);
}

std::unique_ptr<BenchClient> ConnectOurs(const std::string& address,
                                         const std::string& certificates) {
  return std::make_unique<OurClient>(address, certificates);
}

}  // namespace CmnSys::Bench
