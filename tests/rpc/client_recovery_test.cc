// Servers that go, return, are silent, or are none at all.

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "client_fixture.h"

namespace CmnSys::Test {
namespace {

using Pb::CmnSys::Notifications::Notification;
using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;

std::string AddressOfCall(Rpc::Channel* channel) {
  Rpc::ClientController controller;
  const Result result = Call(channel, {}, &controller);
  EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
  return controller.Address();
}

// Subscribes to the ticks of remote servers and notes which servers sent one.
class TickListener {
 public:
  TickListener(Rpc::Channel* channel, Rpc::SubscribeOptions options) {
    Rpc::SubscriptionHandlerOf<Notification> handler;
    handler.on_message = [this](const Notification& tick) {
      const std::lock_guard lock(mutex_);
      senders_.insert(tick.gid().id());
    };
    handler.on_interrupted = [this](const Rpc::Status&) { ++interruptions; };
    handler.on_resumed = [this] { ++resumptions; };
    handler.on_end = [this](const Rpc::Status& status) {
      outcome = status;
      ended.Set();
    };
    subscription = channel->Subscribe<Notification>(
        kTicks, EventNotificationSubscribeReq::default_instance(), handler, std::move(options));
  }
  bool Heard(const std::string& sender) const {
    const std::lock_guard lock(mutex_);
    return senders_.count(sender) != 0;
  }

  std::atomic<int> interruptions{0};
  std::atomic<int> resumptions{0};
  Rpc::Status outcome;
  Signal ended;
  std::unique_ptr<Rpc::Subscription> subscription;

 private:
  mutable std::mutex mutex_;
  std::set<std::string> senders_;
};

class Recovery : public testing::TestWithParam<bool> {
 protected:
  const Certificates certificates;
  const Certificates* tls() const { return GetParam() ? &certificates : nullptr; }
  Rpc::ChannelOptions Options() const {
    Rpc::ChannelOptions options;
    if (GetParam()) options.tls = certificates.Client();
    return options;
  }
};

INSTANTIATE_TEST_SUITE_P(, Recovery, testing::Bool(),
                         [](const auto& test) { return test.param ? "Tls" : "Plaintext"; });

TEST_P(Recovery, BlockingClientsAndSubscribersFindARestartedServer) {
  constexpr int kEach = 20;
  const FreePort port;  // Nobody listens there yet.
  const std::string address = port.address();
  struct Client {
    std::unique_ptr<Rpc::Channel> channel;
    std::thread thread;
    std::atomic<const char*> served_by{""};
  };
  std::vector<Client> clients(kEach);
  std::atomic<bool> stop{false};
  const auto all_served_by = [&](const std::string& name) {
    return Eventually([&] {
      return std::all_of(clients.begin(), clients.end(),
                         [&](const Client& client) { return client.served_by.load() == name; });
    });
  };
  for (Client& client : clients) {
    client.channel = std::make_unique<Rpc::Channel>(address, Options());
    client.thread = std::thread([&] {
      while (!stop) {
        const Result result = Call(client.channel.get());
        client.served_by = result.code != StatusCode::kOk       ? "nobody"
                           : TextIn(result.response) == "first" ? "first"
                                                                : "second";
        std::this_thread::sleep_for(milliseconds(10));
      }
    });
  }
  Rpc::Channel channel(address, Options());
  Rpc::SubscribeOptions lasting;
  lasting.resubscribe = true;
  std::vector<std::unique_ptr<TickListener>> listeners;
  for (int i = 0; i < kEach; ++i) {
    listeners.push_back(std::make_unique<TickListener>(&channel, lasting));
  }
  const auto all_heard = [&](const std::string& name) {
    return Eventually([&] {
      return std::all_of(listeners.begin(), listeners.end(),
                         [&](const auto& listener) { return listener->Heard(name); });
    });
  };
  EXPECT_TRUE(all_served_by("nobody"));
  {
    const RemoteServer server("first", address, tls());
    EXPECT_TRUE(all_served_by("first"));
    EXPECT_TRUE(all_heard("first"));
  }
  EXPECT_TRUE(all_served_by("nobody"));
  const RemoteServer server("second", address, tls());
  EXPECT_TRUE(all_served_by("second"));
  EXPECT_TRUE(all_heard("second"));
  stop = true;
  for (Client& client : clients) client.thread.join();
  for (const auto& listener : listeners) {
    EXPECT_EQ(listener->resumptions, 1);
    EXPECT_LE(listener->interruptions, 2);
    listener->subscription->Cancel();
    ASSERT_TRUE(listener->ended.Wait());
    EXPECT_EQ(listener->outcome.code, StatusCode::kCancelled);
  }
}

TEST_P(Recovery, AServerThatDiesDuringACallIsNamedWithTheMethod) {
  RemoteServer server("only", "127.0.0.1:0", tls());
  Rpc::Channel channel(server.address(), Options());
  const Result lost = Call(&channel, RequestWith("crash"));
  EXPECT_EQ(lost.code, StatusCode::kUnavailable);
  EXPECT_EQ(lost.text.rfind("lost the connection to " + server.address() +
                                " during /Pb.Rpc.SvcQuery.Query/Initiate: ",
                            0),
            0U)
      << lost.text;
  server.Kill();  // Waits for its end: its connections may be closed before it stops to listen.
  const Result refused = Call(&channel);
  EXPECT_EQ(refused.text.rfind("cannot reach " + server.address(), 0), 0U) << refused.text;
  // It was reached before, so that is not why.
  EXPECT_EQ(refused.text.find("TLS"), std::string::npos) << refused.text;
}

// What a port answers that is no server, or none that speaks as expected.
TEST_P(Recovery, PeersThatAreNoServerFailCallsAndSubscriptions) {
  const auto send = [](const std::string& bytes) {
    return [bytes](int connection) {
      (void)::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      shutdown(connection, SHUT_WR);
      char rest = 0;
      while (read(connection, &rest, 1) == 1) continue;
      close(connection);
    };
  };
  const struct {
    const char* what;
    std::function<void(int)> with_each;
  } cases[] = {
      {"silent", nullptr},
      {"closing", [](int connection) { close(connection); }},
      {"another protocol", send("HTTP/1.1 400 Bad Request\r\n\r\n")},
      {"a TLS record of garbage", send(std::string("\x16\x03\x01\x00\x04\xff\xff\xff\xff", 9))},
      {"bytes", send(std::string(100'000, '\x17'))},
  };
  Rpc::ChannelOptions options = Options();
  options.connect_timeout = milliseconds(300);
  for (const auto& test : cases) {
    const Listener listener(test.with_each);
    Rpc::Channel channel(listener.address(), options);
    const Result result = Call(&channel);
    EXPECT_EQ(result.code, StatusCode::kUnavailable) << test.what << ": " << result.text;
    EXPECT_EQ(result.text.rfind("cannot reach " + listener.address(), 0), 0U) << result.text;
    TickListener subscriber(&channel, {});
    ASSERT_TRUE(subscriber.ended.Wait()) << test.what;
    EXPECT_EQ(subscriber.outcome.code, StatusCode::kUnavailable) << test.what;
  }
}

TEST_P(Recovery, ASilentAddressLeavesCallsAndSubscriptionsToTheNext) {
  const Listener silent;
  const RemoteServer server("good", "127.0.0.1:0", tls());
  Rpc::ChannelOptions options = Options();
  options.connect_timeout = std::chrono::minutes(10);
  options.timeout = std::chrono::seconds(25);
  for (const bool wait : {false, true}) {
    Rpc::Channel channel({silent.address(), server.address()}, options);
    Rpc::SubscribeOptions subscribe;
    subscribe.wait_for_ready = wait;
    TickListener subscriber(&channel, subscribe);
    Rpc::ClientController controller;
    controller.SetWaitForReady(wait);
    EXPECT_EQ(TextIn(Call(&channel, {}, &controller).response), "good");
    EXPECT_EQ(controller.Address(), server.address());
    EXPECT_EQ(controller.Peer(), server.address());
    EXPECT_TRUE(Eventually([&] { return subscriber.Heard("good"); }));
  }
}

int CountThreads() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<int>(std::distance(begin(threads), end(threads)));
}

TEST(DeadPeer, DoesNotHoldLongRequestsBeyondTheirTime) {
  const TemporaryFolder folder;
  RemoteServer server("frozen", "unix:" + folder.PathOf("socket"));
  Rpc::Channel channel(server.address());
  const InitiateReq request = RequestWith(std::string(16 << 20, 'x'));
  // Until the server's window is larger than the buffers of the system.
  for (int i = 0; i < 8; ++i) EXPECT_EQ(Call(&channel, request).code, StatusCode::kOk);
  server.Freeze();
  Rpc::ClientController controllers[2];
  for (auto& controller : controllers) controller.SetTimeout(milliseconds(1'000));
  auto blocking =
      std::async(std::launch::async, [&] { return Call(&channel, request, controllers).code; });
  Signal ended;
  InitiateRsp response;
  Pb::Rpc::SvcQuery::Query_Stub(&channel).Initiate(controllers + 1, &request, &response,
                                                   NewClosure([&] { ended.Set(); }));
  EXPECT_TRUE(ended.Wait());
  EXPECT_EQ(blocking.wait_for(std::chrono::seconds(30)), std::future_status::ready);
  constexpr int kMore = 50;
  const int threads = CountThreads();
  for (int i = 0; i < kMore; ++i) {
    Rpc::ClientController controller;
    controller.SetTimeout(milliseconds(20));
    Call(&channel, RequestWith(std::string(1 << 20, 'x')), &controller);
  }
  EXPECT_LT(CountThreads(), threads + kMore / 2);  // Some may be gRPC's.
  server.Kill();                                   // What is still being written ends.
  EXPECT_EQ(blocking.get(), StatusCode::kDeadlineExceeded);
  EXPECT_EQ(controllers[1].Code(), StatusCode::kDeadlineExceeded);
}

TEST(DeadPeer, IsNoticedDuringCallsAndSubscriptions) {
  const RemoteServer server("frozen", "127.0.0.1:0");
  Rpc::ChannelOptions options;
  options.keepalive = std::chrono::seconds(10);
  options.timeout = milliseconds::max();
  Rpc::Channel channel(server.address(), options);
  TickListener subscriber(&channel, {});
  ASSERT_TRUE(Eventually([&] { return subscriber.Heard("frozen"); }));
  server.Freeze();
  const Result result = Call(&channel);
  EXPECT_EQ(result.code, StatusCode::kUnavailable);
  EXPECT_EQ(result.text.rfind("lost the connection to " + server.address(), 0), 0U) << result.text;
  ASSERT_TRUE(subscriber.ended.Wait());
  EXPECT_EQ(subscriber.outcome.code, StatusCode::kUnavailable) << subscriber.outcome.text;
}

TEST(SeveralServers, CallsStayOnOneAsLongAsItCanBeReached) {
  const Listener nobody([](int connection) { close(connection); });
  auto server = std::make_unique<RemoteServer>("one", "127.0.0.1:0");
  auto other = std::make_unique<RemoteServer>("other", "127.0.0.1:0");
  Rpc::Channel channel({nobody.address(), server->address(), other->address()});
  const std::string address = AddressOfCall(&channel);
  // On a busy machine the later one may be connected first.
  if (address == other->address()) server.swap(other);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(AddressOfCall(&channel), address);
  server->Kill();
  EXPECT_TRUE(Eventually([&] { return Call(&channel).code == StatusCode::kOk; }));
  server = std::make_unique<RemoteServer>("one again", address);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(AddressOfCall(&channel), other->address());
}

TEST(SeveralServers, AreCalledInTurnWhenAskedFor) {
  LoopbackServer first(Echo());
  auto second = std::make_unique<LoopbackServer>(Echo());
  Rpc::ChannelOptions options;
  options.balancing = Rpc::LoadBalancing::kRoundRobin;
  Rpc::Channel channel({"127.0.0.1:1", first.address(), second->address()}, options);
  std::map<std::string, int> calls;
  EXPECT_TRUE(Eventually([&] {
    ++calls[AddressOfCall(&channel)];
    return calls.size() == 2;
  }));
  calls.clear();
  for (int i = 0; i < 10; ++i) ++calls[AddressOfCall(&channel)];
  EXPECT_EQ(calls[first.address()], 5);
  EXPECT_EQ(calls[second->address()], 5);
  second.reset();
  EXPECT_TRUE(Eventually([&] { return Call(&channel).code == StatusCode::kOk; }));
  for (int i = 0; i < 10; ++i) EXPECT_EQ(AddressOfCall(&channel), first.address());
}

TEST(SeveralServers, NeitherOfTwoRunsACallAgainThatAServerHasSeen) {
  std::atomic<int> runs{0};
  const auto fail = [&](Rpc::ServerController* controller, const InitiateReq& request, InitiateRsp*,
                        Closure* done) {
    ++runs;
    controller->SetFailed(StatusCode::kUnavailable, request.query().gid().id());
    done->Run();
  };
  LoopbackServer first(fail);
  LoopbackServer second(fail);
  Rpc::Channel channel({first.address(), second.address()});
  // What gRPC says itself when a call was not sent.
  for (const std::string text : {"failed to connect to all addresses; last error: none",
                                 "connections to all backends failing; last error: none",
                                 "DNS resolution failed for none"}) {
    runs = 0;
    const Result result = Call(&channel, RequestWith(text));
    EXPECT_EQ(result.code, StatusCode::kUnavailable);
    EXPECT_EQ(result.text, text);
    EXPECT_EQ(runs, 1);
  }
}

TEST(SeveralServers, AllOutOfReachAreAllNamed) {
  const std::string here = "127.0.0.1:1";
  Rpc::ChannelOptions options;
  options.plaintext = Rpc::Plaintext::kAnywhere;
  const std::string unknown = "no-such-host.invalid:1";
  Rpc::Channel channel({here, unknown}, options);
  const Result result = Call(&channel);
  EXPECT_EQ(result.code, StatusCode::kUnavailable);
  EXPECT_NE(result.text.find("cannot reach " + here + ": "), std::string::npos) << result.text;
  EXPECT_NE(result.text.find("cannot reach " + unknown + ": "), std::string::npos) << result.text;

  // Calls that wait for a connection can be cancelled, and end in time.
  Rpc::ClientController waiting;
  waiting.SetWaitForReady(true);
  waiting.SetTimeout(milliseconds(200));
  EXPECT_EQ(Call(&channel, {}, &waiting).code, StatusCode::kDeadlineExceeded);
  waiting.Reset();
  waiting.SetWaitForReady(true);
  waiting.SetTimeout(milliseconds::max());
  std::thread canceller([&] { waiting.StartCancel(); });
  EXPECT_EQ(Call(&channel, {}, &waiting).code, StatusCode::kCancelled);
  canceller.join();
}

}  // namespace
}  // namespace CmnSys::Test
