// What a server survives: clients that send nothing, take nothing, or are too many.

#include <arpa/inet.h>
#include <google/protobuf/wrappers.pb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "fixture.h"

namespace CmnSys::Test {
namespace {

// While this is not 0, accept4() fails with it in this program.
std::atomic<int> accept_error{0};
std::atomic<int> accept_failures{0};

// A client that speaks HTTP/2 by hand, to stop wherever it likes.
class BareClient {
 public:
  // `receive_buffer` is in bytes; 0 stands for the system's.
  explicit BareClient(const std::string& address, int receive_buffer = 0)
      : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
    if (receive_buffer != 0) {
      setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(static_cast<in_port_t>(std::stoi(address.substr(address.rfind(':') + 1))));
    EXPECT_EQ(connect(fd_, reinterpret_cast<const sockaddr*>(&to), sizeof to), 0);
    const timeval patience{5, 0};
    setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  }
  ~BareClient() { close(fd_); }
  BareClient(const BareClient&) = delete;
  BareClient& operator=(const BareClient&) = delete;

  // False when the server has closed the connection, or takes nothing.
  bool Send(const std::string& bytes) {
    return send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
  }
  // The client's preface and settings, which makes a connection ready for calls.
  void BeginHttp2() { Send("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + Frame(4, 0, 0, "")); }
  // Lets the server send as much as it likes.
  void OpenWindows() {
    const std::string most("\x7f\xff\0\0", 4);
    Send(Frame(4, 0, 0, std::string("\0\4", 2) + most) + Frame(8, 0, 0, most));
  }
  // The headers of a call, and no more.
  bool BeginCall(std::uint32_t stream, const char* path = "/Pb.Rpc.SvcQuery.Query/Initiate") {
    std::string headers;
    for (const auto& [name, value] : {std::pair{":method", "POST"},
                                      {":scheme", "http"},
                                      {":path", path},
                                      {":authority", "x"},
                                      {"te", "trailers"},
                                      {"content-type", "application/grpc"}}) {
      headers += '\0';
      for (const std::string text : {name, value}) {
        headers += static_cast<char>(text.size());
        headers += text;
      }
    }
    return Send(Frame(1, 4, stream, headers));
  }
  // The request of a call.
  void EndCall(std::uint32_t stream, const std::string& message) {
    const std::uint32_t length = htonl(static_cast<std::uint32_t>(message.size()));
    std::string body(1, '\0');
    body.append(reinterpret_cast<const char*>(&length), 4);
    Send(Frame(0, 1, stream, body + message));
  }
  // Waits until so many bytes have come, and leaves them.
  bool Waits(std::size_t bytes) {
    std::string block(bytes, '\0');
    return Eventually([&] {
      return recv(fd_, block.data(), bytes, MSG_PEEK | MSG_DONTWAIT) == static_cast<ssize_t>(bytes);
    });
  }
  // False when they do not come.
  bool Reads(std::size_t bytes) {
    std::string block(bytes, '\0');
    return recv(fd_, block.data(), bytes, MSG_WAITALL) == static_cast<ssize_t>(bytes);
  }
  // Reads until the server closes the connection; false when it does not.
  bool IsClosed() {
    timeval patience{60, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    std::string block(65'536, '\0');
    ssize_t got = 0;
    while ((got = recv(fd_, block.data(), block.size(), 0)) > 0) continue;
    return got == 0 || errno == ECONNRESET;
  }

 private:
  static std::string Frame(char type, char flags, std::uint32_t stream, const std::string& body) {
    std::string frame{'\0', static_cast<char>(body.size() >> 8U), static_cast<char>(body.size()),
                      type, flags};
    stream = htonl(stream);
    return frame.append(reinterpret_cast<const char*>(&stream), 4) + body;
  }

  const int fd_;
};

TEST(ServerLimits, CallsCountFromTheirBeginningAndEndWhenTheirRequestDoesNotCome) {
  Rpc::ServerOptions options;
  options.max_calls = 2;
  options.request_timeout = milliseconds(3'000);
  std::atomic<int> asked{0};
  options.authorize = [&](const Rpc::CallInfo&) {
    ++asked;
    return Rpc::Status{};
  };
  LoopbackServer server(Echo(), options);
  BareClient client(server.address());
  client.BeginHttp2();
  client.BeginCall(1);
  client.BeginCall(3);
  // Asked about although no byte of a request has come.
  ASSERT_TRUE(Eventually([&] { return asked == 2; }));
  EXPECT_EQ(server->Counters().calls, 2);
  Rpc::Channel channel(server.address());
  const Result refused = Call(&channel);
  EXPECT_EQ(refused.code, StatusCode::kResourceExhausted) << refused.text;
  EXPECT_NE(refused.text.find("busy with 2 calls"), std::string::npos) << refused.text;
  EXPECT_TRUE(Eventually([&] { return Call(&channel).code == StatusCode::kOk; }));
  EXPECT_GE(server->Counters().calls_refused, 1U);
}

TEST(ServerLimits, ARequestMayTakeForEver) {
  Rpc::ServerOptions options;
  options.request_timeout = milliseconds::max();
  LoopbackServer server(Echo(), options);
  BareClient client(server.address());
  client.BeginHttp2();
  client.BeginCall(1);
  ASSERT_TRUE(Eventually([&] { return server->Counters().calls == 1; }));
  // Longer than the server's looks at what is late are apart.
  std::this_thread::sleep_for(milliseconds(600));
  EXPECT_EQ(server->Counters().calls, 1);
}

TEST(ServerLimits, ResponsesThatAreNotTakenHoldBoundedMemoryForABoundedTime) {
  Rpc::ServerOptions options;
  options.max_buffered_bytes = 8 << 20;
  options.response_timeout = milliseconds(2'000);
  LoopbackServer server(
      [](Rpc::ServerController*, const InitiateReq& request, InitiateRsp* response, Closure* done) {
        if (request.has_query()) {
          response->mutable_query_result()->mutable_gid()->set_id(std::string(3 << 20, 'x'));
        }
        done->Run();
      },
      options);
  BareClient client(server.address());
  client.BeginHttp2();
  for (std::uint32_t stream = 1; stream < 16; stream += 2) {
    client.BeginCall(stream);
    client.EndCall(stream, RequestWith("big").SerializeAsString());
  }
  EXPECT_TRUE(Eventually([&] { return server->Counters().calls_refused > 0; }));
  EXPECT_LE(server->Counters().buffered_bytes, options.max_buffered_bytes);
  EXPECT_TRUE(Eventually([&] { return server->Counters().buffered_bytes == 0; }));
  EXPECT_TRUE(Eventually([&] { return server->Counters().calls == 0; }));
  Rpc::Channel channel(server.address());
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
}

TEST(ServerLimits, ConnectionsAreLimitedInAllAndPerClientAndComeBack) {
  for (const bool in_all : {true, false}) {
    Rpc::ServerOptions options;
    (in_all ? options.max_connections : options.max_connections_per_client) = 2;
    LoopbackServer server(Echo(), options);
    auto first = std::make_unique<BareClient>(server.address());
    BareClient second(server.address());
    ASSERT_TRUE(Eventually([&] { return server->Counters().connections == 2; }));
    EXPECT_TRUE(BareClient(server.address()).IsClosed());
    EXPECT_TRUE(Eventually([&] { return server->Counters().connections_refused >= 1; }));
    first.reset();
    Rpc::Channel channel(server.address());
    EXPECT_TRUE(Eventually([&] { return Call(&channel).code == StatusCode::kOk; }));
  }
}

TEST(ServerLimits, ClosedConnectionsAreNoticedWhileOthersArrive) {
  Rpc::ServerOptions options;
  options.max_connections = options.max_connections_per_client = 1'000'000;
  LoopbackServer server(Echo(), options);
  int most = 0;
  EXPECT_TRUE(Eventually([&] {
    const BareClient client(server.address());
    const int open = server->Counters().connections;
    most = std::max(most, open);
    return open < most;
  }));
}

TEST(ServerLimits, WhateverKeepsConnectionsFromBeingAcceptedIsSurvived) {
  // Nothing left, not known, and what otherwise befalls single connections.
  for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EPERM, ECONNABORTED}) {
    LoopbackServer server(Echo());
    auto stopped = std::make_unique<LoopbackServer>(Echo());
    const BareClient waiting(stopped->address());
    accept_failures = 0;
    accept_error = error;
    Rpc::Channel channel(server.address());
    EXPECT_NE(CallWithTimeout(&channel, milliseconds(300)).code, StatusCode::kOk);
    EXPECT_TRUE(Eventually([&] { return accept_failures > 0; }));
    EXPECT_LT(accept_failures, 10'000) << "of error " << error << ", without a pause";
    stopped.reset();
    accept_error = 0;
    Rpc::ClientController patient;
    patient.SetWaitForReady(true);
    EXPECT_EQ(Call(&channel, {}, &patient).code, StatusCode::kOk) << error;
  }
}

TEST(ServerLimits, AConnectionThatFloodsWithCallsAndTakesNoRefusalIsClosedOrNotReadAnyMore) {
  Rpc::ServerOptions options;
  options.max_calls = 100;
  LoopbackServer server(Echo(), options);
  std::optional<BareClient> client(server.address());
  client->BeginHttp2();
  std::uint32_t stream = 1;
  // It neither reads nor acknowledges the limit of streams.
  while (stream < 400'000 && client->BeginCall(stream)) stream += 2;
  EXPECT_LT(stream, 400'000U);
  client.reset();
  EXPECT_TRUE(Eventually([&] { return server->Counters().calls == 0; }));
  Rpc::Channel channel(server.address());
  EXPECT_TRUE(Eventually([&] { return Call(&channel).code == StatusCode::kOk; }));
}

TEST(ServerLimits, PeersThatSayNothingAreGivenUp) {
  const struct {
    const char* what;
    std::function<void(Rpc::ServerOptions*)> set;
    bool http2;
  } cases[] = {
      {"no handshake", [](auto* options) { options->handshake_timeout = milliseconds(500); },
       false},
      {"no sign of life",
       [](auto* options) {
         options->keepalive = milliseconds(1'000);
         options->keepalive_timeout = milliseconds(500);
       },
       true},
      {"no calls", [](auto* options) { options->max_connection_idle = milliseconds(500); }, true},
      {"too old", [](auto* options) { options->max_connection_age = milliseconds(500); }, true}};
  for (const auto& test : cases) {
    Rpc::ServerOptions options;
    test.set(&options);
    LoopbackServer server(Echo(), options);
    BareClient client(server.address());
    if (test.http2) client.BeginHttp2();
    EXPECT_TRUE(client.IsClosed()) << test.what;
    EXPECT_TRUE(Eventually([&] { return server->Counters().connections == 0; })) << test.what;
  }
}

QueryService::Method AnswerLong() {
  return [](Rpc::ServerController*, const InitiateReq&, InitiateRsp* response, Closure* done) {
    response->mutable_query_result()->mutable_gid()->set_id(std::string(32 << 20, 'x'));
    done->Run();
  };
}

TEST(ServerLimits, ClientsThatReadSlowlyAreKept) {
  Rpc::ServerOptions options;
  options.keepalive = milliseconds(2'000);  // A busy server has begun to write before.
  options.keepalive_timeout = milliseconds(1'000);
  LoopbackServer server(AnswerLong(), options);
  BareClient client(server.address(), 4096);
  client.BeginHttp2();
  client.OpenWindows();
  client.BeginCall(1);
  client.EndCall(1, "");
  // For longer than these two.
  for (int i = 0; i < 60; ++i) {
    ASSERT_TRUE(client.Reads(1000));
    std::this_thread::sleep_for(milliseconds(100));
  }
  EXPECT_EQ(server->Counters().connections, 1);
}

TEST(ServerLimits, ClientsThatStopReadingHoldUpNeitherTheServerNorItsEnd) {
  for (const bool shut_down : {false, true}) {
    Rpc::ServerOptions options;
    if (!shut_down) options.keepalive = options.keepalive_timeout = milliseconds(1'000);
    LoopbackServer server(AnswerLong(), options);
    auto client = std::make_unique<BareClient>(server.address());
    client->BeginHttp2();
    client->OpenWindows();
    client->BeginCall(1);
    client->EndCall(1, "");
    ASSERT_TRUE(client->Waits(20'000));
    std::future<void> ended;
    if (shut_down) {
      ended = std::async(std::launch::async, [&] { server->Shutdown(milliseconds(0)); });
      EXPECT_EQ(ended.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    } else {
      EXPECT_TRUE(Eventually([&] { return server->Counters().connections == 0; }));
    }
    client.reset();  // What failed above does not hang.
  }
}

TEST(ServerLimits, CallsOfAClientThatVanishesAreCancelled) {
  Signal arrived;
  Signal cancelled;
  LoopbackServer server(
      [&](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        controller->NotifyOnCancel(NewClosure([&, controller, done] {
          EXPECT_TRUE(controller->IsCanceled());
          done->Run();
          cancelled.Set();
        }));
        arrived.Set();
      });
  auto client = std::make_unique<BareClient>(server.address());
  client->BeginHttp2();
  client->BeginCall(1);
  client->EndCall(1, "");
  ASSERT_TRUE(arrived.Wait());
  client.reset();
  EXPECT_TRUE(cancelled.Wait());
}

TEST(ServerLimits, CallsOfReflectionAreLimitedAndMakeRoomAgain) {
  Rpc::ServerOptions options;
  options.reflection = true;
  options.request_timeout = milliseconds(3'000);
  LoopbackServer server(Echo(), options);
  Rpc::Channel channel(server.address());
  const std::string method = "grpc.reflection.v1.ServerReflection/ServerReflectionInfo";
  const auto outcome = [&] {
    StatusCode code = StatusCode::kUnknown;
    Signal ended;
    Rpc::SubscriptionHandler handler;
    handler.on_end = [&](const Rpc::Status& status) {
      code = status.code;
      ended.Set();
    };
    const auto call = channel.Subscribe(method, google::protobuf::StringValue(),
                                        google::protobuf::StringValue::default_instance(), handler);
    EXPECT_TRUE(ended.Wait());
    return code;
  };
  EXPECT_EQ(outcome(), StatusCode::kOk);
  // Asks nothing in any of its calls.
  BareClient client(server.address());
  client.BeginHttp2();
  std::uint32_t stream = 1;
  const auto begin = [&] {
    client.BeginCall(stream, ("/" + method).c_str());
    stream += 2;
  };
  for (int i = 0; i < 64; ++i) begin();
  // One more each time, since a question of the other client may have taken the place of one.
  EXPECT_TRUE(Eventually([&] {
    begin();
    return outcome() == StatusCode::kResourceExhausted;
  }));
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  EXPECT_TRUE(Eventually([&] { return outcome() == StatusCode::kOk; }));
}

TEST(ServerLimits, HealthIsToldWithItsChangesWhileAllWorkersAreBlockedAndTheServerIsFull) {
  using google::protobuf::Int32Value;
  Rpc::ServerOptions options;
  options.workers = options.max_workers = options.max_calls = 2;
  Signal release;
  std::atomic<int> blocked{0};
  LoopbackServer server(
      [&](Rpc::ServerController*, const InitiateReq&, InitiateRsp*, Closure* done) {
        ++blocked;
        release.Wait();
        done->Run();
      },
      options);
  Rpc::Channel channel(server.address());
  std::vector<std::future<Result>> callers(2);
  for (auto& caller : callers) {
    caller = std::async(std::launch::async, [&] { return Call(&channel); });
  }
  ASSERT_TRUE(Eventually([&] { return blocked == 2; }));
  // HealthCheckRequest and HealthCheckResponse have the same bytes as these two.
  google::protobuf::StringValue request;
  request.set_value("Pb.Rpc.SvcQuery.Query");
  std::vector<int> told;
  std::atomic<int> count{0};
  Signal ended;
  Rpc::SubscriptionHandler handler;
  handler.on_message = [&](const google::protobuf::Message& message) {
    told.push_back(static_cast<const Int32Value&>(message).value());
    ++count;
  };
  handler.on_end = [&](const Rpc::Status&) { ended.Set(); };
  const auto watch = channel.Subscribe("grpc.health.v1.Health/Watch", request,
                                       Int32Value::default_instance(), handler);
  EXPECT_TRUE(Eventually([&] { return count == 1; }));
  server->SetServing(request.value(), false);
  server->SetServing(request.value(), true);
  server->SetServing("", false);  // Not watched here.
  EXPECT_TRUE(Eventually([&] { return count == 3; }));
  const Rpc::ServerCounters counters = server->Counters();
  EXPECT_EQ(counters.busy_workers, 2);
  EXPECT_EQ(counters.calls, 2);
  release.Set();
  for (auto& caller : callers) EXPECT_EQ(caller.get().code, StatusCode::kOk);
  server->Shutdown();
  ASSERT_TRUE(ended.Wait());
  EXPECT_EQ(told, (std::vector<int>{1, 2, 1, 2}));
}

}  // namespace
}  // namespace CmnSys::Test

// Takes the place of the C library's in all of the program.
extern "C" int accept4(int listener, sockaddr* from, socklen_t* length, int flags) {
  if (CmnSys::Test::accept_error == 0) {
    return static_cast<int>(syscall(SYS_accept4, listener, from, length, flags));
  }
  ++CmnSys::Test::accept_failures;
  errno = CmnSys::Test::accept_error;
  return -1;
}
