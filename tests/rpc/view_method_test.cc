// Methods that read their request in place.

#include <mutex>
#include <thread>
#include <vector>

#include "CmnSys/Rpc/ViewMethod.h"
#include "ProtoBuf/CmnSys/CmnSys.Query.view.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.view.h"
#include "ProtoBuf/CmnSys/CmnSys.validate.h"
#include "fixture.h"

namespace CmnSys::Test {
namespace {

using Pb::Rpc::SvcQuery::AbortReq;
using Pb::Rpc::SvcQuery::InitiateReqView;

constexpr const char* kService = "Pb.Rpc.SvcQuery.Query";

class ViewMethods : public testing::Test {
 protected:
  ViewMethods() {
    server_.Register(&service_);
    Rpc::AddViewMethod<InitiateReq, InitiateRsp>(
        &server_, kService, "Initiate",
        [this](Rpc::ServerController* controller, const InitiateReqView& request,
               InitiateRsp* response, Closure* done) {
          EXPECT_EQ(controller->Info().method, "Initiate");
          // Answers when this function has returned.
          const std::lock_guard lock(mutex_);
          answering_.emplace_back([view = request.query(), response, done] {
            response->mutable_query_result()->mutable_gid()->set_id(std::string(view.gid().id()));
            done->Run();
          });
        });
  }

  // No function is running any more when the server is shut down.
  ~ViewMethods() override {
    server_.Shutdown();
    for (std::thread& thread : answering_) thread.join();
  }

  Rpc::Channel& channel() {
    if (channel_ == nullptr) {
      server_.Start();
      channel_ = std::make_unique<Rpc::Channel>(server_.Addresses().front());
    }
    return *channel_;
  }

  static Rpc::ServerOptions Options() {
    Rpc::ServerOptions options;
    options.addresses = {"127.0.0.1:0"};
    return options;
  }

  std::mutex mutex_;
  std::vector<std::thread> answering_;
  QueryService service_{FailWith("this one parses")};
  Rpc::Server server_{Options()};
  std::unique_ptr<Rpc::Channel> channel_;
};

TEST_F(ViewMethods, ReadTheRequestUntilTheClosureIsRun) {
  // In one piece, in many pieces, and so short that gRPC keeps it elsewhere.
  for (const std::size_t length : {100, 300'000, 1}) {
    const std::string text(length, 'x');
    const Result result = Call(&channel(), RequestWith(text));
    EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
    EXPECT_EQ(TextIn(result.response), text);
  }
  EXPECT_EQ(TextIn(Call(&channel()).response), "");
}

TEST_F(ViewMethods, RefuseWhatParsersRefuseInTheSameWords) {
  LoopbackServer parsing(Echo());
  Rpc::Channel parsing_channel(parsing.address());
  // The text in the identifier in the query is cut off.
  InitiateReq garbage;
  InitiateReq::GetReflection()->MutableUnknownFields(&garbage)->AddLengthDelimited(
      1, "\x12\x02\x0a\x05");
  const Result parsed = Call(&parsing_channel, garbage);
  const Result read = Call(&channel(), garbage);
  EXPECT_EQ(read.code, StatusCode::kInvalidArgument);
  EXPECT_EQ(read.code, parsed.code);
  EXPECT_EQ(read.text, parsed.text);
}

TEST_F(ViewMethods, AreThoseOfRegisteredServicesWithTheirTypes) {
  const auto add = [this](const char* service, const char* method) {
    Rpc::AddViewMethod<AbortReq, InitiateRsp>(&server_, service, method, [](auto&&...) {});
  };
  EXPECT_THROW(add("No.Such", "Initiate"), std::invalid_argument);
  EXPECT_THROW(add(kService, "NoSuch"), std::invalid_argument);
  EXPECT_THROW(add(kService, "Initiate"), std::invalid_argument);  // Takes an InitiateReq.
  EXPECT_THROW(add(kService, "Abort"), std::invalid_argument);     // Returns an AbortRsp.
  EXPECT_THROW((Rpc::AddViewMethod<InitiateReq, InitiateRsp>(&server_, kService, "Initiate", {})),
               std::invalid_argument);
  channel();
  EXPECT_THROW(add(kService, "Abort"), std::logic_error);
}

}  // namespace
}  // namespace CmnSys::Test
