// Odd use of the client's classes, and what they tell of themselves.

#include <atomic>
#include <mutex>
#include <vector>

#include "client_fixture.h"
#include "common/address.h"
#include "common/payload.h"
#include "common/time.h"

namespace CmnSys::Test {
namespace {

TEST(Addresses, AreReadOrRefused) {
  const struct {
    const char* text;
    std::optional<bool> local;
    std::size_t expanded;
  } good[] = {{"server.example:4711", std::nullopt, 1},
              {"192.0.2.7:0", false, 1},
              {"127.1.2.3:65535", true, 1},
              {"[::1]:1", true, 1},
              {"[fe80::1%eth0]:1", false, 1},
              {"localhost:1", true, 2},
              {"LocalHost.:1", true, 2},
              {"db.localhost:1", true, 2},
              {"notlocalhost:1", std::nullopt, 1},
              {"unix:/run/x.sock", true, 1}};
  for (const auto& test : good) {
    const Rpc::Address address = Rpc::ParseAddress(test.text);
    EXPECT_EQ(address.Text(), test.text);
    EXPECT_EQ(Rpc::IsLocal(address), test.local) << test.text;
    EXPECT_EQ(Rpc::Expand(address).size(), test.expanded) << test.text;
  }
  for (const std::string text :
       {"", "host", ":1", "host:", "host:70000", "host:1x", "::1:5", "[::1:5", "[[a]]:7", "[a]:7",
        "a b:1", "a/b:1", "h%41:1", "[]:1", "unix:"}) {
    EXPECT_THROW(Rpc::ParseAddress(text), std::invalid_argument) << text;
  }
  EXPECT_THROW(Rpc::ParseAddress("unix:/" + std::string(107, 'x')), std::invalid_argument);
}

TEST(Channels, TakeListsOfAddressesAndFailAtTheCallWhenAHostIsUnknown) {
  Rpc::ChannelOptions anywhere;
  anywhere.plaintext = Rpc::Plaintext::kAnywhere;
  Rpc::Channel two({"h1.invalid:1", "h2.invalid:2"}, anywhere);
  for (const Rpc::ChannelOptions& options : {anywhere, Rpc::ChannelOptions()}) {
    Rpc::Channel unknown("no-such-host.invalid:1", options);
    const Result result = Call(&unknown);
    EXPECT_EQ(result.code, StatusCode::kUnavailable);
    EXPECT_EQ(result.text.rfind("cannot reach no-such-host.invalid:1: ", 0), 0U) << result.text;
  }
  Rpc::ChannelOptions name_without_tls;
  name_without_tls.server_name = "server.example";
  EXPECT_THROW(Rpc::Channel("127.0.0.1:1", name_without_tls), std::invalid_argument);
  EXPECT_THROW(Rpc::Channel(std::vector<std::string>{}), std::invalid_argument);
}

TEST(Channels, ReachLocalhostOnEitherFamilyAndVerifyItsName) {
  const Certificates certificates;
  for (const char* host : {"127.0.0.1", "[::1]"}) {
    for (const bool tls : {false, true}) {
      Rpc::ServerOptions server_options;
      Rpc::ChannelOptions options;
      server_options.addresses = {std::string(host) + ":0"};
      if (tls) server_options.tls = certificates.Server();
      if (tls) options.tls = certificates.Client();
      LoopbackServer server(Echo(), server_options);
      const std::string address = server.address();
      Rpc::Channel channel("localhost" + address.substr(address.rfind(':')), options);
      Rpc::ClientController controller;
      const Result result = Call(&channel, {}, &controller);
      EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
      EXPECT_EQ(controller.Peer(), address);
    }
  }
}

TEST(Channels, ReachServersOnUnixDomainSockets) {
  const Certificates certificates;
  const TemporaryFolder folder;
  const std::string address = "unix:" + folder.PathOf("socket");
  for (const bool tls : {false, true}) {
    Rpc::ServerOptions server_options;
    Rpc::ChannelOptions options;
    server_options.addresses = {address};
    if (tls) {
      server_options.tls = certificates.Server();
      options.tls = certificates.Client();
      options.server_name = "localhost";
    }
    Rpc::Channel channel(address, options);
    const Result nobody = Call(&channel);
    EXPECT_EQ(nobody.code, StatusCode::kUnavailable);
    EXPECT_EQ(nobody.text.rfind("cannot reach " + address + ": ", 0), 0U) << nobody.text;
    for (int start = 0; start < 2; ++start) {
      LoopbackServer server(Echo(), server_options);
      Rpc::ClientController controller;
      controller.SetWaitForReady(true);
      const Result result = Call(&channel, {}, &controller);
      EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
      EXPECT_EQ(controller.Address(), address);
      EXPECT_EQ(controller.Peer(), address);
    }
    Rpc::Channel two({"unix:" + folder.PathOf("none"), address}, options);
    LoopbackServer server(Echo(), server_options);
    Rpc::ClientController controller;
    EXPECT_EQ(Call(&two, {}, &controller).code, StatusCode::kOk);
    EXPECT_EQ(controller.Address(), address);
  }
}

// What is sent arrives; what gRPC would lose, or die of, is refused.
TEST(Metadata, IsEitherCarriedOrRefused) {
  SeenInfo seen;
  LoopbackServer server(seen.Method());
  Rpc::Channel channel(server.address());
  const struct {
    std::string name;
    std::string value;
    bool carried;
  } cases[] = {{"x-site", "north gate", true},
               {"x-raw-bin", std::string("\0\xff", 2), true},
               {"traceparent", "00-4bf92f3577b34da6a3ce929d0e0e4736-00f067aa0ba902b7-01", true},
               {"accept", "x", true},
               {"Upper", "v", false},
               {":path", "v", false},
               {"", "v", false},
               {"x-line", "a\nb", false},
               {"x-long", std::string(5000, 'v'), false},
               {"authorization", "v", false},
               {"grpc-encoding", "gzip", false},
               {"grpclb_client_stats", "v", false},
               {"te", "v", false},
               {"host", "v", false},
               {"content-type", "v", false},
               {"user-agent", "v", false},
               {"content-length", "1", false},
               {"lb-cost-bin", "v", false},
               {"lb-token", "v", false},
               {"endpoint-load-metrics-bin", "v", false},
               {"cmnsys-subscribed", "v", false}};
  for (const auto& test : cases) {
    Rpc::ClientController controller;
    if (!test.carried) {
      EXPECT_THROW(controller.AddMetadata(test.name, test.value), std::invalid_argument)
          << test.name;
      continue;
    }
    controller.AddMetadata(test.name, test.value);
    EXPECT_EQ(Call(&channel, {}, &controller).code, StatusCode::kOk) << test.name;
    const Rpc::CallInfo info = seen.Get();
    ASSERT_EQ(info.metadata.count(test.name), 1U) << test.name;
    EXPECT_EQ(info.metadata.find(test.name)->second, test.value);
  }
}

TEST(Durations, AreBroughtIntoRange) {
  using std::chrono::hours;
  const auto never = gpr_inf_future(GPR_CLOCK_MONOTONIC);
  EXPECT_EQ(gpr_time_cmp(Rpc::DeadlineAfter(milliseconds::max()), never), 0);
  EXPECT_EQ(gpr_time_cmp(Rpc::DeadlineAfter(hours(24 * 366 * 300)), never), 0);
  const auto now = gpr_now(GPR_CLOCK_MONOTONIC);
  EXPECT_LE(gpr_time_cmp(Rpc::DeadlineAfter(milliseconds::min()), now), 0);
  EXPECT_EQ(Rpc::ToArgument(milliseconds::max()), INT_MAX);
  EXPECT_EQ(Rpc::ToArgument(milliseconds::min()), 1);

  LoopbackServer server(Echo());
  Rpc::ChannelOptions options;
  options.timeout = milliseconds::max();
  options.connect_timeout = options.max_reconnect_pause = options.keepalive = options.timeout;
  Rpc::Channel channel(server.address(), options);
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  EXPECT_EQ(CallWithTimeout(&channel, milliseconds::min()).code, StatusCode::kDeadlineExceeded);
  EXPECT_EQ(CallWithTimeout(&channel, hours(24 * 366 * 250)).code, StatusCode::kOk);
}

TEST(Texts, AreCutToWhatFits) {
  const struct {
    std::string text;
    std::size_t limit;
    std::string cut;
  } cases[] = {{"abc", 3, "abc"},
               {"abcd", 3, "..."},
               {"abcd", 2, "ab"},
               {"abcd", 1, "a"},
               {"abcd", 0, ""},
               {"", 0, ""},
               {"abcde", 4, "a..."},
               {"\u00fc\u00fc\u00fc", 5, "\u00fc..."},
               {"\u00fc\u00fc\u00fc", 4, "..."}};
  for (const auto& test : cases) EXPECT_EQ(Rpc::CutText(test.text, test.limit), test.cut);
}

TEST(Controllers, ServeOneCallAtATime) {
  Signal arrived;
  Signal release;
  LoopbackServer server(
      [&](Rpc::ServerController*, const InitiateReq&, InitiateRsp*, Closure* done) {
        arrived.Set();
        release.Wait();
        done->Run();
      });
  Rpc::Channel channel(server.address());
  Rpc::ClientController controller;
  InitiateRsp response;
  Signal ended;
  Pb::Rpc::SvcQuery::Query_Stub stub(&channel);
  stub.Initiate(&controller, &InitiateReq::default_instance(), &response,
                NewClosure([&] { ended.Set(); }));
  ASSERT_TRUE(arrived.Wait());
  InitiateRsp second;
  EXPECT_THROW(stub.Initiate(&controller, &InitiateReq::default_instance(), &second, nullptr),
               std::logic_error);
  EXPECT_THROW(controller.Reset(), std::logic_error);
  release.Set();
  ASSERT_TRUE(ended.Wait());
  EXPECT_EQ(controller.Code(), StatusCode::kOk);
  controller.Reset();
}

// A closure that makes its call again, so many times, while the channel is being deleted.
TEST(Channels, RunNoClosureInsideACallWhileTheyAreBeingDeleted) {
  LoopbackServer server(
      [](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        controller->NotifyOnCancel(NewClosure([done] { done->Run(); }));
      });
  constexpr int kRepeats = 2000;
  auto channel = std::make_unique<Rpc::Channel>(server.address());
  Pb::Rpc::SvcQuery::Query_Stub stub(channel.get());
  Rpc::ClientController controller;
  InitiateRsp response;
  std::atomic<int> repeats{0};
  std::atomic<int> nested{0};
  std::function<void()> call = [&] {
    controller.Reset();
    stub.Initiate(&controller, &InitiateReq::default_instance(), &response, NewClosure([&] {
      thread_local int depth = 0;  // The closures may take turns on two threads.
      if (++depth > 1) ++nested;
      EXPECT_EQ(controller.Code(), StatusCode::kCancelled);
      if (++repeats < kRepeats) call();
      --depth;
    }));
  };
  call();
  channel.reset();
  EXPECT_EQ(repeats, kRepeats);
  EXPECT_EQ(nested, 0);
}

struct Recorder final : Rpc::Observer {
  struct End {
    std::string address;
    Rpc::CallInfo info;
    Rpc::Status status;
    std::uint64_t request_bytes;
    std::uint64_t response_bytes;
  };
  void OnCallEnd(const Rpc::CallEnd& end) override {
    EXPECT_GT(end.duration.count(), 0);
    const std::lock_guard lock(mutex);
    ends.push_back({end.address, end.info, end.status, end.request_bytes, end.response_bytes});
  }
  void OnEvent(const Rpc::Event& event) override {
    const std::lock_guard lock(mutex);
    events.push_back(event);
  }
  bool Saw(Rpc::Event::Kind kind, const std::string& address) {
    const std::lock_guard lock(mutex);
    return std::any_of(events.begin(), events.end(), [&](const Rpc::Event& event) {
      return event.kind == kind && event.address == address;
    });
  }

  std::mutex mutex;
  std::vector<End> ends;
  std::vector<Rpc::Event> events;
};

TEST(Observers, LearnOfCallsAndConnectionsAndCountersCountThem) {
  const auto recorder = std::make_shared<Recorder>();
  Rpc::ChannelOptions options;
  options.observer = recorder;
  auto server = std::make_unique<LoopbackServer>(Echo());
  const std::string address = server->address();
  Rpc::Channel channel(address, options);
  const InitiateReq request = RequestWith("seen");
  Rpc::ClientController controller;
  controller.AddMetadata("x-site", "north");
  ASSERT_EQ(Call(&channel, request, &controller).code, StatusCode::kOk);
  EXPECT_TRUE(Eventually([&] { return recorder->Saw(Rpc::Event::Kind::kConnected, address); }));
  server.reset();
  EXPECT_TRUE(Eventually([&] { return recorder->Saw(Rpc::Event::Kind::kDisconnected, address); }));
  EXPECT_EQ(Call(&channel, request).code, StatusCode::kUnavailable);

  ASSERT_EQ(recorder->ends.size(), 2U);
  const Recorder::End& answered = recorder->ends[0];
  EXPECT_EQ(answered.address, address);
  EXPECT_EQ(answered.info.peer, address);
  EXPECT_EQ(answered.info.service, "Pb.Rpc.SvcQuery.Query");
  EXPECT_EQ(answered.info.method, "Initiate");
  EXPECT_EQ(answered.info.metadata.count("x-site"), 1U);
  EXPECT_TRUE(answered.info.deadline.has_value());
  EXPECT_EQ(answered.request_bytes, request.ByteSizeLong());
  EXPECT_GT(answered.response_bytes, 0U);
  EXPECT_EQ(recorder->ends[1].status.code, StatusCode::kUnavailable);
  EXPECT_EQ(recorder->ends[1].info.peer, "");

  const Rpc::ChannelCounters counters = channel.Counters();
  EXPECT_EQ(counters.calls, 2U);
  EXPECT_EQ(counters.failed_calls, 1U);
  EXPECT_EQ(counters.calls_in_progress, 0);
  EXPECT_EQ(counters.sent_bytes, answered.request_bytes);
  EXPECT_EQ(counters.received_bytes, answered.response_bytes);
}

}  // namespace
}  // namespace CmnSys::Test
