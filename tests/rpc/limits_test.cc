// Bytes that are no request, too many bytes, too many calls.

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/generic/generic_stub.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <new>
#include <vector>

#include "fixture.h"

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

  grpc::Status Send(const std::string& bytes, bool gzip = false,
                    const std::string& path = "/Pb.Rpc.SvcQuery.Query/Initiate") {
    grpc::ClientContext context;
    context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(30));
    if (gzip) context.set_compression_algorithm(GRPC_COMPRESS_GZIP);
    const grpc::Slice slice(bytes);
    const grpc::ByteBuffer request(&slice, 1);
    grpc::ByteBuffer response;
    std::promise<grpc::Status> ended;
    stub_->UnaryCall(&context, path, grpc::StubOptions(), &request, &response,
                     [&](grpc::Status status) { ended.set_value(std::move(status)); });
    return ended.get_future().get();
  }

 private:
  std::unique_ptr<grpc::GenericStub> stub_;
};

// The most bytes that the program has asked operator new for at once since this was set to 0.
// Stays 0 under the sanitizers, which replace operator new themselves.
std::atomic<std::size_t> largest_allocation{0};

// The process's memory in use, in MiB. Not told under the sanitizers, which keep what was freed.
double MemoryInUse() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return 0;
#else
  std::ifstream file("/proc/self/statm");
  double all = 0;
  double resident = 0;
  file >> all >> resident;
  return resident * 4096 / (1 << 20);
#endif
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
  const grpc::Status unknown = raw.Send(good, false, "/no/such");
  EXPECT_EQ(unknown.error_code(), grpc::StatusCode::UNIMPLEMENTED);
  EXPECT_EQ(unknown.error_message(), "this server does not offer the method /no/such");

  // A text that says it has 268,435,455 bytes.
  largest_allocation = 0;
  EXPECT_EQ(raw.Send("\x0a\xff\xff\xff\x7f", false, "/grpc.health.v1.Health/Check").error_code(),
            grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_LT(largest_allocation, 1U << 20U);
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

}  // namespace
}  // namespace CmnSys::Test

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Not inline, or the compiler takes free() for a mismatch of the call of new.
[[gnu::noinline]] void* operator new(std::size_t size) {
  std::size_t largest = CmnSys::Test::largest_allocation;
  while (size > largest && !CmnSys::Test::largest_allocation.compare_exchange_weak(largest, size)) {
    continue;
  }
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
#endif
