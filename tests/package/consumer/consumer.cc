// A user's program outside the tree: one use of everything that the installed libraries export.

#include <google/protobuf/service.h>

#include <iostream>
#include <string>

#include "CmnSys/Rpc/Status.h"
#include "CmnSys/Util/Schema.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDefault.pb.h"
#include "old_standard.h"

namespace {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;
using Pb::CmnSys::Gid;
using Pb::CmnSys::Events::Event;
using Pb::Rpc::SvcDefault::Default;
using Pb::Rpc::SvcDefault::Default_Stub;
using Pb::Rpc::SvcDefault::GetServicesReq;
using Pb::Rpc::SvcDefault::GetServicesRsp;

int failures = 0;

void Check(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "wrong: " << what << '\n';
  ++failures;
}

void CheckMessagesAndExtensions() {
  Event event;
  event.set_event_type(Pb::CmnSys::Events::EVENT_DEVICE_MOTION_START);
  event.MutableExtension(Pb::CmnSys::Events::event_device_motion_start)->set_device_id("camera");
  Event copy;
  Check(copy.ParseFromString(event.SerializeAsString()), "an event parses");
  Check(copy.GetExtension(Pb::CmnSys::Events::event_device_motion_start).device_id() == "camera",
        "an extension survives");
  Check(copy.unknown_fields().empty(), "the extension is known");
  Check(Event::default_instance().originating_server_gid().type() == Pb::CmnSys::GID_TYPE_UNKNOWN,
        "an unset sub-message reads as the default instance");
}

void CheckNamesAndNumbers() {
  Check(Pb::CmnSys::GidType_IsValid(2) && !Pb::CmnSys::GidType_IsValid(24), "enum: IsValid");
  Check(Pb::CmnSys::GidType_descriptor()->full_name() == "Pb.CmnSys.GidType", "enum: descriptor");
  Check(Pb::CmnSys::GidType_Name(Pb::CmnSys::GID_TYPE_SERVER) == "GID_TYPE_SERVER", "enum: Name");
  Check(Gid::descriptor()->FindFieldByNumber(Gid::kServerIdFieldNumber)->name() == "server_id",
        "a field-number constant");
  Check(AddressOfNestedEnumConstant() != nullptr, "a nested enum constant has an address");
  Check(CmnSys::Util::SchemaFiles().size() == 65, "the utilities see the whole schema");
  Check(CmnSys::Rpc::StatusCodeName(CmnSys::Rpc::StatusCode::kUnavailable) ==
            std::string("UNAVAILABLE"),
        "the RPC library links");
}

class DefaultServer : public Default {
 public:
  void GetServices(RpcController*, const GetServicesReq* request, GetServicesRsp* response,
                   Closure* done) override {
    response->add_services()->set_name(request->types(0));
    done->Run();
  }
};

class ChannelToServer : public google::protobuf::RpcChannel {
 public:
  explicit ChannelToServer(google::protobuf::Service* server) : server_(server) {}
  void CallMethod(const MethodDescriptor* method, RpcController* controller, const Message* request,
                  Message* response, Closure* done) override {
    server_->CallMethod(method, controller, request, response, done);
  }

 private:
  google::protobuf::Service* server_;
};

void CheckServiceAndStub() {
  DefaultServer server;
  ChannelToServer channel(&server);
  Default_Stub stub(&channel);
  GetServicesReq request;
  request.add_types("motion");
  GetServicesRsp response;
  stub.GetServices(nullptr, &request, &response,
                   google::protobuf::NewCallback(&google::protobuf::DoNothing));
  Check(response.services_size() == 1 && response.services(0).name() == "motion",
        "a stub's call reaches the service");
}

}  // namespace

int main() {
  Pb::CmnSys::protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eGid_2eproto();
  CheckMessagesAndExtensions();
  CheckNamesAndNumbers();
  CheckServiceAndStub();
  google::protobuf::ShutdownProtobufLibrary();
  return failures == 0 ? 0 : 1;
}
