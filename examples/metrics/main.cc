// A server whose doings Prometheus can collect, and a client that makes two calls within one trace.
// Prints the metrics; with an address, serves them there until Enter is pressed.

#include <prometheus/exposer.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "CmnSys/Rpc/Channel.h"
#include "CmnSys/Rpc/ClientController.h"
#include "CmnSys/Rpc/Server.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"
#include "server_metrics.h"
#include "trace_context.h"

namespace MetricsExample {
namespace {

namespace Rpc = CmnSys::Rpc;
namespace SvcQuery = Pb::Rpc::SvcQuery;

// Tells the trace of each call; Continue is left unimplemented.
class TracedQuery final : public SvcQuery::Query {
 public:
  void Initiate(google::protobuf::RpcController* controller, const SvcQuery::InitiateReq* request,
                SvcQuery::InitiateRsp* response, google::protobuf::Closure* done) override {
    auto* call = dynamic_cast<Rpc::ServerController*>(controller);
    const std::optional<TraceContext> trace = TraceOf(call->Info());
    std::clog << "trace " << (trace ? trace->trace_id : "unknown") << "\n";
    *response->mutable_query_result()->mutable_gid() = request->query().gid();
    done->Run();
  }
};

void Run(const std::string& expose_at) {
  prometheus::Registry registry;
  Rpc::ServerOptions options;
  options.addresses = {"127.0.0.1:0"};
  options.observer = std::make_shared<CallMetrics>(&registry);
  TracedQuery query;
  Rpc::Server server(options);
  server.Register(&query);
  server.Start();
  ServerGauges gauges([&server] { return server.Counters(); });

  Rpc::Channel channel(server.Addresses().front());
  SvcQuery::Query_Stub stub(&channel);
  const TraceContext trace = NewTrace();
  Rpc::ClientController controller;
  SetTrace(ChildOf(trace), &controller);
  SvcQuery::InitiateRsp batch;
  stub.Initiate(&controller, &SvcQuery::InitiateReq::default_instance(), &batch, nullptr);
  controller.Reset();
  SetTrace(ChildOf(trace), &controller);
  SvcQuery::ContinueRsp next;
  stub.Continue(&controller, &SvcQuery::ContinueReq::default_instance(), &next, nullptr);

  if (expose_at.empty()) {
    server.Shutdown();
    const prometheus::TextSerializer text;
    std::cout << text.Serialize(registry.Collect()) << text.Serialize(gauges.Collect());
    return;
  }
  prometheus::Exposer exposer(expose_at);
  const std::shared_ptr<prometheus::Collectable> families[] = {{&registry, [](auto*) {}},
                                                               {&gauges, [](auto*) {}}};
  for (const auto& family : families) exposer.RegisterCollectable(family);
  std::cout << "http://" << expose_at << "/metrics, until Enter is pressed" << std::endl;
  std::cin.get();
}

}  // namespace
}  // namespace MetricsExample

int main(int argc, char** argv) {
  if (argc > 2) {
    std::cerr << "usage: metrics_example [ADDRESS:PORT]\n";
    return 2;
  }
  try {
    MetricsExample::Run(argc == 2 ? argv[1] : "");
  } catch (const std::exception& error) {
    std::cerr << "metrics_example: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
