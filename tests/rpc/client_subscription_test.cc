// Subscriptions from the client's side: how they begin, end, and are renewed.

#include <atomic>
#include <mutex>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "client_fixture.h"

namespace CmnSys::Test {
namespace {

using Pb::CmnSys::Notifications::Notification;
using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;

// A server whose publisher asks a function about each subscriber.
struct AskingServer {
  explicit AskingServer(std::function<Rpc::Status(Rpc::Subscriber&)> on_subscribe) {
    Rpc::ServerOptions options;
    options.addresses = {"127.0.0.1:0"};
    server = std::make_unique<Rpc::Server>(options);
    Rpc::PublisherOptions publisher_options;
    publisher_options.service = "Test.Ticks";
    publisher_options.method = "Subscribe";
    publisher_options.request_prototype = &EventNotificationSubscribeReq::default_instance();
    publisher_options.on_subscribe = std::move(on_subscribe);
    publisher = server->AddPublisher(std::move(publisher_options));
    server->Start();
  }
  std::string address() const { return server->Addresses().front(); }

  std::unique_ptr<Rpc::Server> server;
  Rpc::Publisher* publisher = nullptr;
};

using Handler = Rpc::SubscriptionHandlerOf<Notification, EventNotificationSubscribeReq>;

Notification Tick(std::uint64_t number) {
  Notification tick;
  tick.set_timestamp_ms(number);
  return tick;
}

TEST(Subscribe, GoesOnFromWhatWasSeenAfterEveryLossUntilTheServerSaysOtherwise) {
  std::mutex mutex;
  std::vector<int> asked;  // What the requests say was seen last, by the length of their filter.
  AskingServer server([&](Rpc::Subscriber& subscriber) -> Rpc::Status {
    const auto& request = static_cast<const EventNotificationSubscribeReq&>(subscriber.Request());
    const int seen = request.event_filter_size();
    {
      const std::lock_guard lock(mutex);
      asked.push_back(seen);
    }
    if (subscriber.Info().metadata.count("x-site") == 0) return {StatusCode::kAborted, "no site"};
    switch (seen) {
      case 1:
        return {StatusCode::kUnavailable, "not now"};
      case 3:
        return {StatusCode::kPermissionDenied, "enough"};
      default:
        subscriber.Send(Tick(static_cast<std::uint64_t>(seen) + 1));
        return {};
    }
  });
  Rpc::Channel channel(server.address());
  std::vector<std::string> story;
  std::uint64_t last = 0;
  Signal ended;
  Handler handler;
  handler.on_active = [&] { story.emplace_back("active"); };
  handler.on_message = [&](const Notification& tick) {
    last = tick.timestamp_ms();
    story.push_back(std::to_string(last));
    server.publisher->EndAll({StatusCode::kUnavailable, "restarting"});
  };
  handler.on_interrupted = [&](const Rpc::Status& status) { story.push_back(status.text); };
  handler.on_resumed = [&] { story.emplace_back("resumed"); };
  handler.on_resubscribe = [&](EventNotificationSubscribeReq* request) {
    // The second attempt after the first message is as if another had been seen.
    if (request->event_filter_size() == 1) last = 2;
    while (static_cast<std::uint64_t>(request->event_filter_size()) < last) {
      request->add_event_filter(Pb::CmnSys::Events::EVENT_ALL);
    }
  };
  handler.on_end = [&](const Rpc::Status& status) {
    story.push_back(status.text);
    ended.Set();
  };
  Rpc::SubscribeOptions options;
  options.resubscribe = true;
  options.metadata = {{"x-site", "north"}};
  const auto subscription = channel.Subscribe<Notification>(
      kTicks, EventNotificationSubscribeReq::default_instance(), handler, options);
  ASSERT_TRUE(ended.Wait());
  const std::lock_guard lock(mutex);
  EXPECT_EQ(asked, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(story, (std::vector<std::string>{"active", "1", "restarting", "resumed", "3",
                                             "restarting", "enough"}));
}

TEST(Subscribe, EndsInTimeWhenItIsNotAcceptedAndAtOnceWhenItIsCancelled) {
  Signal release;
  AskingServer server([&](Rpc::Subscriber&) -> Rpc::Status {
    release.Wait();
    return {};
  });
  Rpc::Channel channel(server.address());
  const auto outcome = [&](const Rpc::SubscribeOptions& options, bool cancel) {
    Rpc::Status status;
    Signal ended;
    Handler handler;
    handler.on_active = [] { ADD_FAILURE() << "accepted"; };
    handler.on_end = [&](const Rpc::Status& end) {
      status = end;
      ended.Set();
    };
    const auto subscription = channel.Subscribe<Notification>(
        kTicks, EventNotificationSubscribeReq::default_instance(), handler, options);
    if (cancel) subscription->Cancel();
    EXPECT_TRUE(ended.Wait());
    return status;
  };
  Rpc::SubscribeOptions options;
  options.timeout = milliseconds(200);
  const Rpc::Status late = outcome(options, false);
  EXPECT_EQ(late.code, StatusCode::kDeadlineExceeded);
  EXPECT_NE(late.text.find("was not accepted in time by " + server.address()), std::string::npos)
      << late.text;
  options.timeout = milliseconds::min();
  EXPECT_EQ(outcome(options, false).code, StatusCode::kDeadlineExceeded);
  options.timeout = milliseconds::max();
  EXPECT_EQ(outcome(options, true).code, StatusCode::kCancelled);
  options.resubscribe = true;
  EXPECT_EQ(outcome(options, true).code, StatusCode::kCancelled);
  release.Set();

  options.metadata = {{"grpc-timeout", "1S"}};
  EXPECT_THROW((void)channel.Subscribe<Notification>(
                   kTicks, EventNotificationSubscribeReq::default_instance(), Handler(), options),
               std::invalid_argument);
}

TEST(Subscribe, OutlivesItsChannelAndHasEndedWhenItIsDeleted) {
  AskingServer server([](Rpc::Subscriber&) { return Rpc::Status(); });
  auto channel = std::make_unique<Rpc::Channel>(server.address());
  Signal active;
  std::atomic<int> messages{0};
  std::atomic<int> resumptions{0};
  Handler handler;
  handler.on_active = [&] { active.Set(); };
  handler.on_message = [&](const Notification&) { ++messages; };
  handler.on_resumed = [&] { ++resumptions; };
  Signal ended;
  handler.on_end = [&](const Rpc::Status&) { ended.Set(); };
  Rpc::SubscribeOptions options;
  options.resubscribe = true;
  auto subscription = channel->Subscribe<Notification>(
      kTicks, EventNotificationSubscribeReq::default_instance(), handler, options);
  ASSERT_TRUE(active.Wait());
  channel.reset();
  server.publisher->EndAll({StatusCode::kUnavailable, "restarting"});
  ASSERT_TRUE(Eventually([&] { return resumptions == 1; }));
  server.publisher->Publish(Tick(1));
  EXPECT_TRUE(Eventually([&] { return messages == 1; }));
  subscription.reset();
  EXPECT_TRUE(ended.IsSet());
}

}  // namespace
}  // namespace CmnSys::Test
