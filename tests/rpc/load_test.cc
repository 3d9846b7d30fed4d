// Many calls, blocked services, shutdown at bad moments.

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "fixture.h"

namespace CmnSys::Test {
namespace {

struct AsyncCall {
  Rpc::ClientController controller;
  InitiateRsp response;
};

TEST(Load, AThousandCallsAreHeldAtOnceAndAllAnswered) {
  std::mutex mutex;
  std::vector<Closure*> held;
  LoopbackServer server(
      [&](Rpc::ServerController*, const InitiateReq&, InitiateRsp* response, Closure* done) {
        response->set_b_continue(true);
        const std::lock_guard lock(mutex);
        held.push_back(done);
      });
  Rpc::Channel channel(server.address());
  Pb::Rpc::SvcQuery::Query_Stub stub(&channel);
  const InitiateReq request;
  std::vector<AsyncCall> calls(1000);
  std::atomic<int> ended{0};
  for (AsyncCall& call : calls) {
    stub.Initiate(&call.controller, &request, &call.response, NewClosure([&] { ++ended; }));
  }
  ASSERT_TRUE(Eventually([&] {
    const std::lock_guard lock(mutex);
    return held.size() == calls.size();
  }));
  EXPECT_EQ(ended, 0);
  for (Closure* done : held) done->Run();
  ASSERT_TRUE(Eventually([&] { return ended == static_cast<int>(calls.size()); }));
  for (const AsyncCall& call : calls) EXPECT_TRUE(call.response.b_continue());
}

TEST(Load, BlockedServicesDoNotStallOthers) {
  Signal release;
  std::atomic<int> blocked{0};
  LoopbackServer server(
      [&](Rpc::ServerController*, const InitiateReq& request, InitiateRsp*, Closure* done) {
        if (request.has_query()) {
          ++blocked;
          release.Wait();
        }
        done->Run();
      });
  Rpc::Channel channel(server.address());
  constexpr int kBlocked = 40;  // More than there are workers at first.
  std::vector<std::thread> callers;
  for (int i = 0; i < kBlocked; ++i) {
    callers.emplace_back(
        [&] { EXPECT_EQ(Call(&channel, RequestWith("block")).code, StatusCode::kOk); });
  }
  EXPECT_TRUE(Eventually([&] { return blocked == kBlocked; }));
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  release.Set();
  for (std::thread& caller : callers) caller.join();
}

TEST(Load, NestedCallsToTheSameServerAreServed) {
  std::unique_ptr<Rpc::Channel> channel;
  LoopbackServer server([&](Rpc::ServerController* controller, const InitiateReq& request,
                            InitiateRsp* response, Closure* done) {
    const int depth = std::stoi(request.query().gid().id());
    if (depth > 0) {
      const Result inner = Call(channel.get(), RequestWith(std::to_string(depth - 1)));
      if (inner.code != StatusCode::kOk) controller->SetFailed(inner.code, inner.text);
      response->CopyFrom(inner.response);
    } else {
      response->set_b_continue(true);
    }
    done->Run();
  });
  channel = std::make_unique<Rpc::Channel>(server.address());
  std::vector<std::thread> callers;
  for (int i = 0; i < 20; ++i) {
    callers.emplace_back([&] {
      const Result result = Call(channel.get(), RequestWith("4"));
      EXPECT_TRUE(result.response.b_continue()) << result.text;
    });
  }
  for (std::thread& caller : callers) caller.join();
}

TEST(Load, ServicesThatWaitForCancellationInAllWorkersLearnOfIt) {
  Rpc::ServerOptions options;
  options.workers = 2;
  options.max_workers = 2;
  std::atomic<int> arrived{0};
  LoopbackServer server(
      [&](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        Signal cancelled;
        controller->NotifyOnCancel(NewClosure([&] { cancelled.Set(); }));
        ++arrived;
        EXPECT_TRUE(cancelled.Wait());
        done->Run();
      },
      options);
  Rpc::Channel channel(server.address());
  std::vector<AsyncCall> calls(2);
  std::atomic<int> ended{0};
  const InitiateReq request;
  for (AsyncCall& call : calls) {
    Pb::Rpc::SvcQuery::Query_Stub(&channel).Initiate(&call.controller, &request, &call.response,
                                                     NewClosure([&] { ++ended; }));
  }
  ASSERT_TRUE(Eventually([&] { return arrived == 2; }));
  for (AsyncCall& call : calls) call.controller.StartCancel();
  EXPECT_TRUE(Eventually([&] { return ended == 2; }));
}

TEST(Shutdown, WaitsForCallsWithinItsGraceAndCancelsThemAfterIt) {
  for (const bool within : {true, false}) {
    Signal arrived;
    Signal cancelled;
    std::atomic<Closure*> held{nullptr};
    LoopbackServer server(
        [&](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
          if (arrived.IsSet()) return done->Run();  // Came before the shutdown began.
          controller->NotifyOnCancel(NewClosure([&, controller] {
            if (controller->IsCanceled()) cancelled.Set();
          }));
          held = done;
          arrived.Set();
        });
    Rpc::Channel channel(server.address());
    std::thread stopper([&] {
      arrived.Wait();
      server->Shutdown(within ? milliseconds(60'000) : milliseconds(50));
    });
    std::thread finisher([&] {
      if (!within) return;
      // While the server is waiting, it takes no more calls.
      EXPECT_TRUE(arrived.Wait());
      EXPECT_TRUE(Eventually([&] {
        Rpc::Channel late(server.address());
        return Call(&late).code == StatusCode::kUnavailable;
      }));
      held.load()->Run();
    });
    const Result result = Call(&channel);
    stopper.join();
    finisher.join();
    if (within) {
      EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
    } else {
      EXPECT_EQ(result.code, StatusCode::kUnavailable) << result.text;
      EXPECT_TRUE(cancelled.Wait());
      held.load()->Run();  // Harmless, although the server has stopped.
    }
  }
}

TEST(Shutdown, FromAServiceMethodIsRefused) {
  Rpc::Server* server = nullptr;
  LoopbackServer loopback(
      [&](Rpc::ServerController*, const InitiateReq&, InitiateRsp*, Closure* done) {
        EXPECT_THROW(server->Shutdown(), std::logic_error);
        done->Run();
      });
  server = &*loopback;
  Rpc::Channel channel(loopback.address());
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
}

TEST(Shutdown, StormsOfStartsAndStopsUnderCallsLeaveNothingBehind) {
  for (int i = 0; i < 15; ++i) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> callers;
    {
      LoopbackServer server(Echo());
      for (int n = 0; n < 4; ++n) {
        callers.emplace_back([&stop, address = server.address()] {
          Rpc::Channel channel(address);
          while (!stop) {
            const Result result = CallWithTimeout(&channel, milliseconds(5'000));
            EXPECT_TRUE(result.code == StatusCode::kOk || result.code == StatusCode::kUnavailable ||
                        result.code == StatusCode::kCancelled)
                << Rpc::StatusCodeName(result.code) << ' ' << result.text;
          }
        });
      }
      std::this_thread::sleep_for(milliseconds(i));
      if (i % 2 == 0) server->Shutdown(milliseconds(20));
    }
    stop = true;
    for (std::thread& caller : callers) caller.join();
  }
}

TEST(Channel, IsDeletedWithCallsInProgressAndAllClosuresRun) {
  LoopbackServer server(
      [](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        controller->NotifyOnCancel(NewClosure([done] { done->Run(); }));
      });
  std::vector<AsyncCall> calls(20);
  std::atomic<int> cancelled{0};
  const InitiateReq request;
  {
    Rpc::Channel channel(server.address());
    for (AsyncCall& call : calls) {
      Pb::Rpc::SvcQuery::Query_Stub(&channel).Initiate(
          &call.controller, &request, &call.response, NewClosure([&] {
            if (call.controller.Code() == StatusCode::kCancelled) ++cancelled;
          }));
    }
  }
  EXPECT_EQ(cancelled, 20);
}

TEST(Channel, IsDeletedInsideItsOwnClosure) {
  LoopbackServer server(Echo());
  for (int i = 0; i < 10; ++i) {
    auto* stub = new Pb::Rpc::SvcQuery::Query_Stub(new Rpc::Channel(server.address()),
                                                   google::protobuf::Service::STUB_OWNS_CHANNEL);
    AsyncCall call;
    const InitiateReq request;
    Signal ended;
    stub->Initiate(&call.controller, &request, &call.response, NewClosure([&] {
      delete stub;
      ended.Set();
    }));
    ASSERT_TRUE(ended.Wait());
    EXPECT_EQ(call.controller.Code(), StatusCode::kOk);
  }
}

TEST(Channel, ServesBlockingCallsInsideItsClosures) {
  LoopbackServer server(Echo());
  Rpc::Channel channel(server.address());
  AsyncCall outer;
  const InitiateReq request;
  Signal ended;
  std::string inner;
  Pb::Rpc::SvcQuery::Query_Stub(&channel).Initiate(
      &outer.controller, &request, &outer.response, NewClosure([&] {
        inner = TextIn(Call(&channel, RequestWith("inner")).response);
        ended.Set();
      }));
  ASSERT_TRUE(ended.Wait());
  EXPECT_EQ(inner, "inner");
}

}  // namespace
}  // namespace CmnSys::Test
