#include <google/protobuf/service.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "ProtoBuf/Sample/NoPackage.pb.h"
#include "ProtoBuf/Sample/Services.pb.h"
#include "support/calls.h"

namespace CmnSys::Compiler {
namespace {

using CmnSys::Test::CountingClosure;
using CmnSys::Test::TestController;
using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcChannel;
using google::protobuf::RpcController;
using Sample::Base::Outer;
using Sample::Base::Outer_Inner;
using Sample::Services::Calls;
using Sample::Services::Calls_Stub;
using Sample::Services::Longer;
using Sample::Services::Request;
using Sample::Services::Response;

// Answers First and Second and leaves Third to the generated class.
class CallsServer : public Calls {
 public:
  void First(RpcController* controller, const Request* request, Response* response,
             Closure* done) override {
    seen = {"First", controller, request, response};
    done->Run();
  }
  void Second(RpcController* controller, const Outer_Inner* request, Outer* response,
              Closure* done) override {
    seen = {"Second", controller, request, response};
    done->Run();
  }

  struct Seen {
    std::string method;
    RpcController* controller;
    const Message* request;
    Message* response;
  } seen = {};
};

// A channel that keeps what it was given; it sets a flag when it is deleted.
class RecordingChannel : public RpcChannel {
 public:
  explicit RecordingChannel(bool* deleted = nullptr) : deleted_(deleted) {}
  ~RecordingChannel() override {
    if (deleted_ != nullptr) *deleted_ = true;
  }
  void CallMethod(const MethodDescriptor* called, RpcController* controller, const Message* request,
                  Message* response, Closure* done) override {
    method = called;
    arguments = {controller, request, response, done};
  }

  const MethodDescriptor* method = nullptr;
  std::vector<const void*> arguments;

 private:
  bool* deleted_;
};

TEST(ServiceClass, DispatchesByIndexAndPassesEverythingOn) {
  CallsServer server;
  TestController controller;
  CountingClosure done;

  Request request;
  Response response;
  server.CallMethod(Calls::descriptor()->method(0), &controller, &request, &response, &done);
  EXPECT_EQ(server.seen.method, "First");
  EXPECT_EQ(server.seen.controller, &controller);
  EXPECT_EQ(server.seen.request, &request);
  EXPECT_EQ(server.seen.response, &response);

  Outer_Inner inner;
  Outer outer;
  server.CallMethod(Calls::descriptor()->method(1), &controller, &inner, &outer, &done);
  EXPECT_EQ(server.seen.method, "Second");
  EXPECT_EQ(server.seen.request, &inner);
  EXPECT_EQ(server.seen.response, &outer);

  EXPECT_EQ(done.runs, 2);
  EXPECT_FALSE(controller.Failed());
}

TEST(ServiceClass, DispatchesAnotherServicesMethodByItsIndex) {
  CallsServer server;
  TestController controller;
  CountingClosure done;
  Request request;
  Response response;
  server.CallMethod(Longer::descriptor()->method(0), &controller, &request, &response, &done);
  EXPECT_EQ(server.seen.method, "First");
}

TEST(ServiceClass, FailsAMethodThatIsNotOverriddenAndRunsTheClosureOnce) {
  CallsServer server;
  TestController controller;
  CountingClosure done;
  const Response request;
  Response response;
  response.set_text("untouched");
  server.CallMethod(Calls::descriptor()->method(2), &controller, &request, &response, &done);
  EXPECT_EQ(controller.ErrorText(), "Method Third() not implemented.");
  EXPECT_EQ(done.runs, 1);
  EXPECT_EQ(response.text(), "untouched");
}

TEST(ServiceClass, PrototypesAreTheDefaultInstances) {
  const CallsServer server;
  const auto* service = Calls::descriptor();
  EXPECT_EQ(&server.GetRequestPrototype(service->method(0)), &Request::default_instance());
  EXPECT_EQ(&server.GetResponsePrototype(service->method(0)), &Response::default_instance());
  EXPECT_EQ(&server.GetRequestPrototype(service->method(1)), &Outer_Inner::default_instance());
  EXPECT_EQ(&server.GetResponsePrototype(service->method(1)), &Outer::default_instance());
}

TEST(ServiceClass, IsFoundUnderItsNameInTheRegisteredFile) {
  CallsServer server;
  EXPECT_EQ(server.GetDescriptor(), Calls::descriptor());
  const auto* pool = google::protobuf::DescriptorPool::generated_pool();
  EXPECT_EQ(pool->FindServiceByName("Sample.Services.Calls"), Calls::descriptor());
  EXPECT_EQ(pool->FindServiceByName("Sample.Services.Longer"), Longer::descriptor());
  EXPECT_EQ(pool->FindServiceByName("Unpackaged"), Unpackaged::descriptor());
  EXPECT_EQ(Sample::Services::WithoutMethods::descriptor()->method_count(), 0);
}

TEST(ServiceClass, IsBuiltThroughDerivedClassesOnly) {
  EXPECT_FALSE(std::is_default_constructible<Calls>::value);
  EXPECT_FALSE(std::is_copy_constructible<CallsServer>::value);
}

// The fatal log of the runtime may be a catchable exception; the process must end all the same.
TEST(ServiceClassDeathTest, EndsTheProcessOnABadMethodIndex) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  CallsServer server;
  TestController controller;
  CountingClosure done;
  Request request;
  Response response;
  const MethodDescriptor* method = Longer::descriptor()->method(3);
  const auto caught = [](const auto& call) {
    try {
      call();
    } catch (...) {
    }
  };
  const char* const text = "Bad method index; this should never happen\\.";
  EXPECT_DEATH(caught([&] { server.CallMethod(method, &controller, &request, &response, &done); }),
               text);
  EXPECT_DEATH(caught([&] { (void)server.GetRequestPrototype(method); }), text);
  EXPECT_DEATH(caught([&] { (void)server.GetResponsePrototype(method); }), text);
}

TEST(Stub, SendsTheMethodOfItsIndexAndAllArgumentsToTheChannel) {
  RecordingChannel channel;
  Calls_Stub stub(&channel);
  EXPECT_EQ(stub.channel(), &channel);
  TestController controller;
  CountingClosure done;
  const Outer_Inner request;
  Outer response;
  stub.Second(&controller, &request, &response, &done);
  EXPECT_EQ(channel.method, Calls::descriptor()->method(1));
  EXPECT_EQ(channel.arguments, (std::vector<const void*>{&controller, &request, &response, &done}));
  // Completion is the channel's business.
  EXPECT_EQ(done.runs, 0);
  EXPECT_FALSE(controller.Failed());
}

TEST(Stub, DeletesItsChannelOnlyWhenItOwnsIt) {
  bool deleted = false;
  { const Calls_Stub stub(new RecordingChannel(&deleted), Calls::STUB_OWNS_CHANNEL); }
  EXPECT_TRUE(deleted);

  deleted = false;
  {
    RecordingChannel channel(&deleted);
    { const Calls_Stub stub(&channel, Calls::STUB_DOESNT_OWN_CHANNEL); }
    { const Calls_Stub stub(&channel); }
    EXPECT_FALSE(deleted);
  }
}

}  // namespace
}  // namespace CmnSys::Compiler
