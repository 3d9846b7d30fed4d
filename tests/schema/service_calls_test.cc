// Whole conversations through stub, channel and dispatcher, with every message sent as bytes.

#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "ProtoBuf/CmnSys/CmnSys.SvcEmailRpc.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcLogin.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcRecorder.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcTextTransact.pb.h"
#include "support/calls.h"

namespace CmnSys::Test {
namespace {

namespace LoginTypes = Pb::CmnSys::Login;
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

// A server of its own for each service, a stub that reaches it, and what each call needs.
template <typename Server, typename Stub>
class Conversation {
 public:
  // The response to one call; the call must run its closure once.
  template <typename Request, typename Response>
  Response Call(void (Stub::*method)(RpcController*, const Request*, Response*, Closure*),
                const Request& request) {
    controller_.Reset();
    CountingClosure done;
    Response response;
    (stub_.*method)(&controller_, &request, &response, &done);
    EXPECT_EQ(done.runs, 1);
    return response;
  }

  std::string Error() const { return controller_.ErrorText(); }

 private:
  Server server_;
  WireChannel channel_{&server_};
  Stub stub_{&channel_};
  TestController controller_;
};

const std::string kToken = "\0token\xff\0"s;

// Offers two kinds of authentication, and ends each step unless the client did as it should.
class LoginServer : public SvcLogin::Login {
 public:
  void Initiate(RpcController* /*controller*/, const SvcLogin::InitiateReq* /*request*/,
                SvcLogin::InitiateRsp* response, Closure* done) override {
    response->set_login_token(kToken);
    response->add_params()->set_type(LoginTypes::AUTH_TYPE_SALTED);
    response->mutable_params(0)->mutable_salted()->set_iterations(4096);
    response->add_params()->set_type(LoginTypes::AUTH_TYPE_SSO);
    response->mutable_params(1)->mutable_sso()->set_requirekerberos(true);
    done->Run();
  }

  void Authenticate(RpcController* controller, const SvcLogin::AuthenticateReq* request,
                    SvcLogin::AuthenticateRsp* response, Closure* done) override {
    // The kinds have other field numbers here than in the offer.
    if (request->login_token() == kToken && request->params().has_salted() &&
        !request->params().has_sso()) {
      response->mutable_user_gid()->set_id("user-7");
      response->add_group_gids()->set_id("operators");
      response->add_group_gids()->set_id("night shift");
    } else {
      controller->SetFailed("not authenticated");
    }
    done->Run();
  }

  void Finalize(RpcController* /*controller*/, const SvcLogin::FinalizeReq* request,
                SvcLogin::FinalizeRsp* response, Closure* done) override {
    // The last session that the user wants ended names the new one, so that its order is seen.
    response->mutable_session()->set_session_id(
        request->sessions_to_logout(request->sessions_to_logout_size() - 1));
    done->Run();
  }

  void Logout(RpcController* /*controller*/, const SvcLogin::LogoutReq* /*request*/,
              SvcLogin::LogoutRsp* /*response*/, Closure* done) override {
    done->Run();
  }
};

TEST(LoginService, LeadsFromTheOfferToTheSession) {
  Conversation<LoginServer, SvcLogin::Login_Stub> login;
  const auto offer = login.Call(&SvcLogin::Login_Stub::Initiate, SvcLogin::InitiateReq());
  EXPECT_EQ(offer.login_token(), kToken);
  ASSERT_EQ(offer.params_size(), 2);
  EXPECT_EQ(offer.params(0).salted().iterations(), 4096U);
  EXPECT_TRUE(offer.params(1).sso().requirekerberos());

  SvcLogin::AuthenticateReq authenticate;
  authenticate.set_login_token(offer.login_token());
  authenticate.mutable_params()->mutable_sso();
  login.Call(&SvcLogin::Login_Stub::Authenticate, authenticate);
  EXPECT_EQ(login.Error(), "not authenticated");

  authenticate.mutable_params()->clear_sso();
  authenticate.mutable_params()->mutable_salted();
  const auto user = login.Call(&SvcLogin::Login_Stub::Authenticate, authenticate);
  EXPECT_EQ(login.Error(), "");
  EXPECT_EQ(user.user_gid().id(), "user-7");
  ASSERT_EQ(user.group_gids_size(), 2);
  EXPECT_EQ(user.group_gids(1).id(), "night shift");

  SvcLogin::FinalizeReq finalize;
  finalize.add_sessions_to_logout("\x01\0"s);
  finalize.add_sessions_to_logout("\x02\0"s);
  EXPECT_EQ(login.Call(&SvcLogin::Login_Stub::Finalize, finalize).session().session_id(),
            "\x02\0"s);

  login.Call(&SvcLogin::Login_Stub::Logout, SvcLogin::LogoutReq());
  EXPECT_EQ(login.Error(), "");
  login.Call(&SvcLogin::Login_Stub::ForceLogout, SvcLogin::ForceLogoutReq());
  EXPECT_EQ(login.Error(), "Method ForceLogout() not implemented.");
}

// Answers with what it was sent, so that a field that went astray shows.
class TextTransactServer : public SvcTextTransact::TextTransact {
 public:
  void StartCapture(RpcController* /*controller*/, const SvcTextTransact::StartCaptureReq* request,
                    SvcTextTransact::StartCaptureRsp* response, Closure* done) override {
    response->set_capture_id(
        static_cast<std::uint32_t>(request->capture_settings().code_page_alias().size()));
    done->Run();
  }
  void StopCapture(RpcController* /*controller*/, const SvcTextTransact::StopCaptureReq* request,
                   SvcTextTransact::StopCaptureRsp* response, Closure* done) override {
    response->set_capture_id(request->capture_id());
    done->Run();
  }
  void InitiateTtxSetup(RpcController* /*controller*/,
                        const SvcTextTransact::InitiateTtxSetupReq* request,
                        SvcTextTransact::InitiateTtxSetupRsp* response, Closure* done) override {
    response->set_text_source_id(request->text_source_id());
    response->set_device_id(request->endpoint().host());
    done->Run();
  }
  void FinishTtxSetup(RpcController* controller, const SvcTextTransact::FinishTtxSetupReq* request,
                      SvcTextTransact::FinishTtxSetupRsp* /*response*/, Closure* done) override {
    if (!request->has_disconnect()) controller->SetFailed("disconnect is not set");
    done->Run();
  }
  void GetAvailableCodePages(RpcController* /*controller*/,
                             const SvcTextTransact::GetAvailableCodePagesReq* /*request*/,
                             SvcTextTransact::GetAvailableCodePagesRsp* response,
                             Closure* done) override {
    response->add_codepages()->set_alias("cp852");
    response->add_codepages()->set_friendly_name("Western");
    done->Run();
  }
  void ConvertFromCodePage(RpcController* /*controller*/,
                           const SvcTextTransact::ConvertFromCodePageReq* request,
                           SvcTextTransact::ConvertFromCodePageRsp* response,
                           Closure* done) override {
    response->set_data(request->code_page_alias() + ":" + request->code_page_data());
    done->Run();
  }
  void ConvertToCodePage(RpcController* /*controller*/,
                         const SvcTextTransact::ConvertToCodePageReq* request,
                         SvcTextTransact::ConvertToCodePageRsp* response, Closure* done) override {
    response->set_code_page_data(request->code_page_alias() + ":" + request->data());
    done->Run();
  }
};

TEST(TextTransactService, CarriesEachMethodsFieldsThereAndBack) {
  using Stub = SvcTextTransact::TextTransact_Stub;
  Conversation<TextTransactServer, Stub> service;

  SvcTextTransact::StartCaptureReq start;
  start.mutable_capture_settings()->set_code_page_alias("cp852");
  EXPECT_EQ(service.Call(&Stub::StartCapture, start).capture_id(), 5U);

  SvcTextTransact::StopCaptureReq stop;
  stop.set_capture_id(4294967295U);
  EXPECT_EQ(service.Call(&Stub::StopCapture, stop).capture_id(), 4294967295U);

  SvcTextTransact::InitiateTtxSetupReq initiate;
  initiate.set_text_source_id("\0\x80"s);
  initiate.mutable_endpoint()->set_host("till-2");
  const auto initiated = service.Call(&Stub::InitiateTtxSetup, initiate);
  EXPECT_EQ(initiated.text_source_id(), "\0\x80"s);
  EXPECT_EQ(initiated.device_id(), "till-2");

  // False and unset are not the same.
  SvcTextTransact::FinishTtxSetupReq finish;
  service.Call(&Stub::FinishTtxSetup, finish);
  EXPECT_EQ(service.Error(), "disconnect is not set");
  finish.set_disconnect(false);
  service.Call(&Stub::FinishTtxSetup, finish);
  EXPECT_EQ(service.Error(), "");

  const auto pages = service.Call(&Stub::GetAvailableCodePages, {});
  ASSERT_EQ(pages.codepages_size(), 2);
  EXPECT_EQ(pages.codepages(0).alias(), "cp852");
  EXPECT_EQ(pages.codepages(1).friendly_name(), "Western");

  SvcTextTransact::ConvertFromCodePageReq from;
  from.set_code_page_alias("cp852");
  from.set_code_page_data("total");
  EXPECT_EQ(service.Call(&Stub::ConvertFromCodePage, from).data(), "cp852:total");
  SvcTextTransact::ConvertToCodePageReq to;
  to.set_code_page_alias("cp852");
  to.set_data("sum");
  EXPECT_EQ(service.Call(&Stub::ConvertToCodePage, to).code_page_data(), "cp852:sum");
}

class EmailServer : public SvcEmailRpc::EmailRpc {
 public:
  void SendTestEmail(RpcController* /*controller*/, const SvcEmailRpc::SendTestEmailReq* request,
                     SvcEmailRpc::SendTestEmailRsp* response, Closure* done) override {
    if (request->emailmesssage().to_list_size() == 0) {
      response->set_error(-1);
    } else {
      response->set_error(static_cast<int>(request->smtpsettings().server_port()));
    }
    done->Run();
  }
};

TEST(EmailService, CarriesSettingsAndNegativeErrors) {
  using Stub = SvcEmailRpc::EmailRpc_Stub;
  Conversation<EmailServer, Stub> service;
  SvcEmailRpc::SendTestEmailReq request;
  EXPECT_EQ(service.Call(&Stub::SendTestEmail, request).error(), -1);
  request.mutable_emailmesssage()->add_to_list("guard@example.com");
  EXPECT_EQ(service.Call(&Stub::SendTestEmail, request).error(), 0);
  request.mutable_smtpsettings()->set_server_port(587);
  EXPECT_EQ(service.Call(&Stub::SendTestEmail, request).error(), 587);
}

// All three methods take and return the same message type.
class RecorderServer : public SvcRecorder::Recorder {
 public:
  void Start(RpcController* /*controller*/, const SvcRecorder::RecordList* request,
             SvcRecorder::RecordList* response, Closure* done) override {
    recording_.MergeFrom(*request);
    *response = *request;
    done->Run();
  }
  void Stop(RpcController* /*controller*/, const SvcRecorder::RecordList* /*request*/,
            SvcRecorder::RecordList* response, Closure* done) override {
    recording_.Swap(response);
    recording_.Clear();
    done->Run();
  }
  void Get(RpcController* /*controller*/, const SvcRecorder::RecordList* /*request*/,
           SvcRecorder::RecordList* response, Closure* done) override {
    *response = recording_;
    done->Run();
  }

 private:
  SvcRecorder::RecordList recording_;
};

TEST(RecorderService, UsesOneMessageBothWays) {
  using Stub = SvcRecorder::Recorder_Stub;
  Conversation<RecorderServer, Stub> service;
  EXPECT_EQ(service.Call(&Stub::Get, {}).devices_size(), 0);

  SvcRecorder::RecordList devices;
  devices.add_devices("gate-2");
  devices.add_devices("gate-1");
  devices.add_devices("gate-2");
  EXPECT_EQ(service.Call(&Stub::Start, devices).ShortDebugString(), devices.ShortDebugString());
  EXPECT_EQ(service.Call(&Stub::Get, {}).ShortDebugString(), devices.ShortDebugString());
  EXPECT_EQ(service.Call(&Stub::Stop, {}).devices_size(), 3);
  EXPECT_EQ(service.Call(&Stub::Get, {}).devices_size(), 0);
}

}  // namespace
}  // namespace CmnSys::Test
