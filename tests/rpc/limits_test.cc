// Bytes that are no request, too many bytes, too many calls.

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/generic/generic_stub.h>
#include <sys/resource.h>

#include <fstream>
#include <optional>
#include <random>
#include <vector>

#include "fixture.h"
#include "largest_allocation.h"

namespace CmnSys::Test {
namespace {

// A gRPC client that sends what it is told to.
class RawClient {
 public:
  explicit RawClient(const std::string& address) {
    grpc::ChannelArguments arguments;
    arguments.SetMaxSendMessageSize(-1);
    stub_ = std::make_unique<grpc::GenericStub>(
        grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments));
  }

  // Without bytes the call ends without a request.
  grpc::Status Send(const std::optional<std::string>& bytes, bool gzip = false,
                    const std::string& path = "/Pb.Rpc.SvcQuery.Query/Initiate") {
    grpc::ClientContext context;
    context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(30));
    if (gzip) context.set_compression_algorithm(GRPC_COMPRESS_GZIP);
    grpc::CompletionQueue queue;
    const auto wait = [&queue] {
      void* tag = nullptr;
      bool ok = false;
      queue.Next(&tag, &ok);
    };
    const auto call = stub_->PrepareCall(&context, path, &queue);
    call->StartCall(nullptr);
    wait();
    if (bytes) {
      const grpc::Slice slice(*bytes);
      call->WriteLast(grpc::ByteBuffer(&slice, 1), grpc::WriteOptions(), nullptr);
    } else {
      call->WritesDone(nullptr);
    }
    wait();
    grpc::ByteBuffer response;
    call->Read(&response, nullptr);
    wait();
    grpc::Status status;
    call->Finish(&status, nullptr);
    wait();
    return status;
  }

 private:
  std::unique_ptr<grpc::GenericStub> stub_;
};

// A call of reflection that asks for the services and then nothing more.
class OpenReflection {
 public:
  explicit OpenReflection(grpc::GenericStub* stub)
      : call_(stub->PrepareCall(
            &context_, "/grpc.reflection.v1.ServerReflection/ServerReflectionInfo", &queue_)) {
    call_->StartCall(nullptr);
    Wait();
    const grpc::Slice list_services(std::string("\x3a\x00", 2));
    call_->Write(grpc::ByteBuffer(&list_services, 1), nullptr);
    Wait();
    grpc::ByteBuffer answer;
    call_->Read(&answer, nullptr);
    answered_ = Wait();
  }
  ~OpenReflection() {
    context_.TryCancel();
    End();
  }
  OpenReflection(const OpenReflection&) = delete;
  OpenReflection& operator=(const OpenReflection&) = delete;

  bool answered() const { return answered_; }
  // How it ends by itself.
  grpc::Status End() {
    if (ended_) return {};
    ended_ = true;
    grpc::Status status;
    call_->Finish(&status, nullptr);
    Wait();
    return status;
  }

 private:
  bool Wait() {
    void* tag = nullptr;
    bool ok = false;
    queue_.Next(&tag, &ok);
    return ok;
  }

  grpc::ClientContext context_;
  grpc::CompletionQueue queue_;
  std::unique_ptr<grpc::GenericClientAsyncReaderWriter> call_;
  bool answered_ = false;
  bool ended_ = false;
};

// The process's memory in use, in MiB.
double MemoryInUse() {
  std::ifstream file("/proc/self/statm");
  double all = 0;
  double resident = 0;
  file >> all >> resident;
  return resident * 4096 / (1 << 20);
}

TEST(Limits, BytesThatAreNoRequestAreRefusedAndTheServerGoesOn) {
  LoopbackServer server(Echo());
  RawClient raw(server.address());
  const std::string good = RequestWith("a query").SerializeAsString();
  const std::vector<std::string> bad = {
      "\xff", good.substr(0, good.size() - 1), "\x0a\x05xx",
      std::string(1000, '\x0b'),  // groups within groups, none of them closed
  };
  for (const std::string& bytes : bad) {
    const grpc::Status status = raw.Send(bytes);
    EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT) << bytes;
    EXPECT_NE(status.error_message().find("request is no Pb.Rpc.SvcQuery.InitiateReq"),
              std::string::npos)
        << status.error_message();
  }
  EXPECT_TRUE(raw.Send("").ok());  // A message without fields.
  EXPECT_EQ(raw.Send(std::nullopt).error_code(), grpc::StatusCode::INTERNAL);
  const grpc::Status unknown = raw.Send(good, false, "/no/such");
  EXPECT_EQ(unknown.error_code(), grpc::StatusCode::UNIMPLEMENTED);
  EXPECT_EQ(unknown.error_message(), "this server does not offer the method /no/such");

  std::mt19937 random(1);
  for (int i = 0; i < 300; ++i) {
    std::string mutated = good;
    for (int n = 0; n < 3; ++n) mutated[random() % mutated.size()] = static_cast<char>(random());
    const grpc::Status status = raw.Send(mutated);
    EXPECT_TRUE(status.ok() || status.error_code() == grpc::StatusCode::INVALID_ARGUMENT)
        << status.error_message();
  }
  Rpc::Channel channel(server.address());
  EXPECT_EQ(TextIn(Call(&channel, RequestWith("still here")).response), "still here");

  // A text that says it has 268,435,455 bytes.
  LargestAllocation() = 0;
  EXPECT_EQ(raw.Send("\x0a\xff\xff\xff\x7f", false, "/grpc.health.v1.Health/Check").error_code(),
            grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_LT(LargestAllocation(), 1U << 20U);
}

TEST(Limits, MessagesLongerThanTheLimitsAreRefusedOnEitherSide) {
  Rpc::ServerOptions options;
  options.max_message_bytes = 1'000'000;
  // Answers with as many bytes as the request says.
  LoopbackServer server(
      [](Rpc::ServerController*, const InitiateReq& request, InitiateRsp* response, Closure* done) {
        const std::string text(std::stoul(request.query().gid().id()), 'x');
        response->mutable_query_result()->mutable_gid()->set_id(text);
        done->Run();
      },
      options);
  Rpc::Channel wide(server.address());
  EXPECT_EQ(TextIn(Call(&wide, RequestWith("600000")).response).size(), 600'000U);
  Rpc::ChannelOptions narrow_options;
  narrow_options.max_message_bytes = 1'000;
  Rpc::Channel narrow(server.address(), narrow_options);
  const struct {
    Rpc::Channel* channel;
    std::string text;
    const char* error;
  } cases[] = {{&wide, std::string(1'200'000, '0'), ""},
               {&wide, "1200000", "response Pb.Rpc.SvcQuery.InitiateRsp is too long"},
               {&narrow, std::string(2'000, '0'), ""},
               {&narrow, "2000", ""}};
  for (const auto& test : cases) {
    const Result result = Call(test.channel, RequestWith(test.text));
    EXPECT_EQ(result.code, StatusCode::kResourceExhausted) << result.text;
    EXPECT_NE(result.text.find(test.error), std::string::npos) << result.text;
  }
}

TEST(Limits, OversizedAndCompressedRequestsDoNotFillTheMemory) {
  Rpc::ServerOptions options;
  options.max_message_bytes = 1 << 20;
  LoopbackServer server(Echo(), options);
  RawClient raw(server.address());
  const std::string zeros(100 << 20, '\0');
  ASSERT_EQ(raw.Send(zeros).error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  const double before = MemoryInUse();
  // Hundred MiB that travel as a hundred KiB.
  const grpc::Status status = raw.Send(zeros, true);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::UNIMPLEMENTED) << status.error_message();
  EXPECT_LT(MemoryInUse() - before, 50) << "MiB";
  EXPECT_TRUE(raw.Send("").ok());
}

TEST(Limits, CallsOfReflectionAreLimitedAndMakeRoomAgain) {
  Rpc::ServerOptions options;
  options.reflection = true;
  LoopbackServer server(Echo(), options);
  grpc::GenericStub stub(grpc::CreateChannel(server.address(), grpc::InsecureChannelCredentials()));
  std::vector<std::unique_ptr<OpenReflection>> open;
  for (int i = 0; i < 64; ++i) {
    open.push_back(std::make_unique<OpenReflection>(&stub));
    ASSERT_TRUE(open.back()->answered()) << i;
  }
  OpenReflection refused(&stub);
  EXPECT_FALSE(refused.answered());
  EXPECT_EQ(refused.End().error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  Rpc::Channel channel(server.address());
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  open.pop_back();
  EXPECT_TRUE(Eventually([&] { return OpenReflection(&stub).answered(); }));
}

TEST(Limits, RunningOutOfFileDescriptorsIsSurvived) {
#ifdef __SANITIZE_ADDRESS__
  // Built together with it, UndefinedBehaviorSanitizer examines memory through a pipe, and takes
  // every object for damaged when there is no file descriptor left for one.
  GTEST_SKIP() << "the sanitizer needs file descriptors itself";
#endif
  LoopbackServer server(Echo());
  Rpc::Channel before(server.address());
  ASSERT_EQ(Call(&before).code, StatusCode::kOk);
  rlimit old{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old), 0);
  // Leave room for the client's end of a connection but not for the server's.
  std::vector<std::unique_ptr<Rpc::Channel>> channels;
  const int next_fd = dup(0);
  ASSERT_GT(next_fd, 0);
  close(next_fd);
  rlimit tight = old;
  tight.rlim_cur = static_cast<rlim_t>(next_fd) + 6;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  int failed = 0;
  for (int i = 0; i < 8; ++i) {
    channels.push_back(std::make_unique<Rpc::Channel>(server.address()));
    failed += CallWithTimeout(channels.back().get(), milliseconds(300)).code != StatusCode::kOk;
  }
  EXPECT_GT(failed, 0) << "the limit was not reached";
  EXPECT_EQ(Call(&before).code, StatusCode::kOk);
  channels.clear();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &old), 0);
  Rpc::Channel after(server.address());
  Rpc::ClientController patient;
  patient.SetWaitForReady(true);
  EXPECT_EQ(Call(&after, {}, &patient).code, StatusCode::kOk);
}

}  // namespace
}  // namespace CmnSys::Test
