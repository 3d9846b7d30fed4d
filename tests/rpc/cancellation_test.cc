// Deadlines and cancellation.

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
  bool CancelledOnce() { return notified.Wait() && seen_cancelled && notifications == 1; }
};

// A call's controller with a count of its notifications.
struct Caller {
  std::atomic<int> notifications{0};
  Rpc::ClientController controller;

  Caller() {
    controller.NotifyOnCancel(NewClosure([this] { ++notifications; }));
  }
};

class Cancel : public testing::Test {
 protected:
  HeldCall held;
  LoopbackServer server{held.Method()};
  Rpc::Channel channel{server.address()};
};

TEST_F(Cancel, ByADeadlineOfZeroKeepsTheCallFromBeingMadeAndByAShortOneIsSeenByTheServer) {
  for (const int timeout : {0, -5}) {
    EXPECT_EQ(CallWithTimeout(&channel, milliseconds(timeout)).code, StatusCode::kDeadlineExceeded);
  }
  Rpc::ClientController controller;
  controller.SetTimeout(milliseconds(0));
  InitiateRsp response;
  Signal ended;
  Pb::Rpc::SvcQuery::Query_Stub(&channel).Initiate(&controller, &InitiateReq::default_instance(),
                                                   &response, NewClosure([&] { ended.Set(); }));
  ASSERT_TRUE(ended.Wait());
  EXPECT_EQ(controller.Code(), StatusCode::kDeadlineExceeded);
  EXPECT_FALSE(held.arrived.IsSet());

  const Result result = CallWithTimeout(&channel, milliseconds(300));
  EXPECT_EQ(result.code, StatusCode::kDeadlineExceeded);
  EXPECT_NE(result.text.find("/Pb.Rpc.SvcQuery.Query/Initiate was not answered in time"),
            std::string::npos)
      << result.text;
  EXPECT_TRUE(held.CancelledOnce());
}

TEST_F(Cancel, BeforeTheCallKeepsItFromBeingMade) {
  Caller caller;
  caller.controller.StartCancel();
  EXPECT_EQ(caller.notifications, 1);
  EXPECT_EQ(Call(&channel, {}, &caller.controller).code, StatusCode::kCancelled);
  EXPECT_FALSE(held.arrived.IsSet());
  EXPECT_EQ(caller.notifications, 1);
}

TEST_F(Cancel, DuringTheCallEndsItOnBothSidesWithOneNotificationEach) {
  Caller caller;
  std::thread canceller([&] {
    held.arrived.Wait();
    caller.controller.StartCancel();
    caller.controller.StartCancel();
  });
  EXPECT_EQ(Call(&channel, {}, &caller.controller).code, StatusCode::kCancelled);
  canceller.join();
  EXPECT_EQ(caller.notifications, 1);
  EXPECT_TRUE(caller.controller.IsCanceled());
  EXPECT_TRUE(held.CancelledOnce());
}

TEST(CancelOfAnAnsweredCall, ChangesNothingAndNotificationsHaveRun) {
  std::atomic<int> server_notifications{0};
  LoopbackServer server(
      [&](Rpc::ServerController* controller, const InitiateReq&, InitiateRsp*, Closure* done) {
        controller->NotifyOnCancel(NewClosure([&] { ++server_notifications; }));
        done->Run();
      });
  Rpc::Channel channel(server.address());
  Caller caller;
  EXPECT_EQ(Call(&channel, {}, &caller.controller).code, StatusCode::kOk);
  EXPECT_EQ(caller.notifications, 1);
  caller.controller.StartCancel();
  EXPECT_EQ(caller.controller.Code(), StatusCode::kOk);
  EXPECT_EQ(caller.notifications, 1);
  EXPECT_TRUE(Eventually([&] { return server_notifications == 1; }));
}

TEST(CancelOfAnAnsweredCall, RacingTheResponseNotifiesOnce) {
  LoopbackServer server(Echo());
  Rpc::Channel channel(server.address());
  for (int i = 0; i < 100; ++i) {
    Caller caller;
    std::thread canceller([&] { caller.controller.StartCancel(); });
    const StatusCode code = Call(&channel, {}, &caller.controller).code;
    canceller.join();
    EXPECT_TRUE(code == StatusCode::kOk || code == StatusCode::kCancelled)
        << caller.controller.ErrorText();
    EXPECT_EQ(caller.notifications, 1);
  }
}

}  // namespace
}  // namespace CmnSys::Test
