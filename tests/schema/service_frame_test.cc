// What must hold of every service: which method an index reaches, and what an unimplemented one
// does.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "CmnSys/Util/Schema.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcAlarms.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcBackupRpc.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcClusterMgmt.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcConsole.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDefault.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDeviceMgmt.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDirectory.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEmailRpc.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcExternalNotifierRpc.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcLogin.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcNodes.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcPackages.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcRecorder.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcRules.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcSettingsExpImp.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcSharedView.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcSiteViews.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcTextTransact.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcTimeline.pb.h"
#include "support/calls.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;
using google::protobuf::Service;
using google::protobuf::ServiceDescriptor;

// Generated service classes have no registry, so this table stands in for one.
struct ServiceClass {
  const ServiceDescriptor* descriptor;
  std::unique_ptr<Service> (*new_server)();  // Overrides no method.
  std::unique_ptr<Service> (*new_stub)(google::protobuf::RpcChannel* channel);
};

template <typename Class>
ServiceClass Entry() {
  class EmptyServer : public Class {};
  return {Class::descriptor(), [] { return std::unique_ptr<Service>(new EmptyServer); },
          [](google::protobuf::RpcChannel* channel) {
            return std::unique_ptr<Service>(new typename Class::Stub(channel));
          }};
}

template <typename... Classes>
std::vector<ServiceClass> Entries() {
  return {Entry<Classes>()...};
}

std::vector<ServiceClass> AllServices() {
  return Entries<Pb::Rpc::Client::SvcAlarms::Alarms, Pb::Rpc::SvcBackupRpc::BackupRpc,
                 Pb::Rpc::SvcClusterMgmt::ClusterMgmt, Pb::Rpc::SvcConsole::Console,
                 Pb::Rpc::SvcDefault::Default, Pb::Rpc::SvcDeviceMgmt::DeviceMgmt,
                 Pb::Rpc::SvcDirectory::Directory, Pb::Rpc::SvcEmailRpc::EmailRpc,
                 Pb::Rpc::SvcEvents::EventsRpc,
                 Pb::Rpc::SvcExternalNotifierRpc::ExternalNotifierRpc, Pb::Rpc::SvcLogin::Login,
                 Pb::Rpc::SvcNodes::Nodes, Pb::Rpc::SvcPackages::Packages, Pb::Rpc::SvcQuery::Query,
                 Pb::CmnSys::SvcRecorder::Recorder, Pb::Rpc::Client::SvcRules::Rules,
                 Pb::Rpc::SvcSettingsExpImp::SettingsExpImp, Pb::Rpc::SvcSharedView::SharedView,
                 Pb::Rpc::SvcSiteViews::SiteViews, Pb::Rpc::Client::SvcTextTransact::TextTransact,
                 Pb::CmnSys::SvcTimeline::Timeline>();
}

// Every method of every service, with a server that overrides nothing.
template <typename Check>
void ForEachMethod(Check check) {
  for (const ServiceClass& service : AllServices()) {
    const std::unique_ptr<Service> server = service.new_server();
    for (int i = 0; i < service.descriptor->method_count(); ++i) {
      SCOPED_TRACE(service.descriptor->method(i)->full_name());
      check(service, server.get(), service.descriptor->method(i));
    }
  }
}

const Message* Prototype(const google::protobuf::Descriptor* type) {
  return google::protobuf::MessageFactory::generated_factory()->GetPrototype(type);
}

using Call =
    std::tuple<const MethodDescriptor*, RpcController*, const Message*, Message*, Closure*>;

class RecordingChannel : public google::protobuf::RpcChannel {
 public:
  void CallMethod(const MethodDescriptor* method, RpcController* controller, const Message* request,
                  Message* response, Closure* done) override {
    calls.emplace_back(method, controller, request, response, done);
  }

  std::vector<Call> calls;
};

TEST(AllServicesTable, NamesEveryServiceOfTheSchema) {
  std::set<const ServiceDescriptor*> in_schema;
  for (const auto* file : Util::SchemaFiles()) {
    for (int i = 0; i < file->service_count(); ++i) in_schema.insert(file->service(i));
  }
  std::set<const ServiceDescriptor*> in_table;
  for (const ServiceClass& service : AllServices()) in_table.insert(service.descriptor);
  EXPECT_EQ(in_table, in_schema);
}

TEST(ServiceClasses, DispatchAnIndexToTheMethodOfThatNameWhichFailsTheCallAndRunsTheClosureOnce) {
  ForEachMethod([](const ServiceClass&, Service* server, const MethodDescriptor* method) {
    EXPECT_EQ(&server->GetRequestPrototype(method), Prototype(method->input_type()));
    EXPECT_EQ(&server->GetResponsePrototype(method), Prototype(method->output_type()));
    TestController controller;
    CountingClosure done;
    const std::unique_ptr<Message> request(server->GetRequestPrototype(method).New());
    const std::unique_ptr<Message> response(server->GetResponsePrototype(method).New());
    server->CallMethod(method, &controller, request.get(), response.get(), &done);
    EXPECT_TRUE(controller.Failed());
    EXPECT_EQ(controller.ErrorText(), "Method " + method->name() + "() not implemented.");
    EXPECT_EQ(done.runs, 1);
  });
}

// A stub is a service too, so its dispatcher reaches the typed method that the channel is to get.
TEST(Stubs, HandTheMethodOfTheirIndexAndAllArgumentsToTheChannel) {
  ForEachMethod([](const ServiceClass& service, Service*, const MethodDescriptor* method) {
    RecordingChannel channel;
    const std::unique_ptr<Service> stub = service.new_stub(&channel);
    TestController controller;
    CountingClosure done;
    const std::unique_ptr<Message> request(Prototype(method->input_type())->New());
    const std::unique_ptr<Message> response(Prototype(method->output_type())->New());
    stub->CallMethod(method, &controller, request.get(), response.get(), &done);

    EXPECT_EQ(channel.calls,
              (std::vector<Call>{{method, &controller, request.get(), response.get(), &done}}));
    EXPECT_EQ(done.runs, 0);
    EXPECT_FALSE(controller.Failed());
  });
}

}  // namespace
}  // namespace CmnSys::Test
