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

  void Start(Rpc::Channel* channel, std::function<void()> ended) {
    Pb::Rpc::SvcQuery::Query_Stub(channel).Initiate(&controller, &InitiateReq::default_instance(),
                                                    &response, NewClosure(std::move(ended)));
  }
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
  std::vector<AsyncCall> calls(1000);
  std::atomic<int> ended{0};
  for (AsyncCall& call : calls) call.Start(&channel, [&] { ++ended; });
  ASSERT_TRUE(Eventually([&] {
    const std::lock_guard lock(mutex);
    return held.size() == calls.size();
  }));
  EXPECT_EQ(ended, 0);
  for (Closure* done : held) done->Run();
  ASSERT_TRUE(Eventually([&] { return ended == static_cast<int>(calls.size()); }));
  for (const AsyncCall& call : calls) EXPECT_TRUE(call.response.b_continue());
}

TEST(Load, BlockedServicesAndNestedCallsDoNotStallOthers) {
  Signal release;
  std::atomic<int> blocked{0};
  std::atomic<Rpc::Channel*> to_itself{nullptr};
  Rpc::ServerOptions options;
  options.workers = 2;
  const auto nest = [&](Rpc::ServerController* controller, const InitiateReq& request,
                        InitiateRsp* response, Closure* done) {
    const int depth = request.has_query() ? std::stoi(request.query().gid().id()) : -1;
    if (depth > 0) {
      const Result inner = Call(to_itself, RequestWith(std::to_string(depth - 1)));
      if (inner.code != StatusCode::kOk) controller->SetFailed(inner.code, inner.text);
      response->CopyFrom(inner.response);
    } else if (depth == 0) {
      ++blocked;
      release.Wait();
      response->set_b_continue(true);
    }
    done->Run();
  };
  LoopbackServer server(nest, options);
  Rpc::Channel channel(server.address());
  to_itself = &channel;
  constexpr int kCallers = 20;  // They block three workers each.
  std::vector<std::thread> callers;
  for (int i = 0; i < kCallers; ++i) {
    callers.emplace_back([&] {
      const Result result = Call(&channel, RequestWith("2"));
      EXPECT_TRUE(result.response.b_continue()) << result.text;
    });
  }
  EXPECT_TRUE(Eventually([&] { return blocked == kCallers; }));
  EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  EXPECT_GE(server->Counters().workers, 3 * kCallers);
  release.Set();
  for (std::thread& caller : callers) caller.join();
  // The threads that are not needed any more end, under light load too.
  EXPECT_TRUE(Eventually([&] {
    Call(&channel);
    return server->Counters().workers <= 6;
  }));
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
  for (AsyncCall& call : calls) call.Start(&channel, [&] { ++ended; });
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
    AsyncCall call;
    Signal ended;
    Rpc::Channel channel(server.address());
    call.Start(&channel, [&] { ended.Set(); });
    ASSERT_TRUE(arrived.Wait());
    std::thread stopper([&] { server->Shutdown(within ? milliseconds::max() : milliseconds(50)); });
    if (within) {
      // While the server is waiting, it takes no more calls.
      EXPECT_TRUE(Eventually([&] {
        Rpc::Channel late(server.address());
        return Call(&late).code == StatusCode::kUnavailable;
      }));
      held.load()->Run();
    }
    stopper.join();
    ASSERT_TRUE(ended.Wait());
    EXPECT_EQ(call.controller.Code(), within ? StatusCode::kOk : StatusCode::kUnavailable);
    if (!within) {
      EXPECT_TRUE(cancelled.Wait());
      held.load()->Run();  // Harmless, although the server has stopped.
    }
  }
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
            EXPECT_TRUE(result.code == StatusCode::kOk || result.code == StatusCode::kUnavailable)
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

TEST(Channel, ServesABlockingCallAndIsDeletedInsideItsOwnClosure) {
  LoopbackServer server(Echo());
  for (int i = 0; i < 10; ++i) {
    auto channel = std::make_unique<Rpc::Channel>(server.address());
    AsyncCall call;
    std::string inner;
    Signal ended;
    call.Start(channel.get(), [&] {
      inner = TextIn(Call(channel.get(), RequestWith("inner")).response);
      channel.reset();
      ended.Set();
    });
    ASSERT_TRUE(ended.Wait());
    EXPECT_EQ(call.controller.Code(), StatusCode::kOk);
    EXPECT_EQ(inner, "inner");
  }
}

}  // namespace
}  // namespace CmnSys::Test
