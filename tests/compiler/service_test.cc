#include <google/protobuf/service.h>
#include <gtest/gtest.h>

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
using Sample::Services::Calls;
using Sample::Services::Calls_Stub;
using Sample::Services::Longer;
using Sample::Services::Request;
using Sample::Services::Response;

// What all services do is tested on those of the schema.

// Answers First and leaves the rest to the generated class.
class CallsServer : public Calls {
 public:
  void First(RpcController* /*controller*/, const Request* /*request*/, Response* response,
             Closure* done) override {
    response->set_text("first");
    done->Run();
  }
};

// A channel that sets a flag when it is deleted.
class DeletedChannel : public RpcChannel {
 public:
  explicit DeletedChannel(bool* deleted) : deleted_(deleted) {}
  ~DeletedChannel() override { *deleted_ = true; }
  void CallMethod(const MethodDescriptor*, RpcController*, const Message*, Message*,
                  Closure*) override {}

 private:
  bool* deleted_;
};

TEST(ServiceClass, DispatchesAnotherServicesMethodByItsIndex) {
  CallsServer server;
  TestController controller;
  CountingClosure done;
  Request request;
  Response response;
  server.CallMethod(Longer::descriptor()->method(0), &controller, &request, &response, &done);
  EXPECT_EQ(response.text(), "first");
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

TEST(Stub, DeletesItsChannelOnlyWhenItOwnsIt) {
  bool deleted = false;
  { const Calls_Stub stub(new DeletedChannel(&deleted), Calls::STUB_OWNS_CHANNEL); }
  EXPECT_TRUE(deleted);

  deleted = false;
  {
    DeletedChannel channel(&deleted);
    { const Calls_Stub stub(&channel, Calls::STUB_DOESNT_OWN_CHANNEL); }
    { const Calls_Stub stub(&channel); }
    EXPECT_FALSE(deleted);
  }
}

}  // namespace
}  // namespace CmnSys::Compiler
