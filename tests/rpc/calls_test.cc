// Calls that reach their service: what they carry, and how they fail.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <atomic>
#include <map>
#include <thread>
#include <vector>

#include "CmnSys/Util/Schema.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"
#include "fixture.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Message;
using google::protobuf::MessageFactory;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;
using google::protobuf::Service;
using google::protobuf::ServiceDescriptor;

std::unique_ptr<Message> New(const google::protobuf::Descriptor* type) {
  return std::unique_ptr<Message>(MessageFactory::generated_factory()->GetPrototype(type)->New());
}

// Any service of the schema; a method fails with its own full name.
class NamingService final : public Service {
 public:
  explicit NamingService(const ServiceDescriptor* descriptor) : descriptor_(descriptor) {}
  const ServiceDescriptor* GetDescriptor() override { return descriptor_; }
  void CallMethod(const MethodDescriptor* method, RpcController* controller, const Message*,
                  Message*, Closure* done) override {
    controller->SetFailed(method->full_name());
    done->Run();
  }
  const Message& GetRequestPrototype(const MethodDescriptor* method) const override {
    return *MessageFactory::generated_factory()->GetPrototype(method->input_type());
  }
  const Message& GetResponsePrototype(const MethodDescriptor* method) const override {
    return *MessageFactory::generated_factory()->GetPrototype(method->output_type());
  }

 private:
  const ServiceDescriptor* descriptor_;
};

std::vector<const ServiceDescriptor*> SchemaServices() {
  std::vector<const ServiceDescriptor*> services;
  for (const auto* file : Util::SchemaFiles()) {
    for (int i = 0; i < file->service_count(); ++i) services.push_back(file->service(i));
  }
  return services;
}

TEST(Calls, ReachEveryMethodOfEveryServiceOfTheSchema) {
  Rpc::ServerOptions options;
  options.addresses = {"127.0.0.1:0"};
  Rpc::Server server(options);
  for (const ServiceDescriptor* service : SchemaServices()) {
    server.Register(new NamingService(service), Rpc::Server::kServerOwns);
  }
  server.Start();
  Rpc::Channel channel(server.Addresses().front());
  int methods = 0;
  for (const ServiceDescriptor* service : SchemaServices()) {
    for (int i = 0; i < service->method_count(); ++i, ++methods) {
      const MethodDescriptor* method = service->method(i);
      Rpc::ClientController controller;
      const auto request = New(method->input_type());
      const auto response = New(method->output_type());
      channel.CallMethod(method, &controller, request.get(), response.get(), nullptr);
      EXPECT_EQ(controller.ErrorText(), method->full_name());
    }
  }
  EXPECT_GT(methods, 21);
}

TEST(Calls, GiveTheSameResultBlockingAndWithAClosureThatRunsOnceElsewhere) {
  LoopbackServer server(Echo());
  Rpc::Channel channel(server.address());
  const InitiateReq request = RequestWith("same");
  const Result blocking = Call(&channel, request);
  ASSERT_EQ(blocking.code, StatusCode::kOk) << blocking.text;
  EXPECT_EQ(TextIn(blocking.response), "same");

  constexpr int kCalls = 200;
  struct Slot {
    Rpc::ClientController controller;
    InitiateRsp response;
    std::atomic<int> runs{0};
    std::thread::id thread;
  };
  std::vector<Slot> slots(kCalls);
  std::atomic<int> finished{0};
  Pb::Rpc::SvcQuery::Query_Stub stub(&channel);
  for (Slot& slot : slots) {
    stub.Initiate(&slot.controller, &request, &slot.response, NewClosure([&] {
      slot.thread = std::this_thread::get_id();
      ++slot.runs;
      ++finished;
    }));
  }
  ASSERT_TRUE(Eventually([&] { return finished == kCalls; }));
  for (const Slot& slot : slots) {
    EXPECT_EQ(slot.controller.Code(), blocking.code);
    EXPECT_EQ(slot.response.SerializeAsString(), blocking.response.SerializeAsString());
    EXPECT_EQ(slot.runs, 1);
    EXPECT_NE(slot.thread, std::this_thread::get_id());
  }
}

TEST(Calls, CarryABatchOfAThousandEventsWithTheirExtensions) {
  namespace Events = Pb::CmnSys::Events;
  InitiateRsp batch;
  auto* events = batch.mutable_query_result()->mutable_query_result_recording_events();
  for (int i = 0; i < 1000; ++i) {
    Events::Event* event = events->add_results()->mutable_event();
    event->set_this_id(i);
    if (i % 2 == 0) {
      event->MutableExtension(Events::event_device_connected)
          ->set_device_id("camera " + std::to_string(i));
    } else {
      event->MutableExtension(Events::event_device_digital_input_on)->set_device_id("input");
    }
  }
  LoopbackServer server(
      [&](Rpc::ServerController*, const InitiateReq&, InitiateRsp* response, Closure* done) {
        response->CopyFrom(batch);
        done->Run();
      });
  Rpc::Channel channel(server.address());
  const Result result = Call(&channel);
  ASSERT_EQ(result.code, StatusCode::kOk) << result.text;
  EXPECT_EQ(result.response.SerializeAsString(), batch.SerializeAsString());
  const auto& received = result.response.query_result().query_result_recording_events();
  EXPECT_EQ(received.results(998).event().GetExtension(Events::event_device_connected).device_id(),
            "camera 998");
}

TEST(Calls, BringFailureTextsLetterForLetterAndCutLongOnesAfterAWholeCharacter) {
  std::string long_text;
  while (long_text.size() < 5000) long_text += "\u00fc";  // two bytes
  std::string cut = long_text.substr(0, 96) + "...";      // 97 would split a character
  const std::map<std::string, std::string> texts = {
      {"disk full", "disk full"},
      {"", ""},
      {"two\nlines\tand 100 % of \"quotes\"", "two\nlines\tand 100 % of \"quotes\""},
      {"T\u00fcr \u30ab\u30e1\u30e9 \U0001F4F7", "T\u00fcr \u30ab\u30e1\u30e9 \U0001F4F7"},
      {std::string(100, 'x'), std::string(100, 'x')},
      {std::string(101, 'x'), std::string(97, 'x') + "..."},
      {long_text, cut},
  };
  Rpc::ServerOptions options;
  options.max_error_text_bytes = 100;
  for (const auto& [sent, expected] : texts) {
    LoopbackServer server(FailWith(sent), options);
    Rpc::Channel channel(server.address());
    const Result result = Call(&channel);
    EXPECT_EQ(result.code, StatusCode::kUnknown);
    EXPECT_EQ(result.text, expected);
  }
  // The longest text that a server may be set to send, at its longest encoding.
  options.max_error_text_bytes = 2500;
  LoopbackServer server(FailWith(long_text), options);
  Rpc::Channel channel(server.address());
  EXPECT_EQ(Call(&channel).text.size(), 2499U);
}

TEST(Calls, TellUnimplementedMethodsAndUnknownServices) {
  LoopbackServer server(Echo());
  Rpc::Channel channel(server.address());
  Rpc::ClientController controller;
  const Pb::Rpc::SvcQuery::ContinueReq request;
  Pb::Rpc::SvcQuery::ContinueRsp response;
  Pb::Rpc::SvcQuery::Query_Stub(&channel).Continue(&controller, &request, &response, nullptr);
  EXPECT_EQ(controller.Code(), StatusCode::kUnimplemented);
  EXPECT_EQ(controller.ErrorText(), "Method Continue() not implemented.");

  Rpc::ServerOptions options;
  options.addresses = {"127.0.0.1:0"};
  Rpc::Server empty(options);
  empty.Start();
  Rpc::Channel to_empty(empty.Addresses().front());
  const Result result = Call(&to_empty);
  EXPECT_EQ(result.code, StatusCode::kUnimplemented);
  EXPECT_EQ(result.text, "this server does not offer the method /Pb.Rpc.SvcQuery.Query/Initiate");
}

TEST(Calls, FailWithInternalWhenTheServiceThrows) {
  LoopbackServer server([](Rpc::ServerController*, const InitiateReq&, InitiateRsp*, Closure*) {
    throw std::runtime_error("index out of range");
  });
  Rpc::Channel channel(server.address());
  const Result result = Call(&channel);
  EXPECT_EQ(result.code, StatusCode::kInternal);
  EXPECT_NE(result.text.find("index out of range"), std::string::npos) << result.text;
}

TEST(Calls, KnowTheirCallerDeadlineAndMetadata) {
  SeenInfo seen_info;
  LoopbackServer server(seen_info.Method());
  Rpc::Channel channel(server.address());
  Rpc::ClientController controller;
  controller.AddMetadata("x-site", "north gate");
  controller.AddMetadata("x-raw-bin", std::string("\0\xff", 2));
  controller.SetTimeout(std::chrono::hours(1));
  ASSERT_EQ(Call(&channel, {}, &controller).code, StatusCode::kOk);
  Rpc::CallInfo seen = seen_info.Get();
  EXPECT_EQ(seen.service, "Pb.Rpc.SvcQuery.Query");
  EXPECT_EQ(seen.method, "Initiate");
  EXPECT_EQ(seen.peer.rfind("127.0.0.1:", 0), 0U) << seen.peer;
  EXPECT_EQ(seen.identity.common_name, "");
  EXPECT_EQ(seen.metadata.find("x-site")->second, "north gate");
  EXPECT_EQ(seen.metadata.find("x-raw-bin")->second, std::string("\0\xff", 2));
  ASSERT_TRUE(seen.deadline.has_value());
  const auto left = *seen.deadline - std::chrono::system_clock::now();
  EXPECT_GT(left, std::chrono::minutes(30));
  EXPECT_LE(left, std::chrono::minutes(61));

  controller.Reset();
  controller.SetTimeout(milliseconds::max());
  ASSERT_EQ(Call(&channel, {}, &controller).code, StatusCode::kOk);
  seen = seen_info.Get();
  EXPECT_FALSE(seen.deadline.has_value());
  EXPECT_EQ(seen.metadata.count("x-site"), 0U);
}

TEST(Calls, RefuseMetadataThatHttp2CannotCarry) {
  const std::vector<std::pair<std::string, std::string>> bad = {
      {"", "v"},
      {"Upper", "v"},
      {"with blank", "v"},
      {":path", "v"},
      {"grpc-encoding", "gzip"},
      {"authorization", "v"},
      {"x-line", "a\nb"},
      {"x-utf8", "\u00fc"},
      {"x-long", std::string(5000, 'v')},
  };
  for (const auto& [name, value] : bad) {
    Rpc::ClientController controller;
    EXPECT_THROW(controller.AddMetadata(name, value), std::invalid_argument) << name;
  }
}

TEST(Calls, AreAuthorisedBeforeTheirRequestIsParsed) {
  std::atomic<int> served{0};
  Rpc::ServerOptions options;
  options.authorize = [](const Rpc::CallInfo& call) -> Rpc::Status {
    if (call.metadata.count("x-pass") != 0) return {};
    if (call.metadata.count("x-throw") != 0) throw std::runtime_error("database is gone");
    return {StatusCode::kPermissionDenied, "no pass for " + call.method};
  };
  LoopbackServer server(
      [&](Rpc::ServerController*, const InitiateReq&, InitiateRsp*, Closure* done) {
        ++served;
        done->Run();
      },
      options);
  Rpc::Channel channel(server.address());
  // A request that would fail to parse: field 1 is a message, and "\xff" is none.
  InitiateReq garbage;
  InitiateReq::GetReflection()->MutableUnknownFields(&garbage)->AddLengthDelimited(1, "\xff");
  const Result refused = Call(&channel, garbage);
  EXPECT_EQ(refused.code, StatusCode::kPermissionDenied);
  EXPECT_EQ(refused.text, "no pass for Initiate");

  Rpc::ClientController with_error;
  with_error.AddMetadata("x-throw", "1");
  EXPECT_EQ(Call(&channel, {}, &with_error).code, StatusCode::kInternal);
  EXPECT_EQ(served, 0);

  Rpc::ClientController with_pass;
  with_pass.AddMetadata("x-pass", "1");
  EXPECT_EQ(Call(&channel, garbage, &with_pass).code, StatusCode::kInvalidArgument);
  with_pass.Reset();
  with_pass.AddMetadata("x-pass", "1");
  EXPECT_EQ(Call(&channel, {}, &with_pass).code, StatusCode::kOk);
  EXPECT_EQ(served, 1);
}

TEST(Calls, RefuseASecondServiceOfTheSameNameAndAMissingController) {
  Rpc::ServerOptions options;
  options.addresses = {"127.0.0.1:0"};
  Rpc::Server server(options);
  QueryService first(Echo());
  QueryService second(Echo());
  server.Register(&first);
  EXPECT_THROW(server.Register(&second), std::invalid_argument);

  Rpc::Channel channel("127.0.0.1:1");
  InitiateRsp response;
  const InitiateReq request;
  EXPECT_THROW(
      Pb::Rpc::SvcQuery::Query_Stub(&channel).Initiate(nullptr, &request, &response, nullptr),
      std::invalid_argument);
}

}  // namespace
}  // namespace CmnSys::Test
