// A server that a test runs in a process of its own and kills. Usage: NAME ADDRESS CERTIFICATES
// Prints the address that it listens on. Initiate answers with the name; for a query named "hang"
// never, for "crash" by ending the process. Without certificates ("") it speaks plaintext.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "CmnSys/Rpc/Server.h"
#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"

namespace {

namespace Rpc = CmnSys::Rpc;
namespace SvcQuery = Pb::Rpc::SvcQuery;
using Pb::CmnSys::Notifications::Notification;

class Service final : public SvcQuery::Query {
 public:
  explicit Service(std::string name) : name_(std::move(name)) {}
  void Initiate(google::protobuf::RpcController*, const SvcQuery::InitiateReq* request,
                SvcQuery::InitiateRsp* response, google::protobuf::Closure* done) override {
    const std::string& query = request->query().gid().id();
    if (query == "crash") std::_Exit(1);
    if (query == "hang") return;
    response->mutable_query_result()->mutable_gid()->set_id(name_);
    done->Run();
  }

 private:
  const std::string name_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  Rpc::ServerOptions options;
  options.addresses = {argv[2]};
  const std::string folder = argv[3];
  if (!folder.empty()) {
    options.tls = Rpc::TlsFiles{folder + "/ca.pem", folder + "/server.pem", folder + "/server.key"};
  }
  Service service(argv[1]);
  Rpc::Server server(options);
  server.Register(&service);
  Rpc::PublisherOptions publisher_options;
  publisher_options.service = "Test.Ticks";
  publisher_options.method = "Subscribe";
  publisher_options.request_prototype =
      &Pb::Rpc::SvcEvents::EventNotificationSubscribeReq::default_instance();
  Rpc::Publisher* publisher = server.AddPublisher(publisher_options);
  server.Start();
  std::cout << server.Addresses().front() << std::endl;
  Notification tick;
  for (std::uint64_t i = 1;; ++i) {
    tick.set_timestamp_ms(i);
    tick.mutable_gid()->set_id(argv[1]);
    publisher->Publish(tick);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}
