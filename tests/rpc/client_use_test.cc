// Odd use of the client's classes, and what they tell of themselves.

#include <atomic>
#include <mutex>
#include <vector>

#include "client_fixture.h"
#include "common/address.h"
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

TEST(Channels, AreRefusedWhenTheyCannotWorkAndFailAtTheCallWhenAHostIsUnknown) {
  Rpc::ChannelOptions name_without_tls;
  name_without_tls.server_name = "server.example";
  EXPECT_THROW(Rpc::Channel("127.0.0.1:1", name_without_tls), std::invalid_argument);
  EXPECT_THROW(Rpc::Channel(std::vector<std::string>{}), std::invalid_argument);
  Rpc::Channel unknown("no-such-host.invalid:1");
  const Result result = Call(&unknown);
  EXPECT_EQ(result.code, StatusCode::kUnavailable);
  EXPECT_EQ(result.text.rfind("cannot reach no-such-host.invalid:1: ", 0), 0U) << result.text;
}

TEST(Channels, ReachServersOnEitherFamilyOfLocalhostAndOnUnixDomainSockets) {
  const Certificates certificates;
  const TemporaryFolder folder;
  const std::string socket = "unix:" + folder.PathOf("a%41 ?#.socket");
  for (const std::string& listen : {std::string("127.0.0.1:0"), std::string("[::1]:0"), socket}) {
    for (const bool tls : {false, true}) {
      Rpc::ServerOptions server_options;
      Rpc::ChannelOptions options;
      server_options.addresses = {listen};
      if (tls) {
        server_options.tls = certificates.Server();
        options.tls = certificates.Client();
        if (listen == socket) options.server_name = "localhost";
      }
      std::unique_ptr<Rpc::Channel> channel;
      for (int start = 0; start < 2; ++start) {
        LoopbackServer server(Echo(), server_options);
        const std::string address = server.address();
        server_options.addresses = {address};
        if (channel == nullptr) {
          // The name of localhost is in the certificates.
          const auto targets = listen == socket
                                   ? std::vector{"unix:" + folder.PathOf("none"), address}
                                   : std::vector{"localhost" + address.substr(address.rfind(':'))};
          channel = std::make_unique<Rpc::Channel>(targets, options);
        }
        Rpc::ClientController controller;
        controller.SetWaitForReady(true);
        Result result;
        // A call that goes to the old connection, which the client does not yet know to be closed,
        // is lost with it.
        EXPECT_TRUE(Eventually([&] {
          result = Call(channel.get(), {}, &controller);
          return result.code != StatusCode::kUnavailable;
        })) << result.text;
        EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
        EXPECT_EQ(controller.Peer(), address);
      }
    }
  }
}

// What is sent arrives; what gRPC would lose, or die of, is refused.
TEST(Metadata, IsEitherCarriedOrRefused) {
  SeenInfo seen;
  LoopbackServer server(seen.Method());
  Rpc::Channel channel(server.address());
  for (const auto& [name, value] : {std::pair<std::string, std::string>{"x-site", "north gate"},
                                    {"x-raw-bin", std::string("\0\xff", 2)},
                                    {"traceparent", "00-4bf92f3577b34da6a3ce929d0e0e4736-00"},
                                    {"accept", "x"}}) {
    Rpc::ClientController controller;
    controller.AddMetadata(name, value);
    EXPECT_EQ(Call(&channel, {}, &controller).code, StatusCode::kOk) << name;
    const Rpc::CallInfo info = seen.Get();
    ASSERT_EQ(info.metadata.count(name), 1U) << name;
    EXPECT_EQ(info.metadata.find(name)->second, value);
  }
  Rpc::ClientController controller;
  for (const char* name :
       {"Upper", ":path", "", "authorization", "grpc-encoding", "grpclb_client_stats", "te", "host",
        "content-type", "user-agent", "content-length", "lb-cost-bin", "lb-token",
        "endpoint-load-metrics-bin", "cmnsys-subscribed"}) {
    EXPECT_THROW(controller.AddMetadata(name, "v"), std::invalid_argument) << name;
  }
  for (const std::string& value : {std::string("a\nb"), std::string(5000, 'v')}) {
    EXPECT_THROW(controller.AddMetadata("x-site", value), std::invalid_argument);
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
  void OnCallEnd(const Rpc::CallEnd& end) override {
    EXPECT_GT(end.duration.count(), 0);
    EXPECT_TRUE(end.info.deadline.has_value());
    const std::lock_guard lock(mutex);
    ends.push_back(end.info.peer + " " + end.info.service + " " + end.info.method + " " +
                   Rpc::StatusCodeName(end.status.code));
    EXPECT_EQ(end.info.metadata.count("x-site"), ends.size() == 1 ? 1U : 0U);
  }
  void OnEvent(const Rpc::Event& event) override {
    const std::lock_guard lock(mutex);
    events.emplace_back(event.kind, event.address);
  }
  bool Saw(Rpc::Event::Kind kind, const std::string& address) {
    const std::lock_guard lock(mutex);
    return std::count(events.begin(), events.end(), std::pair(kind, address)) > 0;
  }

  std::mutex mutex;
  std::vector<std::string> ends;
  std::vector<std::pair<Rpc::Event::Kind, std::string>> events;
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
  const Result answered = Call(&channel, request, &controller);
  ASSERT_EQ(answered.code, StatusCode::kOk);
  EXPECT_TRUE(Eventually([&] { return recorder->Saw(Rpc::Event::Kind::kConnected, address); }));
  server.reset();
  EXPECT_TRUE(Eventually([&] { return recorder->Saw(Rpc::Event::Kind::kDisconnected, address); }));
  EXPECT_EQ(Call(&channel, request).code, StatusCode::kUnavailable);
  EXPECT_EQ(recorder->ends,
            (std::vector<std::string>{address + " Pb.Rpc.SvcQuery.Query Initiate OK",
                                      " Pb.Rpc.SvcQuery.Query Initiate UNAVAILABLE"}));
  const Rpc::ChannelCounters counters = channel.Counters();
  EXPECT_EQ(counters.calls, 2U);
  EXPECT_EQ(counters.failed_calls, 1U);
  EXPECT_EQ(counters.calls_in_progress, 0);
  EXPECT_EQ(counters.sent_bytes, request.ByteSizeLong());
  EXPECT_EQ(counters.received_bytes, answered.response.ByteSizeLong());
}

}  // namespace
}  // namespace CmnSys::Test
