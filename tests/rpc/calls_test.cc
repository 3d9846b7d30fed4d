// Calls that reach their service: what they carry, and how they fail.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <atomic>
#include <thread>
#include <vector>

#include "CmnSys/Util/Schema.h"
#include "fixture.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Message;
using google::protobuf::MessageFactory;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

// Any service of the schema; a method fails with its own full name.
class NamingService final : public google::protobuf::Service {
 public:
  explicit NamingService(const ServiceDescriptor* descriptor) : descriptor_(descriptor) {}
  const ServiceDescriptor* GetDescriptor() override { return descriptor_; }
  void CallMethod(const MethodDescriptor* method, google::protobuf::RpcController* controller,
                  const Message*, Message*, Closure* done) override {
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

TEST(Calls, ReachEveryMethodOfEveryServiceOfTheSchemaEachRegisteredOnlyOnce) {
  Rpc::ServerOptions options;
  options.addresses = {"127.0.0.1:0"};
  Rpc::Server server(options);
  std::vector<const MethodDescriptor*> methods;
  for (const auto* file : Util::SchemaFiles()) {
    for (int i = 0; i < file->service_count(); ++i) {
      const ServiceDescriptor* service = file->service(i);
      server.Register(new NamingService(service), Rpc::Server::kServerOwns);
      for (int n = 0; n < service->method_count(); ++n) methods.push_back(service->method(n));
    }
  }
  EXPECT_GT(methods.size(), 21U);
  QueryService second(Echo());
  EXPECT_THROW(server.Register(&second), std::invalid_argument);
  server.Start();
  Rpc::Channel channel(server.Addresses().front());
  for (const MethodDescriptor* method : methods) {
    Rpc::ClientController controller;
    const auto* request = MessageFactory::generated_factory()->GetPrototype(method->input_type());
    const std::unique_ptr<Message> response(
        MessageFactory::generated_factory()->GetPrototype(method->output_type())->New());
    channel.CallMethod(method, &controller, request, response.get(), nullptr);
    EXPECT_EQ(controller.ErrorText(), method->full_name());
  }
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

TEST(Calls, BringFailureTextsLetterForLetterAndCutLongOnesAfterAWholeCharacter) {
  std::string long_text;
  while (long_text.size() < 5000) long_text += "\u00fc";    // two bytes
  const std::string cut = long_text.substr(0, 96) + "...";  // 97 would split a character
  const std::vector<std::string> texts = {"", "two\nlines\tand 100 % of \"quotes\"",
                                          "T\u00fcr \u30ab\u30e1\u30e9 \U0001F4F7",
                                          std::string(100, 'x'), long_text};
  Rpc::ServerOptions options;
  options.max_error_text_bytes = 100;
  for (const std::string& sent : texts) {
    LoopbackServer server(FailWith(sent), options);
    Rpc::Channel channel(server.address());
    const Result result = Call(&channel);
    EXPECT_EQ(result.code, StatusCode::kUnknown);
    EXPECT_EQ(result.text, sent == long_text ? cut : sent);
  }
  // Less than the dots need.
  options.max_error_text_bytes = 2;
  LoopbackServer curt(FailWith("abc"), options);
  Rpc::Channel to_curt(curt.address());
  EXPECT_EQ(Call(&to_curt).text, "ab");
  // The longest text that a server may be set to send, at its longest encoding.
  options.max_error_text_bytes = 2500;
  LoopbackServer server(FailWith(long_text), options);
  Rpc::Channel channel(server.address());
  EXPECT_EQ(Call(&channel).text.size(), 2499U);
}

TEST(Calls, TellMethodsThatAreNotImplementedAndThoseThatThrow) {
  LoopbackServer server([](Rpc::ServerController*, const InitiateReq&, InitiateRsp*, Closure*) {
    throw std::runtime_error("index out of range");
  });
  Rpc::Channel channel(server.address());
  const Result thrown = Call(&channel);
  EXPECT_EQ(thrown.code, StatusCode::kInternal);
  EXPECT_NE(thrown.text.find("index out of range"), std::string::npos) << thrown.text;

  Rpc::ClientController controller;
  Pb::Rpc::SvcQuery::ContinueRsp response;
  Pb::Rpc::SvcQuery::Query_Stub(&channel).Continue(
      &controller, &Pb::Rpc::SvcQuery::ContinueReq::default_instance(), &response, nullptr);
  EXPECT_EQ(controller.Code(), StatusCode::kUnimplemented);
  EXPECT_EQ(controller.ErrorText(), "Method Continue() not implemented.");
}

TEST(Calls, KnowTheirCallerAndDeadline) {
  SeenInfo seen_info;
  LoopbackServer server(seen_info.Method());
  Rpc::Channel channel(server.address());
  Rpc::ClientController controller;
  controller.AddMetadata("x-site", "north gate");
  controller.SetTimeout(std::chrono::hours(1));
  ASSERT_EQ(Call(&channel, {}, &controller).code, StatusCode::kOk);
  Rpc::CallInfo seen = seen_info.Get();
  EXPECT_EQ(seen.service, "Pb.Rpc.SvcQuery.Query");
  EXPECT_EQ(seen.method, "Initiate");
  EXPECT_EQ(seen.peer.rfind("127.0.0.1:", 0), 0U) << seen.peer;
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

TEST(Calls, AreAuthorisedBeforeTheirRequestIsParsed) {
  SeenInfo served;
  Rpc::ServerOptions options;
  options.authorize = [](const Rpc::CallInfo& call) -> Rpc::Status {
    if (call.metadata.count("x-pass") != 0) return {};
    if (call.metadata.count("x-throw") != 0) throw std::runtime_error("database is gone");
    return {StatusCode::kPermissionDenied, "no pass for " + call.method};
  };
  LoopbackServer server(served.Method(), options);
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

  Rpc::ClientController with_pass;
  with_pass.AddMetadata("x-pass", "1");
  EXPECT_EQ(Call(&channel, garbage, &with_pass).code, StatusCode::kInvalidArgument);
  EXPECT_EQ(served.Get().method, "");
  with_pass.Reset();
  with_pass.AddMetadata("x-pass", "1");
  EXPECT_EQ(Call(&channel, {}, &with_pass).code, StatusCode::kOk);
  EXPECT_EQ(served.Get().method, "Initiate");
}

}  // namespace
}  // namespace CmnSys::Test
