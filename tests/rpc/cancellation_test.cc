// Deadlines, cancellation, and peers that vanish.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "fixture.h"

namespace CmnSys::Test {
namespace {

// Keeps the first call open until it is cancelled, and counts the notification.
struct HeldCall {
  Signal arrived;
  Signal notified;
  std::atomic<int> notifications{0};
  std::atomic<bool> seen_cancelled{false};

  QueryService::Method Method() {
    return
        [this](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
          controller->NotifyOnCancel(NewClosure([this, controller, done] {
            ++notifications;
            seen_cancelled = controller->IsCanceled();
            done->Run();
            notified.Set();
          }));
          arrived.Set();
        };
  }
};

TEST(Deadline, OfZeroFailsWithoutACallAndAShortOneIsSeenByTheServer) {
  HeldCall held;
  LoopbackServer server(held.Method());
  Rpc::Channel channel(server.address());
  for (const int timeout : {0, -5}) {
    EXPECT_EQ(CallWithTimeout(&channel, milliseconds(timeout)).code, StatusCode::kDeadlineExceeded);
  }
  EXPECT_FALSE(held.arrived.IsSet());
  const Result result = CallWithTimeout(&channel, milliseconds(300));
  EXPECT_EQ(result.code, StatusCode::kDeadlineExceeded);
  EXPECT_NE(result.text.find("/Pb.Rpc.SvcQuery.Query/Initiate was not answered in time"),
            std::string::npos)
      << result.text;
  ASSERT_TRUE(held.notified.Wait());
  EXPECT_TRUE(held.seen_cancelled);
  EXPECT_EQ(held.notifications, 1);
}

TEST(Deadline, OfZeroFailsAnAsynchronousCallThroughItsClosure) {
  LoopbackServer server(Echo());
  Rpc::Channel channel(server.address());
  Rpc::ClientController controller;
  controller.SetTimeout(milliseconds(0));
  const InitiateReq request;
  InitiateRsp response;
  Signal ended;
  Pb::Rpc::SvcQuery::Query_Stub(&channel).Initiate(&controller, &request, &response,
                                                   NewClosure([&] { ended.Set(); }));
  ASSERT_TRUE(ended.Wait());
  EXPECT_EQ(controller.Code(), StatusCode::kDeadlineExceeded);
}

TEST(Cancel, BeforeTheCallKeepsItFromBeingMade) {
  HeldCall held;
  LoopbackServer server(held.Method());
  Rpc::Channel channel(server.address());
  Rpc::ClientController controller;
  std::atomic<int> notifications{0};
  controller.NotifyOnCancel(NewClosure([&] { ++notifications; }));
  controller.StartCancel();
  EXPECT_EQ(notifications, 1);
  EXPECT_EQ(Call(&channel, {}, &controller).code, StatusCode::kCancelled);
  EXPECT_FALSE(held.arrived.IsSet());
  EXPECT_EQ(notifications, 1);
}

TEST(Cancel, DuringTheCallEndsItOnBothSidesWithOneNotificationEach) {
  HeldCall held;
  LoopbackServer server(held.Method());
  Rpc::Channel channel(server.address());
  Rpc::ClientController controller;
  std::atomic<int> notifications{0};
  controller.NotifyOnCancel(NewClosure([&] { ++notifications; }));
  std::thread canceller([&] {
    held.arrived.Wait();
    controller.StartCancel();
    controller.StartCancel();
  });
  EXPECT_EQ(Call(&channel, {}, &controller).code, StatusCode::kCancelled);
  canceller.join();
  EXPECT_EQ(notifications, 1);
  EXPECT_TRUE(controller.IsCanceled());
  ASSERT_TRUE(held.notified.Wait());
  EXPECT_TRUE(held.seen_cancelled);
  EXPECT_EQ(held.notifications, 1);
}

TEST(Cancel, AfterTheCallChangesNothingAndNotificationsHaveRun) {
  std::atomic<int> server_notifications{0};
  LoopbackServer server(
      [&](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        controller->NotifyOnCancel(NewClosure([&] { ++server_notifications; }));
        EXPECT_THROW(controller->NotifyOnCancel(nullptr), std::logic_error);
        done->Run();
      });
  Rpc::Channel channel(server.address());
  Rpc::ClientController controller;
  std::atomic<int> notifications{0};
  controller.NotifyOnCancel(NewClosure([&] { ++notifications; }));
  EXPECT_EQ(Call(&channel, {}, &controller).code, StatusCode::kOk);
  EXPECT_EQ(notifications, 1);
  controller.StartCancel();
  EXPECT_EQ(controller.Code(), StatusCode::kOk);
  EXPECT_EQ(notifications, 1);
  EXPECT_TRUE(Eventually([&] { return server_notifications == 1; }));
}

TEST(Cancel, RacingTheResponseNotifiesOnce) {
  LoopbackServer server(Echo());
  Rpc::Channel channel(server.address());
  for (int i = 0; i < 100; ++i) {
    Rpc::ClientController controller;
    std::atomic<int> notifications{0};
    controller.NotifyOnCancel(NewClosure([&] { ++notifications; }));
    std::thread canceller([&] { controller.StartCancel(); });
    const Result result = Call(&channel, {}, &controller);
    canceller.join();
    EXPECT_TRUE(result.code == StatusCode::kOk || result.code == StatusCode::kCancelled)
        << result.text;
    EXPECT_EQ(notifications, 1);
  }
}

TEST(Vanished, ClientIsSeenByTheServerAsACancellation) {
  HeldCall held;
  LoopbackServer server(held.Method());
  const pid_t client = fork();
  ASSERT_GE(client, 0);
  if (client == 0) {
    execl(CMNSYS_HANGING_CLIENT, CMNSYS_HANGING_CLIENT, server.address().c_str(), nullptr);
    _exit(127);
  }
  EXPECT_TRUE(held.arrived.Wait());
  kill(client, SIGKILL);
  EXPECT_EQ(waitpid(client, nullptr, 0), client);
  ASSERT_TRUE(held.notified.Wait());
  EXPECT_TRUE(held.seen_cancelled);
  EXPECT_EQ(held.notifications, 1);
}

TEST(Vanished, ServerFailsTheCallAndItsSuccessorIsFound) {
  HeldCall held;
  auto first = std::make_unique<LoopbackServer>(held.Method());
  const std::string address = first->address();
  Rpc::Channel channel(address);
  std::thread stopper([&] {
    held.arrived.Wait();
    (*first)->Shutdown(milliseconds(0));
  });
  const Result cut = Call(&channel);
  stopper.join();
  EXPECT_EQ(cut.code, StatusCode::kUnavailable) << cut.text;
  first.reset();
  const Result refused = Call(&channel);
  EXPECT_EQ(refused.code, StatusCode::kUnavailable);
  EXPECT_EQ(refused.text.rfind("cannot reach " + address, 0), 0U) << refused.text;

  Rpc::ServerOptions options;
  options.addresses = {address};
  LoopbackServer second(Echo(), options);
  Rpc::ClientController controller;
  controller.SetWaitForReady(true);
  EXPECT_EQ(Call(&channel, {}, &controller).code, StatusCode::kOk);
}

TEST(SeveralAddresses, TakeTurnsAndTheDeadOnesArePassedOver) {
  std::atomic<int> first_calls{0};
  std::atomic<int> second_calls{0};
  const auto counting = [](std::atomic<int>* count) {
    return [count](Rpc::ServerController*, const InitiateReq&, InitiateRsp*, Closure* done) {
      ++*count;
      done->Run();
    };
  };
  LoopbackServer first(counting(&first_calls));
  auto second = std::make_unique<LoopbackServer>(counting(&second_calls));
  const std::string second_address = second->address();
  Rpc::Channel channel({"127.0.0.1:1", first.address(), second_address});
  for (int i = 0; i < 30; ++i) EXPECT_EQ(Call(&channel).code, StatusCode::kOk);
  EXPECT_EQ(first_calls + second_calls, 30);
  EXPECT_GE(first_calls, 5);
  EXPECT_GE(second_calls, 5);
  second.reset();
  for (int i = 0; i < 10; ++i) {
    Rpc::ClientController controller;
    EXPECT_EQ(Call(&channel, {}, &controller).code, StatusCode::kOk);
    EXPECT_EQ(controller.Address(), first.address());
  }
}

}  // namespace
}  // namespace CmnSys::Test
