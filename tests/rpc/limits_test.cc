// Bytes that are no request, too many bytes, too many calls.

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/generic/generic_stub.h>
#include <sys/resource.h>

#include <fstream>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "fixture.h"

namespace CmnSys::Test {
namespace {

constexpr const char* kInitiate = "/Pb.Rpc.SvcQuery.Query/Initiate";

grpc::ByteBuffer Buffer(const std::string& bytes) {
  const grpc::Slice slice(bytes);
  return {&slice, 1};
}

// A gRPC client that sends what it is told to.
class RawClient {
 public:
  explicit RawClient(const std::string& address) : stub_(Connect(address)) {}

  // Without bytes the call ends without a request.
  grpc::Status Send(const std::optional<std::string>& bytes, bool gzip = false,
                    const std::string& path = kInitiate) {
    grpc::ClientContext context;
    context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(30));
    if (gzip) context.set_compression_algorithm(GRPC_COMPRESS_GZIP);
    grpc::CompletionQueue queue;
    const auto call = stub_.PrepareCall(&context, path, &queue);
    call->StartCall(nullptr);
    Wait(&queue);
    if (bytes) {
      call->WriteLast(Buffer(*bytes), grpc::WriteOptions(), nullptr);
    } else {
      call->WritesDone(nullptr);
    }
    Wait(&queue);
    grpc::ByteBuffer response;
    call->Read(&response, nullptr);
    Wait(&queue);
    grpc::Status status;
    call->Finish(&status, nullptr);
    Wait(&queue);
    return status;
  }

 private:
  static std::shared_ptr<grpc::Channel> Connect(const std::string& address) {
    grpc::ChannelArguments arguments;
    arguments.SetMaxSendMessageSize(-1);
    return grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments);
  }
  static void Wait(grpc::CompletionQueue* queue) {
    void* tag = nullptr;
    bool ok = false;
    queue->Next(&tag, &ok);
  }

  grpc::GenericStub stub_;
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
      "\xff",
      good.substr(0, good.size() - 1),
      "\x0a\x05xx",
      std::string(3, '\0'),
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
  EXPECT_EQ(raw.Send(good, false, "/no/such").error_code(), grpc::StatusCode::UNIMPLEMENTED);

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
}

TEST(Limits, MessagesLongerThanTheLimitsAreRefusedOnEitherSide) {
  const std::string half(600'000, 'x');
  Rpc::ServerOptions options;
  options.max_message_bytes = 1'000'000;
  LoopbackServer server(
      [&](Rpc::ServerController*, const InitiateReq& request, InitiateRsp* response,
          Closure* done) {
        std::string text = request.query().gid().id();
        if (text == "double") text = half + half;
        response->mutable_query_result()->mutable_gid()->set_id(text);
        done->Run();
      },
      options);
  Rpc::Channel wide(server.address());
  EXPECT_EQ(TextIn(Call(&wide, RequestWith(half)).response).size(), half.size());
  const Result long_request = Call(&wide, RequestWith(half + half));
  EXPECT_EQ(long_request.code, StatusCode::kResourceExhausted) << long_request.text;
  const Result long_response = Call(&wide, RequestWith("double"));
  EXPECT_EQ(long_response.code, StatusCode::kResourceExhausted);
  EXPECT_NE(long_response.text.find("response Pb.Rpc.SvcQuery.InitiateRsp is too long"),
            std::string::npos)
      << long_response.text;

  Rpc::ChannelOptions narrow_options;
  narrow_options.max_message_bytes = 1'000;
  Rpc::Channel narrow(server.address(), narrow_options);
  EXPECT_EQ(Call(&narrow, RequestWith(std::string(2'000, 'x'))).code,
            StatusCode::kResourceExhausted);
  LoopbackServer talkative(
      [&](Rpc::ServerController*, const InitiateReq&, InitiateRsp* response, Closure* done) {
        response->mutable_query_result()->mutable_gid()->set_id(half);
        done->Run();
      });
  Rpc::Channel narrow_to_talkative(talkative.address(), narrow_options);
  EXPECT_EQ(Call(&narrow_to_talkative).code, StatusCode::kResourceExhausted);
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

TEST(Limits, CallsBeyondTheLimitAreRefusedUntilOneEnds) {
  Rpc::ServerOptions options;
  options.max_calls = 3;
  std::mutex mutex;
  std::vector<Closure*> held;
  LoopbackServer server(
      [&](Rpc::ServerController*, const InitiateReq& request, InitiateRsp*, Closure* done) {
        if (request.has_query()) return done->Run();
        const std::lock_guard lock(mutex);
        held.push_back(done);
      },
      options);
  Rpc::Channel channel(server.address());
  std::vector<std::thread> callers;
  std::atomic<int> answered{0};
  for (int i = 0; i < 3; ++i) {
    callers.emplace_back([&] {
      if (Call(&channel).code == StatusCode::kOk) ++answered;
    });
  }
  ASSERT_TRUE(Eventually([&] {
    const std::lock_guard lock(mutex);
    return held.size() == 3;
  }));
  const Result refused = Call(&channel, RequestWith("x"));
  EXPECT_EQ(refused.code, StatusCode::kResourceExhausted);
  EXPECT_NE(refused.text.find("busy with 3 calls"), std::string::npos) << refused.text;
  for (Closure* done : held) done->Run();
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(answered, 3);
  EXPECT_EQ(Call(&channel, RequestWith("x")).code, StatusCode::kOk);
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
