// Whole conversations through stub, channel and dispatcher, with every message sent as bytes.

#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.SvcEmailRpc.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcLogin.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcRecorder.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcTextTransact.pb.h"
#include "support/calls.h"

namespace CmnSys::Test {
namespace {

namespace SvcEmailRpc = Pb::Rpc::SvcEmailRpc;
namespace SvcLogin = Pb::Rpc::SvcLogin;
namespace SvcRecorder = Pb::CmnSys::SvcRecorder;
namespace SvcTextTransact = Pb::Rpc::Client::SvcTextTransact;
using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::RpcController;
using google::protobuf::Service;
using std::string_literals::operator""s;

// Knows only what a receiver knows: the service, the index of the method, and bytes.
class WireChannel : public google::protobuf::RpcChannel {
 public:
  explicit WireChannel(Service* service) : service_(service) {}

  void CallMethod(const google::protobuf::MethodDescriptor* method, RpcController* controller,
                  const Message* request, Message* response, Closure* done) override {
    const auto* called = service_->GetDescriptor()->method(method->index());
    const std::unique_ptr<Message> received(service_->GetRequestPrototype(called).New());
    const std::unique_ptr<Message> answer(service_->GetResponsePrototype(called).New());
    ASSERT_TRUE(received->ParseFromString(request->SerializeAsString()));
    CountingClosure answered;
    service_->CallMethod(called, controller, received.get(), answer.get(), &answered);
    EXPECT_EQ(answered.runs, 1);
    ASSERT_TRUE(response->ParseFromString(answer->SerializeAsString()));
    done->Run();
  }

 private:
  Service* service_;
};

// The response to one call that a stub makes of this server; it must run its closure once and set
// this error.
template <typename Stub, typename Request, typename Response>
Response Call(Service* server,
              void (Stub::*method)(RpcController*, const Request*, Response*, Closure*),
              const Request& request, const std::string& error = "") {
  WireChannel channel(server);
  Stub stub(&channel);
  TestController controller;
  CountingClosure done;
  Response response;
  (stub.*method)(&controller, &request, &response, &done);
  EXPECT_EQ(done.runs, 1);
  EXPECT_EQ(controller.ErrorText(), error);
  return response;
}

// Lets a user in who brings a token with a NUL and the salted kind of parameters.
class LoginServer : public SvcLogin::Login {
  void Authenticate(RpcController* controller, const SvcLogin::AuthenticateReq* request,
                    SvcLogin::AuthenticateRsp* response, Closure* done) override {
    if (request->login_token() == "\0token\xff\0"s && request->params().has_salted()) {
      response->add_group_gids()->set_id("night shift");
    } else {
      controller->SetFailed("not authenticated");
    }
    done->Run();
  }
};

TEST(LoginService, AnswersWithTheUsersGroupsOrWithTheServersError) {
  LoginServer server;
  SvcLogin::AuthenticateReq request;
  request.set_login_token("\0token\xff\0"s);
  Call(&server, &SvcLogin::Login_Stub::Authenticate, request, "not authenticated");
  request.mutable_params()->mutable_salted();
  const auto user = Call(&server, &SvcLogin::Login_Stub::Authenticate, request);
  ASSERT_EQ(user.group_gids_size(), 1);
  EXPECT_EQ(user.group_gids(0).id(), "night shift");
}

class TextTransactServer : public SvcTextTransact::TextTransact {
  void ConvertFromCodePage(RpcController* /*controller*/,
                           const SvcTextTransact::ConvertFromCodePageReq* request,
                           SvcTextTransact::ConvertFromCodePageRsp* response,
                           Closure* done) override {
    response->set_data(request->code_page_alias() + ":" + request->code_page_data());
    done->Run();
  }
};

TEST(TextTransactService, CarriesCodePageAndDataThereAndTextBack) {
  TextTransactServer server;
  SvcTextTransact::ConvertFromCodePageReq request;
  request.set_code_page_alias("cp852");
  request.set_code_page_data("total");
  const auto converted =
      Call(&server, &SvcTextTransact::TextTransact_Stub::ConvertFromCodePage, request);
  EXPECT_EQ(converted.data(), "cp852:total");
}

class EmailServer : public SvcEmailRpc::EmailRpc {
  void SendTestEmail(RpcController* /*controller*/, const SvcEmailRpc::SendTestEmailReq* request,
                     SvcEmailRpc::SendTestEmailRsp* response, Closure* done) override {
    response->set_error(-static_cast<int>(request->smtpsettings().server_port()));
    done->Run();
  }
};

TEST(EmailService, CarriesSettingsAndNegativeErrors) {
  EmailServer server;
  SvcEmailRpc::SendTestEmailReq request;
  request.mutable_smtpsettings()->set_server_port(587);
  EXPECT_EQ(Call(&server, &SvcEmailRpc::EmailRpc_Stub::SendTestEmail, request).error(), -587);
}

class RecorderServer : public SvcRecorder::Recorder {
  void Start(RpcController* /*controller*/, const SvcRecorder::RecordList* request,
             SvcRecorder::RecordList* response, Closure* done) override {
    *response = *request;
    response->add_devices("gate-1");
    done->Run();
  }
};

TEST(RecorderService, UsesOneMessageBothWays) {
  RecorderServer server;
  SvcRecorder::RecordList devices;
  devices.add_devices("gate-2");
  const SvcRecorder::RecordList started =
      Call(&server, &SvcRecorder::Recorder_Stub::Start, devices);
  devices.add_devices("gate-1");
  EXPECT_EQ(started.ShortDebugString(), devices.ShortDebugString());
}

}  // namespace
}  // namespace CmnSys::Test
