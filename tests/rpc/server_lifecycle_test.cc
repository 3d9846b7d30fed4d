// Wrong use of a server, what services throw, and stopping while clients keep coming.

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "fixture.h"

namespace CmnSys::Test {
namespace {

using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;

Rpc::ServerOptions At(const std::string& address) {
  Rpc::ServerOptions options;
  options.addresses = {address};
  return options;
}

TEST(ServerUse, IsDefinedWhereItIsWrong) {
  QueryService service(Echo());
  Rpc::Server server(At("127.0.0.1:0"));
  EXPECT_THROW(server.Register(nullptr), std::invalid_argument);
  EXPECT_THROW(server.SetServing("none", true), std::invalid_argument);
  server.Register(&service);
  EXPECT_NO_THROW(server.SetServing("Pb.Rpc.SvcQuery.Query", false));
  const auto publisher = [&](const std::string& name, const std::string& method) {
    return server.AddPublisher<EventNotificationSubscribeReq, InitiateRsp>(name, method);
  };
  EXPECT_NO_THROW(publisher("Push", "A"));
  EXPECT_NO_THROW(publisher("Push", "B"));
  for (const auto& [name, method] :
       {std::pair{"Push", "A"}, {"", "A"}, {"Pb.Rpc.SvcQuery.Query", "A"}}) {
    EXPECT_THROW(publisher(name, method), std::invalid_argument) << name;
  }
  server.Start();
  EXPECT_THROW(server.Start(), std::logic_error);
  EXPECT_THROW(server.Register(&service), std::logic_error);

  // A failed start can be repeated.
  Rpc::Server second(At(server.Addresses().front()));
  EXPECT_THROW(second.Start(), std::runtime_error);
  rlimit enough{};
  getrlimit(RLIMIT_NOFILE, &enough);
  const rlimit few{16, enough.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  EXPECT_THROW(second.Start(), std::runtime_error);
  setrlimit(RLIMIT_NOFILE, &enough);
  const std::string address = server.Addresses().front();
  server.Shutdown(milliseconds::max());
  server.Shutdown(milliseconds::min());
  EXPECT_NO_THROW(second.Start());
  EXPECT_EQ(second.Addresses().front(), address);

  using Set = std::function<void(Rpc::ServerOptions*)>;
  const Set bad[] = {[](auto* options) { options->request_timeout = milliseconds(0); },
                     [](auto* options) { options->keepalive = milliseconds(999); },
                     [](auto* options) { options->max_connection_age = milliseconds::min(); },
                     [](auto* options) { options->max_connections = 0; },
                     [](auto* options) { options->addresses = {"unix:"}; }};
  for (const Set& set : bad) {
    Rpc::ServerOptions options = At("127.0.0.1:0");
    set(&options);
    EXPECT_THROW(Rpc::Server(options).Start(), std::invalid_argument);
  }
  Rpc::ServerOptions longest;
  longest.handshake_timeout = longest.keepalive = longest.keepalive_timeout =
      longest.request_timeout = longest.response_timeout = milliseconds::max();
  LoopbackServer patient(Echo(), longest);
  Rpc::Channel channel(patient.address());
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
}

TEST(ServerUse, WhateverTheApplicationThrowsFailsTheCallAndNothingElse) {
  enum Place { kMethod, kAuthorize, kOnSubscribe, kCancelClosure };
  for (const Place place : {kMethod, kAuthorize, kOnSubscribe, kCancelClosure}) {
    std::atomic<bool> throwing{true};
    const auto maybe_throw = [&](Place here) {
      if (throwing && here == place) throw 7;
    };
    Rpc::ServerOptions options = At("127.0.0.1:0");
    options.authorize = [&](const Rpc::CallInfo&) {
      maybe_throw(kAuthorize);
      return Rpc::Status{};
    };
    QueryService service(
        [&](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
          controller->NotifyOnCancel(NewClosure([&] { maybe_throw(kCancelClosure); }));
          maybe_throw(kMethod);
          done->Run();
        });
    Rpc::PublisherOptions publishing;
    publishing.on_subscribe = [&](Rpc::Subscriber&) {
      maybe_throw(kOnSubscribe);
      return Rpc::Status{};
    };
    Rpc::Server server(options);
    server.Register(&service);
    server.AddPublisher<EventNotificationSubscribeReq, InitiateRsp>("Push", "All", publishing);
    server.Start();
    Rpc::Channel channel(server.Addresses().front());
    Rpc::Status ended;
    Signal end;
    Rpc::SubscriptionHandler handler;
    handler.on_active = [&] { end.Set(); };
    handler.on_end = [&](const Rpc::Status& status) {
      ended = status;
      if (!end.IsSet()) end.Set();
    };
    auto subscription = channel.Subscribe("Push/All", EventNotificationSubscribeReq(),
                                          InitiateRsp::default_instance(), handler);
    ASSERT_TRUE(end.Wait());
    const Result result = Call(&channel);
    if (place == kCancelClosure) {
      EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
    } else {
      const Rpc::Status failed =
          place == kOnSubscribe ? ended : Rpc::Status{result.code, result.text};
      EXPECT_EQ(failed.code, StatusCode::kInternal) << place << failed.text;
      EXPECT_NE(failed.text.find("an exception of no standard type"), std::string::npos)
          << failed.text;
    }
    throwing = false;
    EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  }
}

TEST(ServerUse, ListensOnAllAddressesOfLocalhostAndOnUnixDomainSockets) {
  const TemporaryFolder folder;
  const std::string path = folder.PathOf("socket");
  QueryService service(Echo());
  for (int run = 0; run < 2; ++run) {
    Rpc::ServerOptions options;
    options.addresses = {"localhost:0", "unix:" + path};
    Rpc::Server server(options);
    server.Register(&service);
    server.Start();
    const auto& addresses = server.Addresses();
    EXPECT_EQ(addresses.front().rfind("127.0.0.1:", 0), 0U) << addresses.front();
    const std::string port = addresses.front().substr(addresses.front().rfind(':'));
    if (addresses.size() == 3) {
      EXPECT_EQ(addresses[1], "[::1]" + port);
    }
    EXPECT_EQ(addresses.back(), "unix:" + path);
    Rpc::Server other(options);
    EXPECT_THROW(other.Start(), std::runtime_error) << "the socket is in use";
    server.Shutdown();
    EXPECT_FALSE(std::filesystem::exists(path));
    // What a killed server leaves behind does not keep the next one from starting.
    sockaddr_un where{};
    where.sun_family = AF_UNIX;
    path.copy(where.sun_path, sizeof where.sun_path - 1);
    const int left = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(bind(left, reinterpret_cast<const sockaddr*>(&where), sizeof where), 0);
    close(left);
  }
}

// Of servers that start at the same moment on one path one gets it and keeps it.
TEST(ServerUse, TakesNoLiveSocketAway) {
  const TemporaryFolder folder;
  const std::string path = folder.PathOf("socket");
  const std::string address = "unix:" + path;
  QueryService service(Echo());
  for (int run = 0; run < 20; ++run) {
    std::array<std::unique_ptr<Rpc::Server>, 4> servers;
    std::vector<std::thread> threads;
    Signal begin;
    for (auto& server : servers) {
      server = std::make_unique<Rpc::Server>(At(address));
      server->Register(&service);
      threads.emplace_back([&server, &begin] {
        begin.Wait();
        try {
          server->Start();
        } catch (const std::runtime_error&) {
          server.reset();
        }
      });
    }
    begin.Set();
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::count(servers.begin(), servers.end(), nullptr), 3);
    Rpc::Channel channel(address);
    EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  }
  // Nor does one that ends remove what somebody has put in the place of its own.
  LoopbackServer first(Echo(), At(address));
  std::filesystem::rename(path, path + ".old");
  const LoopbackServer second(Echo(), At(address));
  first->Shutdown();
  Rpc::Channel channel(address);
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
}

TEST(ServerShutdown, EndsWithItsCallsWhileClientsKeepSubscribingAndASecondOneHurriesIt) {
  Signal arrived;
  std::atomic<Closure*> held{nullptr};
  QueryService service(
      [&](Rpc::ServerController*, const InitiateReq&, InitiateRsp*, Closure* done) {
        // Only the first call is held; one that comes just before the shutdown is answered.
        Closure* none = nullptr;
        if (held.compare_exchange_strong(none, done)) {
          arrived.Set();
        } else {
          done->Run();
        }
      });
  for (const bool hurried : {false, true}) {
    auto server = std::make_unique<Rpc::Server>(At("127.0.0.1:0"));
    QueryService quick(Echo());
    server->Register(hurried ? static_cast<google::protobuf::Service*>(&service) : &quick);
    server->AddPublisher<EventNotificationSubscribeReq, InitiateRsp>("Push", "All");
    server->Start();
    Rpc::Channel channel(server->Addresses().front());
    std::atomic<bool> stop{false};
    std::atomic<int> subscribed{0};
    std::vector<std::thread> subscribers;
    for (int i = 0; i < 4; ++i) {
      subscribers.emplace_back([&] {
        while (!stop) {
          Signal ended;
          Rpc::SubscriptionHandler handler;
          handler.on_active = [&] { ++subscribed; };
          handler.on_end = [&](const Rpc::Status&) { ended.Set(); };
          const auto subscription = channel.Subscribe("Push/All", EventNotificationSubscribeReq(),
                                                      InitiateRsp::default_instance(), handler);
          ended.Wait();
        }
      });
    }
    std::future<Result> caller;
    if (hurried) {
      caller = std::async(std::launch::async, [&] { return Call(&channel); });
      ASSERT_TRUE(arrived.Wait());
    }
    ASSERT_TRUE(Eventually([&] { return subscribed >= 4; }));
    // Hours that nobody has to wait for.
    auto first = std::async(std::launch::async, [&] { server->Shutdown(std::chrono::hours(1)); });
    if (hurried) {
      ASSERT_TRUE(Eventually([&] {
        Rpc::Channel late(server->Addresses().front());
        return Call(&late).code == StatusCode::kUnavailable;
      }));
      server->Shutdown(milliseconds(0));
      EXPECT_NE(caller.get().code, StatusCode::kOk);
      held.load()->Run();
    }
    EXPECT_EQ(first.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    stop = true;
    for (std::thread& subscriber : subscribers) subscriber.join();
  }
}

TEST(ServerThreads, RunCancelClosuresNeverInsideTheMethodsOwnClosure) {
  std::mutex held_by_method;
  Signal notified;
  LoopbackServer server(
      [&](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        controller->NotifyOnCancel(NewClosure([&] {
          const std::lock_guard lock(held_by_method);
          notified.Set();
        }));
        const std::lock_guard lock(held_by_method);
        done->Run();
      });
  Rpc::Channel channel(server.address());
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  EXPECT_TRUE(notified.Wait());
}

}  // namespace
}  // namespace CmnSys::Test
