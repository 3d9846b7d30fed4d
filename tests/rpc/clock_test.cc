// A wall clock that somebody or a time server sets, a day back or forth, at any moment.

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <memory>

#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "client_fixture.h"

namespace {

std::atomic<bool> steps{false};
std::atomic<unsigned> looks{0};

}  // namespace

// In place of the C library's, for the whole process. It is never ahead of the kernel's clock: gRPC
// waits for that to reach the times read here.
extern "C" __attribute__((no_sanitize("thread"))) int clock_gettime(clockid_t clock,
                                                                    timespec* time) noexcept {
  const long result = ::syscall(SYS_clock_gettime, clock, time);
  if (clock == CLOCK_REALTIME && steps) {
    constexpr unsigned kScatter = 2654435761U;  // 2^32 divided by the golden ratio.
    if ((looks++ * kScatter) >> 31 != 0) time->tv_sec -= 24 * 60 * 60;
  }
  return static_cast<int>(result);
}

namespace CmnSys::Test {
namespace {

using Pb::CmnSys::Notifications::Notification;
using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;

constexpr int kTimes = 20;
constexpr milliseconds kShort{20};

class SteppedClock : public testing::Test {
 protected:
  SteppedClock() { steps = true; }
  ~SteppedClock() override { steps = false; }
};

Result CallWhenReady(Rpc::Channel* channel, milliseconds timeout) {
  Rpc::ClientController controller;
  controller.SetWaitForReady(true);
  controller.SetTimeout(timeout);
  return Call(channel, {}, &controller);
}

TEST_F(SteppedClock, CallsEndAndChannelsAreDeleted) {
  LoopbackServer server(Echo());
  for (int i = 0; i < kTimes; ++i) {
    Rpc::Channel channel(server.address());
    for (int j = 0; j < kTimes; ++j) {
      const Result result = Call(&channel);
      EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
    }
    // Fails before it is sent, and runs its closure nevertheless.
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
}

TEST_F(SteppedClock, CallsWaitForAConnectionAsLongAsTheyShould) {
  const Listener silent;
  const Listener silent_too;
  LoopbackServer server(Echo());
  for (int i = 0; i < kTimes; ++i) {
    Rpc::Channel one(silent.address());
    EXPECT_EQ(CallWhenReady(&one, kShort).code, StatusCode::kDeadlineExceeded);
    Rpc::Channel two({silent.address(), silent_too.address()});
    EXPECT_EQ(CallWhenReady(&two, kShort).code, StatusCode::kDeadlineExceeded);
    Rpc::Channel last({silent.address(), server.address()});
    const Result result = CallWhenReady(&last, std::chrono::seconds(30));
    EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
  }
}

TEST_F(SteppedClock, SubscriptionsThatNobodyAcceptsEnd) {
  const Listener silent;
  for (int i = 0; i < kTimes; ++i) {
    Rpc::Channel channel(silent.address());
    Signal ended;
    Rpc::Status outcome;
    Rpc::SubscriptionHandlerOf<Notification> handler;
    handler.on_end = [&](const Rpc::Status& status) {
      outcome = status;
      ended.Set();
    };
    Rpc::SubscribeOptions options;
    options.timeout = kShort;
    const auto subscription = channel.Subscribe<Notification>(
        kTicks, EventNotificationSubscribeReq::default_instance(), handler, options);
    ASSERT_TRUE(ended.Wait());
    EXPECT_EQ(outcome.code, StatusCode::kDeadlineExceeded) << outcome.text;
  }
}

}  // namespace
}  // namespace CmnSys::Test
